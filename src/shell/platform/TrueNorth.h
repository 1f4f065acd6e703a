#pragma once

#include "CLLocation.h"

#include <optional>

// Magnetic declination at a place and date, degrees east of true north.
struct Declination {
    double degrees = 0.0;
    bool outsideModel = false;  // the date lies outside the model's years
};

// Angle in [0, 360).
double wrapDegrees360(double degrees);

// Declination at a fix from the bundled World Magnetic Model, at the fix's
// own date and height. No value when the model is missing.
std::optional<Declination> declinationAt(const CLLocation& fix);

// A heading from a magnetic reading. With a declination the true heading is
// magnetic + declination; without one the reading passes unchanged and the
// heading says that it is not corrected.
CLHeading makeHeading(double magneticHeading, double headingAccuracy, const QDateTime& timestamp,
                      const std::optional<Declination>& declination);
