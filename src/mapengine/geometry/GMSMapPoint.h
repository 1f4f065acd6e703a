#pragma once

#include <cstdint>

#include "CLLocationCoordinate2D.h"

// A position in the normalised world square of the Mercator projection: the
// world spans [-1, 1] on both axes, x grows east and y grows north.
struct GMSMapPoint {
    double x = 0.0;
    double y = 0.0;

    friend bool operator==(const GMSMapPoint&, const GMSMapPoint&) = default;
};

// Coordinate to world square and back.
GMSMapPoint GMSProject(CLLocationCoordinate2D coordinate);
CLLocationCoordinate2D GMSUnproject(GMSMapPoint point);

// Straight interpolation in the world square that takes the shorter way
// round: y directly; when the x values are more than 1 apart the smaller one
// is moved by +2 first and a result above 1 is moved back by -2.
GMSMapPoint GMSMapPointInterpolate(GMSMapPoint a, GMSMapPoint b, double t);

// Distance in world-square units, going round the back of the world when
// that is shorter.
double GMSMapPointDistance(GMSMapPoint a, GMSMapPoint b);

namespace gmscore::model {

// Fixed-point world coordinate used for drawing. The world is 2^30 units
// wide, from -2^29 (longitude -180) to 2^29 (longitude 180); y grows north.
struct Point2D {
    std::int32_t x = 0;
    std::int32_t y = 0;

    friend bool operator==(const Point2D&, const Point2D&) = default;

    // Rounded half away from zero and saturated to the int32 range; NaN gives
    // INT32_MIN. kCLLocationCoordinate2DInvalid is read as (0, 0).
    static Point2D fromCoordinate(CLLocationCoordinate2D coordinate);

    // The inverse (up to the rounding); x outside the world gives a
    // longitude outside [-180, 180].
    CLLocationCoordinate2D toCoordinate() const;

    // Same position in the normalised world square (scale 2^-29).
    GMSMapPoint toMapPoint() const;
};

inline constexpr std::int32_t kWorldHalfSize = 1 << 29; // 2^29
inline constexpr std::int64_t kWorldSize = std::int64_t(1) << 30; // 2^30

// Saturating, half-away-from-zero conversion used for Point2D axes.
std::int32_t roundToWorldUnit(double value);

} // namespace gmscore::model
