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

// Library code elsewhere in the process may leave the upper halves of the
// AVX registers in use; many x86 cores then make every later SSE
// instruction wait on them, and measuring a long list ran about fifteen
// times slower. One instruction before a long run of arithmetic clears
// them; it changes no result.
void clearUpperVectorState() {
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
    static const bool avx = __builtin_cpu_supports("avx");
    if (avx) asm volatile("vzeroupper");
#endif
}

// UTF-16 units ordered as their code points: surrogates (which carry the
// code points above U+FFFF) move above U+E000..U+FFFF.
int codePointOrder(char16_t unit) {
    if (unit >= 0xE000) return unit - 0x800;
    if (unit >= 0xD800) return unit + 0x2000;
    return unit;
}

// Nothing below U+0300 changes under canonical composition; most names
// are such text and skip the normaliser.
QString composed(const QString& s) {
    for (const QChar c : s)
        if (c.unicode() >= 0x300) return s.normalized(QString::NormalizationForm_C);
    return s;
}

// The order of n rows under the setting, as positions: a stable sort by
// distance, then for the orders by name a stable sort by name. Two stable
// passes come to one sort by name, then distance, then position; and a
// sort that breaks its last ties by position is stable.
template <class Distance, class Name>
std::vector<qsizetype> orderOf(qsizetype n, Distance distanceAt, Name nameAt, qint64 setting) {
    clearUpperVectorState();
    const bool byName = setting == 2 || setting == 3;
    const bool ascending = setting != 1 && setting != 3;
    const auto closer = [ascending](double a, double b) { return ascending ? a < b : a > b; };
    std::vector<qsizetype> order;
    order.reserve(size_t(n));
    if (!byName) {
        std::vector<std::pair<double, qsizetype>> byDistance;
        byDistance.reserve(size_t(n));
        for (qsizetype i = 0; i < n; ++i) byDistance.emplace_back(distanceAt(i), i);
        std::sort(byDistance.begin(), byDistance.end(), [&](const auto& a, const auto& b) {
            if (a.first != b.first) return closer(a.first, b.first);
            return a.second < b.second;
        });
        for (const auto& d : byDistance) order.push_back(d.second);
        return order;
    }

    // The names side by side (read in their own order, which is the order
    // they lie in memory), each unit mapped to its code point order so that
    // plain comparisons of units order them; the first eight units, packed
    // into two numbers, settle most comparisons.
    struct Named {
        quint64 prefix[2];
        double distance;
        qsizetype row, offset, size;
    };
    std::vector<char16_t> units;
    units.reserve(size_t(n) * 16);
    std::vector<Named> byNames;
    byNames.reserve(size_t(n));
    for (qsizetype i = 0; i < n; ++i) {
        const QString name = composed(nameAt(i));
        const qsizetype offset = qsizetype(units.size());
        quint64 prefix[2] = {0, 0};
        for (qsizetype u = 0; u < name.size(); ++u) {
            const auto unit = char16_t(codePointOrder(name[u].unicode()));
            units.push_back(unit);
            if (u < 8) prefix[u / 4] |= quint64(unit) << (48 - 16 * (u % 4));
        }
        byNames.push_back({{prefix[0], prefix[1]}, distanceAt(i), i, offset, name.size()});
    }
    std::sort(byNames.begin(), byNames.end(), [&](const Named& a, const Named& b) {
        for (int p = 0; p < 2; ++p)
            if (a.prefix[p] != b.prefix[p]) return ascending ? a.prefix[p] < b.prefix[p] : a.prefix[p] > b.prefix[p];
        const char16_t* x = units.data() + a.offset;
        const char16_t* y = units.data() + b.offset;
        const auto c = std::lexicographical_compare_three_way(x, x + a.size, y, y + b.size);
        if (c != 0) return ascending ? c < 0 : c > 0;
        if (a.distance != b.distance) return closer(a.distance, b.distance);
        return a.row < b.row;
    });
    for (const Named& k : byNames) order.push_back(k.row);
    return order;
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
bool lowerHolds(QStringView text, bool textAscii, QStringView needle, bool needleAscii) {
    if (!textAscii) return text.toString().toLower().contains(needle);
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

Reference::Reference(double latitude, double longitude)
    : latitude(latitude), longitude(longitude), sinLatitude(std::sin(radians(latitude))),
      cosLatitude(std::cos(radians(latitude))) {}

double Reference::distanceTo(double lat2, double lon2) const {
    const double theta = longitude - lon2;
    const double c = sinLatitude * std::sin(radians(lat2)) +
                     cosLatitude * std::cos(radians(lat2)) * std::cos(radians(theta));
    const double d = std::acos(c) * 180.0 / kPi;
    return d * 60.0 * 1.1515 * 1.609344;
}

double pointDistance(double lat1, double lon1, double lat2, double lon2) {
    return Reference(lat1, lon1).distanceTo(lat2, lon2);
}

namespace {

// The distance and the store position of every point within maxDistance
// (a distance that is not a number fails the comparison), in store order.
std::vector<std::pair<double, qsizetype>> within(const QList<realm_ptp>& points, double latitude, double longitude,
                                                 double maxDistance) {
    clearUpperVectorState();
    const Reference from(latitude, longitude);
    std::vector<std::pair<double, qsizetype>> kept;
    for (qsizetype i = 0; i < points.size(); ++i) {
        const double distance = from.distanceTo(points[i].latitude, points[i].longitude);
        if (distance <= maxDistance) kept.emplace_back(distance, i);
    }
    return kept;
}

dbEntries entryOf(double distance, const realm_ptp& p) {
    return {distance, p.name, p.ptp_description, p.latitude, p.longitude, int(p.markerRed),
            int(p.markerGreen), int(p.markerBlue), p.id};
}

}  // namespace

void appendWithin(QList<dbEntries>& entries, const QList<realm_ptp>& points, double latitude, double longitude,
                  double maxDistance) {
    const auto kept = within(points, latitude, longitude, maxDistance);
    entries.reserve(entries.size() + qsizetype(kept.size()));
    for (const auto& [distance, i] : kept) entries.append(entryOf(distance, points[i]));
}

void sortEntries(QList<dbEntries>& entries, qint64 ptpListSortBy) {
    const auto order = orderOf(
        entries.size(), [&](qsizetype i) { return entries[i].distance; },
        [&](qsizetype i) -> const QString& { return entries[i].name; }, ptpListSortBy);
    QList<dbEntries> sorted;
    sorted.reserve(entries.size());
    for (qsizetype i : order) sorted.append(std::move(entries[i]));
    entries = std::move(sorted);
}

QList<dbEntries> load(const QList<realm_ptp>& points, double latitude, double longitude, double maxDistance,
                      qint64 ptpListSortBy) {
    const auto kept = within(points, latitude, longitude, maxDistance);
    const auto order = orderOf(
        qsizetype(kept.size()), [&](qsizetype k) { return kept[size_t(k)].first; },
        [&](qsizetype k) -> const QString& { return points[kept[size_t(k)].second].name; }, ptpListSortBy);
    QList<dbEntries> entries;
    entries.reserve(qsizetype(kept.size()));
    for (qsizetype k : order) entries.append(entryOf(kept[size_t(k)].first, points[kept[size_t(k)].second]));
    return entries;
}

QList<dbEntries> search(const QList<dbEntries>& entries, const QString& text) {
    return SearchText(entries).search(entries, text);
}

SearchText::SearchText(const QList<dbEntries>& entries) {
    qsizetype total = 0;
    for (const dbEntries& e : entries) total += e.name.size() + e.desc.size();
    text_.reserve(total);
    spans_.reserve(size_t(entries.size()) * 2);
    for (const dbEntries& e : entries)
        for (const QString* field : {&e.name, &e.desc}) {
            spans_.push_back({text_.size(), field->size(), isAscii(*field)});
            text_.append(*field);
        }
}

QList<dbEntries> SearchText::search(const QList<dbEntries>& entries, const QString& text) const {
    if (text.isEmpty()) return entries;
    if (spans_.size() != size_t(entries.size()) * 2) return PointList::search(entries, text);
    const QString needle = text.toLower();
    const bool needleAscii = isAscii(needle);
    const QStringView all(text_);
    std::vector<qsizetype> hits;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const Span& name = spans_[size_t(2 * i)];
        const Span& desc = spans_[size_t(2 * i + 1)];
        if (lowerHolds(all.mid(name.offset, name.size), name.ascii, needle, needleAscii) ||
            lowerHolds(all.mid(desc.offset, desc.size), desc.ascii, needle, needleAscii))
            hits.push_back(i);
    }
    if (qsizetype(hits.size()) == entries.size()) return entries;  // shared, not copied
    QList<dbEntries> kept;
    kept.reserve(qsizetype(hits.size()));
    for (qsizetype i : hits) kept.append(entries[i]);
    return kept;
}

QString rowText(const dbEntries& entry) { return Format::printf("%.2f km : ", entry.distance) + entry.name; }

}  // namespace PointList
