// Circle and rectangle paths.

#include <algorithm>
#include <cmath>

#include "GMSCoordinateBounds.h"
#include "GMSGeometryMath.h"
#include "GMSPath.h"

std::optional<GMSMutablePath> GMSPath::circlePathWithCenter(CLLocationCoordinate2D center, double radius) {
    if (!(radius >= 0.0) || !CLLocationCoordinate2DIsValid(center))
        return std::nullopt;
    const double lat = center.latitude * (kGMSPi / 180.0);
    const double lng = center.longitude * (kGMSPi / 180.0);
    const double cosLat = std::cos(lat);
    const double sinLat = std::sin(lat);
    // Never below 3 cm at the equator, so that a zero radius still has a shape.
    const double r = std::max(radius, cosLat * 0.03);
    const double delta = r / kGMSEarthRadius;
    const double cosDelta = std::cos(delta);
    const double sinDelta = std::sin(delta);
    const int n = r < 2000000.0 ? 48 : (r < 4000000.0 ? 96 : 192);

    // The bearing turns by rotating its (sin, cos) pair: one sine and cosine
    // for the whole ring instead of one per point.
    const double step = 2.0 * kGMSPi / n;
    const double sinStep = std::sin(step);
    const double cosStep = std::cos(step);
    double sinT = 0.0;
    double cosT = 1.0;

    std::vector<CLLocationCoordinate2D> coords;
    coords.reserve(std::size_t(n));
    for (int i = 0; i < n; ++i) {
        const double sinLat2 = sinLat * cosDelta + cosLat * sinDelta * cosT;
        double lng2 = lng + std::atan2(cosLat * sinDelta * sinT, cosDelta - sinLat * sinLat2);
        if (lng2 > kGMSPi)
            lng2 -= 2.0 * kGMSPi;
        else if (lng2 < -kGMSPi)
            lng2 += 2.0 * kGMSPi;
        coords.push_back({std::asin(sinLat2) * kGMSRadiansToDegrees, lng2 * kGMSRadiansToDegrees});
        const double s = sinT * cosStep + cosT * sinStep;
        cosT = cosT * cosStep - sinT * sinStep;
        sinT = s;
    }
    return GMSMutablePath(std::move(coords));
}

std::optional<GMSMutablePath> GMSPath::rectanglePathWithBounds(const GMSCoordinateBounds& bounds) {
    if (!bounds.isValid())
        return std::nullopt;
    const CLLocationCoordinate2D ne = bounds.northEast();
    const CLLocationCoordinate2D sw = bounds.southWest();
    return GMSMutablePath{{sw.latitude, ne.longitude}, {ne.latitude, ne.longitude}, {ne.latitude, sw.longitude},
                          {sw.latitude, sw.longitude}};
}
