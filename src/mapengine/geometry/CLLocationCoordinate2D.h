#pragma once

// A position on the earth in degrees. (0, 0) is the value the app uses for
// "no position set by hand".
struct CLLocationCoordinate2D {
    double latitude = 0.0;
    double longitude = 0.0;

    friend bool operator==(const CLLocationCoordinate2D&, const CLLocationCoordinate2D&) = default;
};

inline CLLocationCoordinate2D CLLocationCoordinate2DMake(double latitude, double longitude) {
    return {latitude, longitude};
}

// A coordinate is valid when its latitude lies in [-90, 90] and its
// longitude in [-180, 180].
inline bool CLLocationCoordinate2DIsValid(const CLLocationCoordinate2D& c) {
    return c.latitude >= -90.0 && c.latitude <= 90.0 && c.longitude >= -180.0 && c.longitude <= 180.0;
}

// The coordinate that stands for "no coordinate": both values at -180, so
// that it fails the validity test above.
inline constexpr CLLocationCoordinate2D kCLLocationCoordinate2DInvalid{-180.0, -180.0};
