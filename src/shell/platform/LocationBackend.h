#pragma once

#include "CLLocation.h"

#include <QObject>

// Something that delivers fixes, compass readings or both. LocationServices
// tells it what is wanted and relays what it delivers; all on the GUI
// thread.
class LocationBackend : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual bool providesPositions() const { return false; }
    virtual bool providesHeadings() const { return false; }
    virtual void setPositionsWanted(bool wanted) {}
    virtual void setHeadingsWanted(bool wanted) {}

signals:
    void locationsUpdated(const QList<CLLocation>& locations);
    // Degrees from magnetic north; accuracy in degrees, negative if unknown.
    void magneticHeadingUpdated(double heading, double accuracy, const QDateTime& timestamp);
    void failed(const CLError& error);
};
