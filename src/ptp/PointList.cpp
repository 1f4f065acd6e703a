#include "PointList.h"

#include "settings/Units.h"
#include "store/Realm.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace PointList {

namespace {

constexpr double kPi = 3.141592653589793;

double radians(double degrees) { return degrees * kPi / 180.0; }

// UTF-16 units ordered as their code points: surrogates (which carry the
// code points above U+FFFF) move above U+E000..U+FFFF.
int codePointOrder(char16_t unit) {
    if (unit >= 0xE000) return unit - 0x800;
    if (unit >= 0xD800) return unit + 0x2000;
    return unit;
}

int compareCodePoints(QStringView a, QStringView b) {
    const qsizetype n = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t x = a[i].unicode(), y = b[i].unicode();
        if (x != y) return codePointOrder(x) < codePointOrder(y) ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

// Nothing below U+0300 changes under canonical composition; most names
// are such text and skip the normaliser.
QString composed(const QString& s) {
    for (const QChar c : s)
        if (c.unicode() >= 0x300) return s.normalized(QString::NormalizationForm_C);
    return s;
}

// One stable pass by name over the rows, ascending or descending.
void sortByName(QList<dbEntries>& entries, bool ascending) {
    struct Keyed {
        QString key;
        qsizetype index;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(size_t(entries.size()));
    for (qsizetype i = 0; i < entries.size(); ++i) keyed.push_back({composed(entries[i].name), i});
    std::stable_sort(keyed.begin(), keyed.end(), [ascending](const Keyed& a, const Keyed& b) {
        const int order = compareCodePoints(a.key, b.key);
        return ascending ? order < 0 : order > 0;
    });
    QList<dbEntries> sorted;
    sorted.reserve(entries.size());
    for (const Keyed& k : keyed) sorted.append(std::move(entries[k.index]));
    entries = std::move(sorted);
}

void sortByDistance(QList<dbEntries>& entries, bool ascending) {
    std::stable_sort(entries.begin(), entries.end(), [ascending](const dbEntries& a, const dbEntries& b) {
        return ascending ? a.distance < b.distance : a.distance > b.distance;
    });
}

bool isAscii(QStringView s) {
    for (const QChar c : s)
        if (c.unicode() >= 0x80) return false;
    return true;
}

char16_t asciiLower(char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; }

// Whether the lower-cased text holds needle (already lower-cased). Text in
// ASCII is lowered on the fly: its lower case is ASCII again, so a needle
// outside ASCII can't be in it.
bool lowerHolds(const QString& text, const QString& needle, bool needleAscii) {
    if (!isAscii(text)) return text.toLower().contains(needle);
    if (!needleAscii) return false;
    const qsizetype n = needle.size(), last = text.size() - n;
    for (qsizetype at = 0; at <= last; ++at) {
        qsizetype i = 0;
        while (i < n && asciiLower(text[at + i].unicode()) == needle[i].unicode()) ++i;
        if (i == n) return true;
    }
    return false;
}

}  // namespace

double pointDistance(double lat1, double lon1, double lat2, double lon2) {
    const double theta = lon1 - lon2;
    const double c = std::sin(radians(lat1)) * std::sin(radians(lat2)) +
                     std::cos(radians(lat1)) * std::cos(radians(lat2)) * std::cos(radians(theta));
    const double d = std::acos(c) * 180.0 / kPi;
    return d * 60.0 * 1.1515 * 1.609344;
}

void appendWithin(QList<dbEntries>& entries, const QList<realm_ptp>& points, double latitude, double longitude,
                  double maxDistance) {
    for (const realm_ptp& p : points) {
        const double distance = pointDistance(latitude, longitude, p.latitude, p.longitude);
        if (!(distance <= maxDistance)) continue;
        entries.append({distance, p.name, p.ptp_description, p.latitude, p.longitude, int(p.markerRed),
                        int(p.markerGreen), int(p.markerBlue), p.id});
    }
}

void sortEntries(QList<dbEntries>& entries, qint64 ptpListSortBy) {
    switch (ptpListSortBy) {
    case 1:
        sortByDistance(entries, false);
        break;
    case 2:
        sortByDistance(entries, true);
        sortByName(entries, true);
        break;
    case 3:
        sortByDistance(entries, false);
        sortByName(entries, false);
        break;
    default:
        sortByDistance(entries, true);
    }
}

int compareNames(const QString& a, const QString& b) { return compareCodePoints(composed(a), composed(b)); }

QList<dbEntries> search(const QList<dbEntries>& entries, const QString& text) {
    if (text.isEmpty()) return entries;
    const QString needle = text.toLower();
    const bool needleAscii = isAscii(needle);
    QList<dbEntries> kept;
    for (const dbEntries& e : entries)
        if (lowerHolds(e.name, needle, needleAscii) || lowerHolds(e.desc, needle, needleAscii)) kept.append(e);
    return kept;
}

QString rowText(const dbEntries& entry) { return Format::printf("%.2f km : ", entry.distance) + entry.name; }

}  // namespace PointList
