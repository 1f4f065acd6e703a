#pragma once

#include <QByteArray>
#include <QMutex>
#include <QString>
#include <QStringList>

#include <optional>

class GMSUserDefaults;

// Settings keys of the identity that survives between runs.
inline const QString kGMSMapsUserCookieKey = QStringLiteral("GMSMapsUserCookie");
inline const QString kGMSMapsUserClientCohortKey = QStringLiteral("GMSMapsUserClientCohort");
inline const QString kGMSMapsUserClientLegalCountryKey = QStringLiteral("kGMSMapsUserClientLegalCountry");
inline const QString kGMSMapsUserClientZwiebackCookieKey = QStringLiteral("GMSMapsUserClientZwiebackCookie");
inline const QString kGMSMapsUserClientShortbreadTokenKey = QStringLiteral("GMSMapsUserClientShortbreadToken");
inline const QString kGMSMapsSavedPreIncognitoZwiebackCookieKey =
    QStringLiteral("GMSMapsSavedPreIncognitoUserClientZwiebackCookie");

// The fixed identity of this client.
struct GMSDASHClientDescription {
    QString platformID = QStringLiteral("ios:zenloft-linux");  // begins "ios:"
    QString softwareVersion = QStringLiteral("0.1.0");
    QString applicationName = QStringLiteral("Zenloft");
    QString bundleId = QStringLiteral("app.zenloft");
    QString apiKey;
    QString osVersion;
    QStringList preferredLanguages = {QStringLiteral("en")};
    QString apiApplicationVersion = QStringLiteral("0.1.0");
    QString basedOnGmmVersion;
    double screenScale = 1.0;
    bool enterpriseApi = false;
    bool wantsShortbreadToken = false;
    bool wantsZwiebackCookie = false;
};

// The 48-byte record kept under "GMSMapsUserCookie": zero (2), unused (6),
// time of writing as a 64-bit float of seconds since 2001-01-01 (8), the
// cookie (8), HMAC-SHA-1 over bytes 0-1, 8-15, 16-23 (20), unused (4).
// Numbers are little-endian.
namespace GMSDASHCookieRecord {
QByteArray encode(quint64 cookie, double secondsSince2001);
// The cookie, or nothing when the record is missing, has the wrong size or
// fails its HMAC.
std::optional<quint64> decode(const QByteArray& record);
QByteArray hmacKey();
}  // namespace GMSDASHCookieRecord

// The identity the service hands out, kept in the settings. Thread-safe.
class GMSDASHClientState {
public:
    struct Snapshot {
        quint64 userCookie = 0;
        QString cohort;
        QString legalCountry;
        QString zwiebackCookie;
        QByteArray shortbreadToken;  // serialised GMSx_GMMShortbreadTokenProto
    };

    // Reads every key; a cookie record that does not verify counts as 0.
    explicit GMSDASHClientState(GMSUserDefaults* defaults);

    Snapshot snapshot() const;
    quint64 userCookie() const;
    void setUserCookie(quint64 cookie, double secondsSince2001);
    void setCohort(const QString& cohort);
    // True when the value changed.
    bool setLegalCountry(const QString& country);
    void setZwiebackCookie(const QString& cookie);
    void setShortbreadToken(const QByteArray& token);

private:
    GMSUserDefaults* m_defaults;
    mutable QMutex m_mutex;
    Snapshot m_state;
};
