// Even-odd ray test on the sphere: count the edges that a ray going south
// from the point crosses.

#include <cmath>

#include "GMSGeometryMath.h"
#include "GMSGeometryUtils.h"

using namespace gms_detail;

namespace {

constexpr double kHalfPi = kGMSPi / 2.0;

// The rest of the crossing test, once the point lies within the edge's
// longitudes. Kept out of line so that the loop over the ring stays tight:
// most edges of a sector are rejected by longitude alone.
[[gnu::noinline]] bool crossesSouthRaySlow(double lat1, double lat2, double lng2, double lat3, double lng3, bool geodesic) {
    if (lat3 <= -kHalfPi)
        return false;
    // Edges touching a pole are not counted.
    if (lat1 <= -kHalfPi || lat2 <= -kHalfPi || lat1 >= kHalfPi || lat2 >= kHalfPi || lng2 <= -kGMSPi)
        return false;
    const double linear = (lat2 * lng3 + (lng2 - lng3) * lat1) / lng2;
    if (lat1 >= 0.0 && lat2 >= 0.0 && linear > lat3)
        return false;
    if (lat3 >= kHalfPi || (lat1 <= 0.0 && lat2 <= 0.0 && linear <= lat3))
        return true;
    if (geodesic)
        return std::tan(lat3) >= (std::sin(lng2 - lng3) * std::tan(lat1) + std::sin(lng3) * std::tan(lat2)) / std::sin(lng2);
    return mercator(lat3) >= ((lng2 - lng3) * mercator(lat1) + mercator(lat2) * lng3) / lng2;
}

// Edge from (lat1, 0) to (lat2, lng2); the point is (lat3, lng3), longitudes
// relative to the edge's start and wrapped to [-pi, pi).
inline bool crossesSouthRay(double lat1, double lat2, double lng2, double lat3, double lng3, bool geodesic) {
    if (lng3 >= 0.0 ? lng3 >= lng2 : lng3 < lng2)
        return false;
    return crossesSouthRaySlow(lat1, lat2, lng2, lat3, lng3, geodesic);
}

} // namespace

bool GMSGeometryContainsLocation(CLLocationCoordinate2D point, const GMSPath& path, bool geodesic) {
    const std::vector<CLLocationCoordinate2D>& coords = path.coordinates();
    if (coords.empty())
        return false;
    const double lat3 = point.latitude * kGMSDegreesToRadians;
    const double lng = point.longitude * kGMSDegreesToRadians;
    double lat1 = coords.back().latitude * kGMSDegreesToRadians;
    double lng1 = coords.back().longitude * kGMSDegreesToRadians;
    unsigned crossings = 0;
    for (const CLLocationCoordinate2D& c : coords) {
        const double lng3 = wrapRadians(lng - lng1);
        // A point on a vertex is inside.
        if (lat3 == lat1 && lng3 == 0.0)
            return true;
        const double lat2 = c.latitude * kGMSDegreesToRadians;
        const double lng2raw = c.longitude * kGMSDegreesToRadians;
        if (crossesSouthRay(lat1, lat2, wrapRadians(lng2raw - lng1), lat3, lng3, geodesic))
            ++crossings;
        lat1 = lat2;
        lng1 = lng2raw;
    }
    return (crossings & 1u) != 0;
}
