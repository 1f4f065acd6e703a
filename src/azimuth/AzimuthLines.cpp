#include "AzimuthLines.h"

#include "settings/Units.h"
#include "store/Entities.h"

#include <cmath>

AzimuthInput AzimuthInput::from(const Azimuth& a) {
    return {a.azimuth(), a.distance(), a.desc(), a.colorRed(), a.colorGreen(), a.colorBlue(), a.isActive()};
}

namespace AzimuthLines {

CLLocationCoordinate2D destinationPoint(double latitude, double longitude, double bearingDegrees, double distanceKm) {
    constexpr double pi = 3.141592653589793;
    const double delta = distanceKm / 6371.0;
    const double theta = bearingDegrees * pi / 180.0;
    const double phi1 = latitude * pi / 180.0;
    const double lambda1 = longitude * pi / 180.0;
    const double phi2 = std::asin(std::sin(phi1) * std::cos(delta) + std::cos(phi1) * std::sin(delta) * std::cos(theta));
    const double y = std::sin(theta) * std::sin(delta) * std::cos(phi1);
    const double x = std::cos(delta) - std::sin(phi1) * std::sin(phi2);
    const double lambda2 = lambda1 + std::atan2(y, x);
    return {phi2 * 180.0 / pi, lambda2 * 180.0 / pi};
}

QList<azimuthLine> azimuthLines(const std::optional<CLLocationCoordinate2D>& start,
                                const QList<AzimuthInput>& azimuths, bool useImperialUnits) {
    QList<azimuthLine> lines;
    if (!start) return lines;
    for (const AzimuthInput& a : azimuths) {
        if (!a.isActive) continue;
        azimuthLine line;
        line.start = *start;
        line.end = destinationPoint(start->latitude, start->longitude, a.azimuth, a.distance);
        line.red = a.colorRed / 255.0;
        line.green = a.colorGreen / 255.0;
        line.blue = a.colorBlue / 255.0;
        line.title = Format::azimuthTitle(a.azimuth, a.distance, useImperialUnits);
        line.snippet = a.desc.isNull() ? QString(QLatin1String("")) : a.desc;
        line.azymut = a.azimuth;
        lines << line;
    }
    return lines;
}

QList<azimuthLine> azimuthLines(const std::optional<CLLocationCoordinate2D>& start,
                                const QList<Azimuth*>& azimuths, bool useImperialUnits) {
    QList<AzimuthInput> inputs;
    for (const Azimuth* a : azimuths)
        if (a) inputs << AzimuthInput::from(*a);
    return azimuthLines(start, inputs, useImperialUnits);
}

double selectedAzimuth(const QList<azimuthLine>& lines) { return lines.size() == 1 ? lines.first().azymut : kNoAzimuth; }

}  // namespace AzimuthLines
