#pragma once

#include "Clock.h"
#include "LocationBackend.h"

class QCompass;

// Magnetic headings from the device's compass (Qt Sensors).
class CompassBackend : public LocationBackend {
    Q_OBJECT
public:
    explicit CompassBackend(zl::Clock* clock, QObject* parent = nullptr);

    // Whether the machine has a compass sensor at all.
    static bool isAvailable();

    bool providesHeadings() const override { return compass_ != nullptr; }
    void setHeadingsWanted(bool wanted) override;

    // The sensor's calibration level (0..1) as an accuracy in degrees:
    // uncalibrated is "not known" (-1), fully calibrated is 2°.
    static double accuracyFromCalibration(double level);

private:
    zl::Clock* clock_;
    QCompass* compass_ = nullptr;
};
