#pragma once

// The rules both point lists follow (the chooser and the management list):
// which stored points are near enough, how far they are, in which order
// they stand and which a search keeps. Plain values and functions; the
// screens hold the lists.

#include <QList>
#include <QString>

#include <vector>

struct realm_ptp;

// One row of a point list: a stored point and its distance from the
// reference point.
struct dbEntries {
    double distance = 0.0;  // km
    QString name;
    QString desc;
    double latitude = 0.0;
    double longitude = 0.0;
    int markerRed = 0;
    int markerGreen = 0;
    int markerBlue = 0;
    QString id;
};

namespace PointList {

// Kilometres from (lat1, lon1) to (lat2, lon2) by the spherical law of
// cosines with the nautical-mile constants. The cosine is not clamped, so a
// point on top of the reference point may come out as not a number.
double pointDistance(double lat1, double lon1, double lat2, double lon2);

// The same distance from one reference point to many: its sine and cosine
// are worked out once, with the very same results.
struct Reference {
    Reference(double latitude, double longitude);
    double distanceTo(double latitude, double longitude) const;

    double latitude, longitude;
    double sinLatitude, cosLatitude;
};

// Appends every point within maxDistance km of the reference point (the
// limit included), in store order. A distance that is not a number fails
// the comparison and the point is left out.
void appendWithin(QList<dbEntries>& entries, const QList<realm_ptp>& points, double latitude, double longitude,
                  double maxDistance);

// Orders the rows by the setting "ptpListSortBy": 0 nearest first, 1
// farthest first, 2 by name (equal names nearest first), 3 by name reversed
// (equal names farthest first); any other value like 0. Stable: rows that
// compare equal keep their order.
void sortEntries(QList<dbEntries>& entries, qint64 ptpListSortBy);

// Every point within maxDistance km of the reference point, sorted by the
// setting: what appendWithin and sortEntries give on an empty list, in one
// pass over the store.
QList<dbEntries> load(const QList<realm_ptp>& points, double latitude, double longitude, double maxDistance,
                      qint64 ptpListSortBy);

// The rows whose lower-cased name or description holds the lower-cased
// text, in their order; all rows for an empty text. No locale enters.
QList<dbEntries> search(const QList<dbEntries>& entries, const QString& text);

// The names and descriptions of rows side by side in one block, so that a
// keystroke's search reads one piece of memory rather than every row's own
// texts. Made from the rows it searches, and made again when they change.
class SearchText {
public:
    SearchText() = default;
    explicit SearchText(const QList<dbEntries>& entries);
    // search() over the rows it was made from.
    QList<dbEntries> search(const QList<dbEntries>& entries, const QString& text) const;

private:
    struct Span {
        qsizetype offset;
        qsizetype size;
        bool ascii;
    };
    QString text_;
    std::vector<Span> spans_;  // name and description of each row
};

// The row's text: the distance always in km, then the name.
QString rowText(const dbEntries& entry);

}  // namespace PointList
