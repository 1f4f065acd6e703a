#pragma once

#include "CLLocationCoordinate2D.h"

#include <QList>
#include <QString>

#include <optional>

class Azimuth;

// What the azimuth map draws for one active azimuth.
struct azimuthLine {
    CLLocationCoordinate2D start;
    CLLocationCoordinate2D end;
    double red = 0.0;  // 0.0 to 1.0; alpha is 1.0
    double green = 0.0;
    double blue = 0.0;
    QString title;
    QString snippet;
    double azymut = 0.0;
};

// The bearing line's input, read from a stored azimuth.
struct AzimuthInput {
    double azimuth = 0.0;
    double distance = 0.0;  // kilometres
    QString desc;           // null when absent
    int colorRed = 0;
    int colorGreen = 0;
    int colorBlue = 0;
    bool isActive = false;

    static AzimuthInput from(const Azimuth& a);
};

namespace AzimuthLines {

// No bearing is selected: far from any heading.
inline constexpr double kNoAzimuth = -360.0;

// The end of a great-circle step on a sphere of 6371.0 km. The longitude is
// passed on as computed, beyond ±180 if the line crosses the antimeridian.
CLLocationCoordinate2D destinationPoint(double latitude, double longitude, double bearingDegrees, double distanceKm);

// One line per active azimuth, in store order; none without a start.
QList<azimuthLine> azimuthLines(const std::optional<CLLocationCoordinate2D>& start,
                                const QList<AzimuthInput>& azimuths, bool useImperialUnits);
QList<azimuthLine> azimuthLines(const std::optional<CLLocationCoordinate2D>& start,
                                const QList<Azimuth*>& azimuths, bool useImperialUnits);

// A lone line is selected by itself; otherwise nothing is (-360.0).
double selectedAzimuth(const QList<azimuthLine>& lines);

}  // namespace AzimuthLines
