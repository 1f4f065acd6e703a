#pragma once

// Building blocks shared by the geometry sources; radians throughout.

#include <cmath>

#include "CLLocationCoordinate2D.h"
#include "GMSEarth.h"

namespace gms_detail {

inline double sq(double v) { return v * v; }

// Haversine central angle.
inline double centralAngle(double lat1, double lng1, double lat2, double lng2) {
    const double h = sq(std::sin((lat1 - lat2) / 2.0)) + std::cos(lat2) * std::cos(lat1) * sq(std::sin((lng1 - lng2) / 2.0));
    return 2.0 * std::asin(std::sqrt(h));
}

// Initial great-circle bearing, radians in (-pi, pi].
inline double initialBearing(double lat1, double lng1, double lat2, double lng2) {
    const double y = std::cos(lat2) * std::sin(lng2 - lng1);
    const double x = std::sin(lat2 - lat1) + 2.0 * std::sin(lat1) * std::cos(lat2) * sq(std::sin((lng2 - lng1) / 2.0));
    return std::atan2(y, x);
}

// Degrees in [-180, 180); values already there pass unchanged.
inline double wrapLongitudeDegrees(double v) {
    if (v >= -180.0 && v < 180.0)
        return v;
    return std::fmod(std::fmod(v + 180.0, 360.0) + 360.0, 360.0) - 180.0;
}

// Radians in [-pi, pi); values already there pass unchanged, so that equal
// longitudes give exactly 0.
inline double wrapRadians(double v) {
    if (v >= -kGMSPi && v < kGMSPi)
        return v;
    return std::fmod(std::fmod(v + kGMSPi, 2.0 * kGMSPi) + 2.0 * kGMSPi, 2.0 * kGMSPi) - kGMSPi;
}

// Destination along a great circle; result in degrees, longitude wrapped.
inline CLLocationCoordinate2D offsetRadians(double lat1, double lng1, double angle, double heading) {
    const double cosA = std::cos(angle);
    const double sinA = std::sin(angle);
    const double sinLat1 = std::sin(lat1);
    const double cosLat1 = std::cos(lat1);
    const double sinLat2 = cosA * sinLat1 + sinA * cosLat1 * std::cos(heading);
    const double lat2 = std::asin(sinLat2);
    const double lng2 = lng1 + std::atan2(cosLat1 * sinA * std::sin(heading), cosA - sinLat1 * sinLat2);
    return {lat2 * kGMSRadiansToDegrees, wrapLongitudeDegrees(lng2 * kGMSRadiansToDegrees)};
}

// Mercator function ln(tan(lat/2 + pi/4)).
inline double mercator(double lat) { return std::log(std::tan(lat / 2.0 + kGMSQuarterPi)); }

} // namespace gms_detail
