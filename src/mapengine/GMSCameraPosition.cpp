#include "GMSCameraPosition.h"

#include <cmath>
#include <cstring>

namespace {

// Clamps as a comparison would: a NaN fails both tests and passes through.
template <typename T>
T clampKeepNaN(T v, T lo, T hi) {
    if (v < lo) return lo;
    if (v > hi) return hi;
    return v;
}

std::uint64_t bits(double v) {
    std::uint64_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

std::uint64_t bits(float v) {
    std::uint32_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

}  // namespace

GMSCameraPosition::GMSCameraPosition() : GMSCameraPosition(CLLocationCoordinate2D{0.0, 0.0}, 21.0f, 0.0, 0.0) {}

GMSCameraPosition::GMSCameraPosition(CLLocationCoordinate2D target, float zoom, double bearing, double viewingAngle) {
    target_.latitude = clampKeepNaN(target.latitude, -90.0, 90.0);
    target_.longitude = wrapLongitude(target.longitude);
    zoom_ = clampKeepNaN(zoom, kGMSMinZoomLevel, kGMSMaxZoomLevel);
    bearing_ = wrapBearing(bearing);
    viewingAngle_ = clampKeepNaN(viewingAngle, 0.0, 90.0);
}

double GMSCameraPosition::wrapLongitude(double v) {
    if (v >= -180.0 && v < 180.0) return v;
    return std::fmod(std::fmod(v + 180.0, 360.0) + 360.0, 360.0) - 180.0;
}

double GMSCameraPosition::wrapBearing(double v) {
    if (v >= 0.0 && v < 360.0) return v;
    return std::fmod(std::fmod(v, 360.0) + 360.0, 360.0);
}

bool GMSCameraPosition::isEqual(const GMSCameraPosition& o) const {
    return target_.latitude == o.target_.latitude && target_.longitude == o.target_.longitude &&
           zoom_ == o.zoom_ && bearing_ == o.bearing_ && viewingAngle_ == o.viewingAngle_;
}

std::uint64_t GMSCameraPosition::hash() const {
    std::uint64_t h = bits(target_.latitude);
    h = h * 31 + bits(target_.longitude);
    h = h * 31 + bits(bearing_);
    h = h * 31 + bits(zoom_);
    h = h * 31 + bits(viewingAngle_);
    return h + 887503681u;
}

float GMSCameraPosition::zoomAtCoordinate(CLLocationCoordinate2D coordinate, double meters, double points) {
    const double lat = coordinate.latitude * 0.017453292519943295;
    return static_cast<float>(std::log2(points / meters * std::cos(lat) * 40030230.14070891 / 256.0));
}
