#pragma once

#include <gtest/gtest.h>

#include <QPointF>

#include <cmath>
#include <iomanip>

#include "CLLocationCoordinate2D.h"

// Two coordinates (or points) that agree to within `tolerance` in each part;
// a failure shows both.
inline ::testing::AssertionResult near(CLLocationCoordinate2D a, CLLocationCoordinate2D b, double tolerance = 1e-6) {
    if (std::abs(a.latitude - b.latitude) <= tolerance && std::abs(a.longitude - b.longitude) <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << std::setprecision(12) << a.latitude << "," << a.longitude << " vs "
                                         << b.latitude << "," << b.longitude;
}
inline ::testing::AssertionResult near(QPointF a, QPointF b, double tolerance = 1e-6) {
    return near(CLLocationCoordinate2D{a.y(), a.x()}, CLLocationCoordinate2D{b.y(), b.x()}, tolerance);
}
