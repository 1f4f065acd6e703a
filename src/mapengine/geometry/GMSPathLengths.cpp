// Cumulative lengths along a path by the three measures.

#include <cmath>

#include "GMSGeometryMath.h"
#include "GMSMapPoint.h"
#include "GMSPathData.h"

namespace gms_detail {

std::vector<double> cumulativeGeodesic(const std::vector<CLLocationCoordinate2D>& coords) {
    std::vector<double> out;
    out.reserve(coords.empty() ? 1 : coords.size());
    out.push_back(0.0);
    double total = 0.0;
    for (std::size_t i = 1; i < coords.size(); ++i) {
        total += centralAngle(coords[i - 1].latitude * kGMSDegreesToRadians, coords[i - 1].longitude * kGMSDegreesToRadians,
                              coords[i].latitude * kGMSDegreesToRadians, coords[i].longitude * kGMSDegreesToRadians) *
                 kGMSEarthRadius;
        out.push_back(total);
    }
    return out;
}

// The previous longitude is carried unwrapped, so a line over the
// antimeridian keeps its direction from step to step.
std::vector<double> cumulativeRhumb(const std::vector<CLLocationCoordinate2D>& coords) {
    std::vector<double> out;
    out.reserve(coords.empty() ? 1 : coords.size());
    out.push_back(0.0);
    if (coords.empty())
        return out;
    double prevLat = coords[0].latitude * kGMSDegreesToRadians;
    double prevLng = coords[0].longitude * kGMSDegreesToRadians;
    double prevM = mercator(prevLat);
    double total = 0.0;
    for (std::size_t i = 1; i < coords.size(); ++i) {
        const double lat = coords[i].latitude * kGMSDegreesToRadians;
        double lng = coords[i].longitude * kGMSDegreesToRadians;
        const double dLat = std::fabs(lat - prevLat);
        double dLng = lng - prevLng;
        const double m = mercator(lat);
        if (dLng > kGMSPi) {
            dLng -= 2.0 * kGMSPi;
            lng -= 2.0 * kGMSPi;
        } else if (dLng < -kGMSPi) {
            dLng += 2.0 * kGMSPi;
            lng += 2.0 * kGMSPi;
        }
        double step;
        if (dLat < 1e-10)
            step = std::cos((lat + prevLat) / 2.0) * std::fabs(dLng);
        else
            step = dLat * std::sqrt(1.0 + sq(dLng / (m - prevM)));
        total += step * kGMSEarthRadius;
        out.push_back(total);
        prevLat = lat;
        prevLng = lng;
        prevM = m;
    }
    return out;
}

std::vector<double> cumulativeProjected(const std::vector<CLLocationCoordinate2D>& coords) {
    std::vector<double> out;
    out.reserve(coords.empty() ? 1 : coords.size());
    out.push_back(0.0);
    if (coords.empty())
        return out;
    GMSMapPoint prev = GMSProject(coords[0]);
    double total = 0.0;
    for (std::size_t i = 1; i < coords.size(); ++i) {
        const GMSMapPoint p = GMSProject(coords[i]);
        total += GMSMapPointDistance(p, prev);
        out.push_back(total);
        prev = p;
    }
    return out;
}

} // namespace gms_detail
