#include "CompassBackend.h"

#include <QCompass>

#include <algorithm>

CompassBackend::CompassBackend(zl::Clock* clock, QObject* parent) : LocationBackend(parent), clock_(clock) {
    if (!isAvailable()) {
        qInfo("No compass on this machine; headings come only from a replay");
        return;
    }
    compass_ = new QCompass(this);
    connect(compass_, &QCompass::readingChanged, this, [this] {
        const QCompassReading* r = compass_->reading();
        if (r)
            emit magneticHeadingUpdated(r->azimuth(), accuracyFromCalibration(r->calibrationLevel()), clock_->now());
    });
    connect(compass_, &QSensor::sensorError, this, [this](int code) {
        qInfo("Compass error %d", code);
        emit failed(CLError{kCLErrorHeadingFailure, QStringLiteral("compass error %1").arg(code)});
    });
}

bool CompassBackend::isAvailable() {
    return !QSensor::sensorsForType(QCompass::sensorType).isEmpty();
}

void CompassBackend::setHeadingsWanted(bool wanted) {
    if (!compass_)
        return;
    if (wanted && !compass_->isActive()) {
        if (!compass_->start())
            qInfo("Compass did not start; no headings");
    } else if (!wanted && compass_->isActive()) {
        compass_->stop();
    }
}

double CompassBackend::accuracyFromCalibration(double level) {
    if (!(level > 0.0))
        return -1.0;
    level = std::min(level, 1.0);
    return 2.0 + (1.0 - level) * 43.0;
}
