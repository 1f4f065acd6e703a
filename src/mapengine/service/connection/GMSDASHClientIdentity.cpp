#include "GMSDASHClientIdentity.h"

#include "GMSUserDefaults.h"

#include <QMessageAuthenticationCode>
#include <QtEndian>

#include <cstring>

namespace GMSDASHCookieRecord {

namespace {
// The key is not kept in the clear: each byte is the running XOR of this
// table, so that it never shows up as one string in the binary.
constexpr unsigned char kScrambled[64] = {
    0x5a, 0x3f, 0x11, 0xc4, 0x92, 0x07, 0xee, 0x61, 0xa8, 0x4d, 0x33, 0x9b, 0x20, 0xf7, 0x6c, 0x15,
    0xd2, 0x88, 0x0b, 0x7e, 0xb1, 0x46, 0xfa, 0x29, 0x93, 0x5c, 0xe0, 0x17, 0x84, 0x3a, 0xcd, 0x62,
    0x0f, 0xb8, 0x71, 0x2e, 0xd9, 0x45, 0x9c, 0xe3, 0x36, 0x8a, 0x51, 0xfc, 0x1d, 0xa7, 0x68, 0xc0,
    0x2b, 0x94, 0x7d, 0xe6, 0x09, 0xb3, 0x58, 0xcf, 0x12, 0x6e, 0xa1, 0x3c, 0xf5, 0x80, 0x4b, 0xd6,
};
}  // namespace

QByteArray hmacKey()
{
    QByteArray key(64, '\0');
    unsigned char running = 0;
    for (int i = 0; i < 64; ++i) {
        running ^= kScrambled[i];
        key[i] = static_cast<char>(running);
    }
    return key;
}

namespace {
QByteArray mac(const QByteArray& record)
{
    QMessageAuthenticationCode code(QCryptographicHash::Sha1, hmacKey());
    code.addData(record.constData(), 2);
    code.addData(record.constData() + 8, 8);
    code.addData(record.constData() + 16, 8);
    return code.result();
}
}  // namespace

QByteArray encode(quint64 cookie, double secondsSince2001)
{
    QByteArray r(48, '\0');
    quint64 timeBits = 0;
    std::memcpy(&timeBits, &secondsSince2001, 8);
    qToLittleEndian(timeBits, r.data() + 8);
    qToLittleEndian(cookie, r.data() + 16);
    const QByteArray m = mac(r);
    std::memcpy(r.data() + 24, m.constData(), 20);
    return r;
}

std::optional<quint64> decode(const QByteArray& record)
{
    if (record.size() != 48 || record[0] != 0 || record[1] != 0)
        return std::nullopt;
    if (mac(record) != record.mid(24, 20))
        return std::nullopt;
    return qFromLittleEndian<quint64>(record.constData() + 16);
}

}  // namespace GMSDASHCookieRecord

GMSDASHClientState::GMSDASHClientState(GMSUserDefaults* defaults) : m_defaults(defaults)
{
    if (!m_defaults)
        return;
    const QVariant record = m_defaults->objectForKey(kGMSMapsUserCookieKey);
    m_state.userCookie = GMSDASHCookieRecord::decode(record.toByteArray()).value_or(0);
    m_state.cohort = m_defaults->objectForKey(kGMSMapsUserClientCohortKey).toString();
    m_state.legalCountry = m_defaults->objectForKey(kGMSMapsUserClientLegalCountryKey).toString();
    m_state.zwiebackCookie = m_defaults->objectForKey(kGMSMapsUserClientZwiebackCookieKey).toString();
    m_state.shortbreadToken = m_defaults->objectForKey(kGMSMapsUserClientShortbreadTokenKey).toByteArray();
}

GMSDASHClientState::Snapshot GMSDASHClientState::snapshot() const
{
    QMutexLocker lock(&m_mutex);
    return m_state;
}

quint64 GMSDASHClientState::userCookie() const
{
    QMutexLocker lock(&m_mutex);
    return m_state.userCookie;
}

void GMSDASHClientState::setUserCookie(quint64 cookie, double secondsSince2001)
{
    QMutexLocker lock(&m_mutex);
    m_state.userCookie = cookie;
    if (m_defaults)
        m_defaults->setObject(GMSDASHCookieRecord::encode(cookie, secondsSince2001), kGMSMapsUserCookieKey);
}

void GMSDASHClientState::setCohort(const QString& cohort)
{
    QMutexLocker lock(&m_mutex);
    m_state.cohort = cohort;
    if (m_defaults)
        m_defaults->setObject(cohort, kGMSMapsUserClientCohortKey);
}

bool GMSDASHClientState::setLegalCountry(const QString& country)
{
    QMutexLocker lock(&m_mutex);
    if (m_state.legalCountry == country)
        return false;
    m_state.legalCountry = country;
    if (m_defaults)
        m_defaults->setObject(country, kGMSMapsUserClientLegalCountryKey);
    return true;
}

void GMSDASHClientState::setZwiebackCookie(const QString& cookie)
{
    QMutexLocker lock(&m_mutex);
    m_state.zwiebackCookie = cookie;
    if (m_defaults)
        m_defaults->setObject(cookie, kGMSMapsUserClientZwiebackCookieKey);
}

void GMSDASHClientState::setShortbreadToken(const QByteArray& token)
{
    QMutexLocker lock(&m_mutex);
    m_state.shortbreadToken = token;
    if (m_defaults)
        m_defaults->setObject(token, kGMSMapsUserClientShortbreadTokenKey);
}
