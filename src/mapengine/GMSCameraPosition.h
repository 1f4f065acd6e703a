#pragma once

#include <QMetaType>

#include <cstdint>

#include "geometry/CLLocationCoordinate2D.h"

// Where the map looks: an immutable value. Every constructor goes through the
// same limits: latitude clamped to [-90, 90], longitude wrapped to
// [-180, 180), zoom clamped to [2, 21], bearing wrapped to [0, 360), viewing
// angle clamped to [0, 90]. A NaN in a clamped field passes through.
class GMSCameraPosition {
public:
    static constexpr float kGMSMinZoomLevel = 2.0f;
    static constexpr float kGMSMaxZoomLevel = 21.0f;

    // (0, 0) at zoom 21, bearing 0, viewing angle 0.
    GMSCameraPosition();
    GMSCameraPosition(CLLocationCoordinate2D target, float zoom, double bearing, double viewingAngle);
    GMSCameraPosition(CLLocationCoordinate2D target, float zoom) : GMSCameraPosition(target, zoom, 0.0, 0.0) {}
    GMSCameraPosition(double latitude, double longitude, float zoom)
        : GMSCameraPosition(CLLocationCoordinate2D{latitude, longitude}, zoom, 0.0, 0.0) {}

    static GMSCameraPosition cameraWithTarget(CLLocationCoordinate2D target, float zoom) { return {target, zoom}; }
    static GMSCameraPosition cameraWithLatitude(double latitude, double longitude, float zoom) {
        return {latitude, longitude, zoom};
    }
    static GMSCameraPosition cameraWithTarget(CLLocationCoordinate2D target, float zoom, double bearing,
                                              double viewingAngle) {
        return {target, zoom, bearing, viewingAngle};
    }
    static GMSCameraPosition cameraWithLatitude(double latitude, double longitude, float zoom, double bearing,
                                                double viewingAngle) {
        return {CLLocationCoordinate2D{latitude, longitude}, zoom, bearing, viewingAngle};
    }

    CLLocationCoordinate2D target() const { return target_; }
    float zoom() const { return zoom_; }
    double bearing() const { return bearing_; }
    double viewingAngle() const { return viewingAngle_; }

    // Exact comparison of the five numbers.
    bool isEqual(const GMSCameraPosition& other) const;
    friend bool operator==(const GMSCameraPosition& a, const GMSCameraPosition& b) { return a.isEqual(b); }
    friend bool operator!=(const GMSCameraPosition& a, const GMSCameraPosition& b) { return !a.isEqual(b); }

    // Over the raw bit patterns of the stored fields, 64-bit wrap-around.
    std::uint64_t hash() const;

    // The zoom at which `meters` at `coordinate` span `points` on screen.
    static float zoomAtCoordinate(CLLocationCoordinate2D coordinate, double meters, double points);

    // The wrapping rules, shared with the animations.
    static double wrapLongitude(double longitude);
    static double wrapBearing(double bearing);

private:
    CLLocationCoordinate2D target_;
    float zoom_;
    double bearing_;
    double viewingAngle_;
};

Q_DECLARE_METATYPE(GMSCameraPosition)
