#include "GMSGeometryUtils.h"

#include <cmath>

#include "GMSGeometryMath.h"

using namespace gms_detail;

double GMSWrapLongitude(double v) {
    return wrapLongitudeDegrees(v);
}

double GMSGeometryCentralAngle(CLLocationCoordinate2D from, CLLocationCoordinate2D to) {
    return centralAngle(from.latitude * kGMSDegreesToRadians, from.longitude * kGMSDegreesToRadians,
                        to.latitude * kGMSDegreesToRadians, to.longitude * kGMSDegreesToRadians);
}

double GMSGeometryDistance(CLLocationCoordinate2D from, CLLocationCoordinate2D to) {
    return GMSGeometryCentralAngle(from, to) * kGMSEarthRadius;
}

double GMSGeometryLength(const GMSPath& path) {
    return path.lengthOfKind(kGMSLengthGeodesic);
}

double GMSGeometryHeading(CLLocationCoordinate2D from, CLLocationCoordinate2D to) {
    const double h = initialBearing(from.latitude * kGMSDegreesToRadians, from.longitude * kGMSDegreesToRadians,
                                    to.latitude * kGMSDegreesToRadians, to.longitude * kGMSDegreesToRadians) *
                     kGMSRadiansToDegrees;
    if (h >= 0.0 && h < 360.0)
        return h;
    return std::fmod(std::fmod(h, 360.0) + 360.0, 360.0);
}

CLLocationCoordinate2D GMSGeometryOffset(CLLocationCoordinate2D from, double angle, double heading) {
    return offsetRadians(from.latitude * kGMSDegreesToRadians, from.longitude * kGMSDegreesToRadians, angle,
                         heading * kGMSDegreesToRadians);
}

CLLocationCoordinate2D GMSGeometryInterpolate(CLLocationCoordinate2D from, CLLocationCoordinate2D to, double fraction) {
    const double delta = GMSGeometryCentralAngle(from, to) * fraction;
    return GMSGeometryOffset(from, delta, GMSGeometryHeading(from, to));
}
