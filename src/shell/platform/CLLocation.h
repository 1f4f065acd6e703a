#pragma once

#include "CLLocationCoordinate2D.h"

#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>

// Permission to use the device's position. The numbers are the ones the
// screens compare against.
enum CLAuthorizationStatus : int {
    kCLAuthorizationStatusNotDetermined = 0,
    kCLAuthorizationStatusRestricted = 1,
    kCLAuthorizationStatusDenied = 2,
    kCLAuthorizationStatusAuthorizedAlways = 3,
    kCLAuthorizationStatusAuthorizedWhenInUse = 4,
};

// True for the two statuses that let positions through.
bool CLAuthorizationStatusAllowsLocation(int status);

// Accuracy and filter values of a location manager, in metres.
inline constexpr double kCLLocationAccuracyBest = -1.0;
inline constexpr double kCLDistanceFilterNone = -1.0;

// One position fix. Negative speed, course or accuracies mean "not known".
struct CLLocation {
    CLLocationCoordinate2D coordinate;
    double altitude = 0.0;             // metres above the ellipsoid
    double horizontalAccuracy = -1.0;  // metres
    double verticalAccuracy = -1.0;    // metres
    double speed = -1.0;               // metres per second
    double course = -1.0;              // degrees from true north
    QDateTime timestamp;

    // Great-circle distance in metres on a sphere of 6371009 m, the mean
    // earth radius the map uses too.
    double distanceFromLocation(const CLLocation& other) const;

    friend bool operator==(const CLLocation&, const CLLocation&) = default;
};

// One compass reading. trueHeading is corrected by the magnetic declination
// at the last known position; without a position it is the magnetic heading
// as it came, and isTrueHeading is false so that callers can tell.
struct CLHeading {
    double magneticHeading = -1.0;  // degrees from magnetic north, [0, 360)
    double trueHeading = -1.0;      // degrees from true north, [0, 360)
    double headingAccuracy = -1.0;  // degrees; negative when not known
    QDateTime timestamp;
    bool isTrueHeading = false;
    double declination = 0.0;       // degrees east, applied when isTrueHeading
    bool declinationOutsideModel = false;  // date outside 2025.0-2030.0

    friend bool operator==(const CLHeading&, const CLHeading&) = default;
};

// Error codes of location and address search failures.
enum CLErrorCode : int {
    kCLErrorLocationUnknown = 0,
    kCLErrorDenied = 1,
    kCLErrorNetwork = 2,
    kCLErrorHeadingFailure = 3,
    kCLErrorGeocodeFoundNoResult = 8,
    kCLErrorGeocodeCanceled = 10,
};

struct CLError {
    int code = kCLErrorLocationUnknown;
    QString localizedDescription;
};

Q_DECLARE_METATYPE(CLLocation)
Q_DECLARE_METATYPE(CLHeading)
Q_DECLARE_METATYPE(CLError)
