#include "GMSMapPoint.h"

#include <cmath>
#include <limits>

#include "GMSEarth.h"

GMSMapPoint GMSProject(CLLocationCoordinate2D c) {
    return {c.longitude * 0.005555555555555556, std::log(std::tan(c.latitude * kGMSPi / 360.0 + kGMSQuarterPi)) / kGMSPi};
}

CLLocationCoordinate2D GMSUnproject(GMSMapPoint p) {
    return {(2.0 * std::atan(std::exp(p.y * kGMSPi)) - kGMSPi / 2.0) * kGMSRadiansToDegrees, p.x * 180.0};
}

GMSMapPoint GMSMapPointInterpolate(GMSMapPoint a, GMSMapPoint b, double t) {
    double x1 = a.x;
    double x2 = b.x;
    if (std::fabs(x1 - x2) > 1.0) {
        if (x1 < x2)
            x1 += 2.0;
        else
            x2 += 2.0;
    }
    double x = x1 + (x2 - x1) * t;
    if (x > 1.0)
        x -= 2.0;
    return {x, a.y + (b.y - a.y) * t};
}

double GMSMapPointDistance(GMSMapPoint a, GMSMapPoint b) {
    const double dx = a.x - b.x;
    const double dy = a.y - b.y;
    const double w = dx * dx > 1.0 ? 2.0 - std::fabs(dx) : dx;
    return std::sqrt(dy * dy + w * w);
}

namespace gmscore::model {

namespace {
// 2^29 / pi: radians to world units.
constexpr double kUnitsPerRadian = 170891318.8941079;
} // namespace

std::int32_t roundToWorldUnit(double v) {
    if (std::isnan(v))
        return std::numeric_limits<std::int32_t>::min();
    const double r = std::round(v); // halves away from zero
    if (r >= 2147483647.0)
        return std::numeric_limits<std::int32_t>::max();
    if (r <= -2147483648.0)
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(r);
}

Point2D Point2D::fromCoordinate(CLLocationCoordinate2D c) {
    if (c == kCLLocationCoordinate2DInvalid)
        c = {0.0, 0.0};
    const double lat = c.latitude * kGMSDegreesToRadians;
    const double lng = c.longitude * kGMSDegreesToRadians;
    return {roundToWorldUnit(lng * kUnitsPerRadian), roundToWorldUnit(std::log(std::tan(lat / 2.0 + kGMSQuarterPi)) * kUnitsPerRadian)};
}

CLLocationCoordinate2D Point2D::toCoordinate() const {
    const double lng = double(x) / kUnitsPerRadian;
    const double lat = 2.0 * std::atan(std::exp(double(y) / kUnitsPerRadian)) - kGMSPi / 2.0;
    return {lat * kGMSRadiansToDegrees, lng * kGMSRadiansToDegrees};
}

GMSMapPoint Point2D::toMapPoint() const {
    return {double(x) / double(kWorldHalfSize), double(y) / double(kWorldHalfSize)};
}

} // namespace gmscore::model
