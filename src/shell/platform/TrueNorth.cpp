#include "TrueNorth.h"

#include "WorldMagneticModel.h"

#include <cmath>

double wrapDegrees360(double degrees) {
    if (!std::isfinite(degrees))
        return degrees;
    double d = std::fmod(degrees, 360.0);
    if (d < 0.0)
        d += 360.0;
    if (d >= 360.0)  // -1e-17 + 360 rounds to 360
        d = 0.0;
    return d;
}

std::optional<Declination> declinationAt(const CLLocation& fix) {
    const WorldMagneticModel* model = WorldMagneticModel::bundled();
    if (!model || !CLLocationCoordinate2DIsValid(fix.coordinate))
        return std::nullopt;
    const QDateTime when = fix.timestamp.isValid() ? fix.timestamp : QDateTime::currentDateTimeUtc();
    const auto field = model->field(fix.coordinate.latitude, fix.coordinate.longitude, fix.altitude / 1000.0,
                                    WorldMagneticModel::decimalYear(when));
    if (!std::isfinite(field.declination))
        return std::nullopt;
    return Declination{field.declination, field.outsideValidity};
}

CLHeading makeHeading(double magneticHeading, double headingAccuracy, const QDateTime& timestamp,
                      const std::optional<Declination>& declination) {
    CLHeading heading;
    heading.magneticHeading = wrapDegrees360(magneticHeading);
    heading.headingAccuracy = headingAccuracy;
    heading.timestamp = timestamp;
    if (declination) {
        heading.trueHeading = wrapDegrees360(magneticHeading + declination->degrees);
        heading.isTrueHeading = true;
        heading.declination = declination->degrees;
        heading.declinationOutsideModel = declination->outsideModel;
    } else {
        heading.trueHeading = heading.magneticHeading;
    }
    return heading;
}
