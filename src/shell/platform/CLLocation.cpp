#include "CLLocation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

bool CLAuthorizationStatusAllowsLocation(int status) {
    return status == kCLAuthorizationStatusAuthorizedAlways ||
           status == kCLAuthorizationStatusAuthorizedWhenInUse;
}

double CLLocation::distanceFromLocation(const CLLocation& other) const {
    constexpr double kEarthRadius = 6371009.0;
    constexpr double kRad = std::numbers::pi / 180.0;
    const double lat1 = coordinate.latitude * kRad;
    const double lat2 = other.coordinate.latitude * kRad;
    const double dLat = lat2 - lat1;
    const double dLon = (other.coordinate.longitude - coordinate.longitude) * kRad;
    const double s = std::sin(dLat / 2) * std::sin(dLat / 2) +
                     std::cos(lat1) * std::cos(lat2) * std::sin(dLon / 2) * std::sin(dLon / 2);
    return 2.0 * kEarthRadius * std::asin(std::min(1.0, std::sqrt(s)));
}
