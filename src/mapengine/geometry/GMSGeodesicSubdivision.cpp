// Great circles drawn as straight pieces, with steps that shrink toward the
// poles where the Mercator distortion grows.

#include <algorithm>
#include <cmath>

#include "GMSGeometryMath.h"
#include "GMSPolylinePrep.h"

using namespace gms_detail;

namespace {

// Step in radians of central angle for each latitude band of ~5.73 degrees.
constexpr double kStepByBand[] = {0.0349, 0.0248, 0.0201, 0.0172, 0.0151, 0.0135, 0.0122, 0.011,
                                  0.0099, 0.0089, 0.0079, 0.0069, 0.0059, 0.0046, 0.0029, 0.0025};
constexpr std::size_t kBands = sizeof(kStepByBand) / sizeof(kStepByBand[0]);

double stepForLatitude(double latitudeDegrees) {
    const double band = std::fabs(std::trunc(latitudeDegrees * 0.17453292519943295));
    if (!(band < double(kBands))) // beyond a pole, or NaN
        return kStepByBand[kBands - 1];
    return kStepByBand[std::size_t(band)];
}

bool atPole(double latitude) { return latitude <= -90.0 || latitude >= 90.0; }

} // namespace

void GMSGeodesicSubdivide(CLLocationCoordinate2D from, CLLocationCoordinate2D to, double tolerance,
                          std::vector<CLLocationCoordinate2D>& out) {
    if (!(tolerance > 0.0))
        return;
    tolerance = std::max(tolerance, 0.01);
    if (atPole(from.latitude)) {
        // A run across the pole becomes a stop at 89/90 of the latitude.
        if (std::fabs(from.latitude - to.latitude) >= 2.0) {
            out.push_back({from.latitude * 0.9888888888888889, to.longitude});
            if (atPole(to.latitude))
                out.push_back({to.latitude * 0.9888888888888889, to.longitude});
        }
        return;
    }
    const double lat1 = from.latitude * kGMSDegreesToRadians;
    const double lng1 = from.longitude * kGMSDegreesToRadians;
    const double lat2 = to.latitude * kGMSDegreesToRadians;
    const double lng2 = to.longitude * kGMSDegreesToRadians;

    const double distance = centralAngle(lat1, lng1, lat2, lng2);
    const double scale = std::sqrt(tolerance / 100.0);
    double s = scale * stepForLatitude(from.latitude);
    // Most edges of a drawn shape are shorter than one step.
    if (!(s < distance))
        return;

    double heading;
    if (std::fabs(from.latitude + to.latitude) < 1e-6 && std::fabs(std::fabs(from.longitude - to.longitude) - 180.0) < 1e-6) {
        // Antipodes: of all the great circles, take the one over the equator
        // at the mean longitude.
        heading = initialBearing(lat1, lng1, 0.0, (lng1 + lng2) / 2.0);
    } else {
        heading = initialBearing(lat1, lng1, lat2, lng2);
    }
    const double cosHeading = std::cos(heading);
    const double sinHeading = std::sin(heading);
    const double sinLat1 = std::sin(lat1);
    const double cosLat1 = std::cos(lat1);
    while (s < distance) {
        const double cosA = std::cos(s);
        const double sinA = std::sin(s);
        const double sinLat = cosA * sinLat1 + sinA * cosLat1 * cosHeading;
        const double lng = lng1 + std::atan2(cosLat1 * sinA * sinHeading, cosA - sinLat1 * sinLat);
        const CLLocationCoordinate2D p{std::asin(sinLat) * kGMSRadiansToDegrees, wrapLongitudeDegrees(lng * kGMSRadiansToDegrees)};
        out.push_back(p);
        s += scale * stepForLatitude(p.latitude);
    }
}
