#pragma once

#include "CLLocation.h"
#include "Clock.h"

#include <QObject>
#include <QPointer>

#include <optional>

class LocationServices;

// Kinds of movement a manager can be told about; kept, not acted on.
enum CLActivityType : int {
    CLActivityTypeOther = 1,
    CLActivityTypeAutomotiveNavigation = 2,
    CLActivityTypeFitness = 3,
    CLActivityTypeOtherNavigation = 4,
    CLActivityTypeAirborne = 5,
};

// A screen's own location manager. Each screen builds one and connects to
// its signals, which stand for the delegate callbacks; all arrive on the GUI
// thread. didChangeAuthorizationStatus also fires once just after the
// manager is built, with the status of that moment.
class LocationManager : public QObject {
    Q_OBJECT
public:
    explicit LocationManager(LocationServices* services, QObject* parent = nullptr);
    ~LocationManager() override;

    // The permission of the services this manager listens to.
    int authorizationStatus() const;
    void requestWhenInUseAuthorization();

    // Latest known fix, whoever asked for it; absent without permission.
    std::optional<CLLocation> location() const;
    // Latest heading while heading updates run.
    std::optional<CLHeading> heading() const;

    void startUpdatingLocation();
    void stopUpdatingLocation();
    // One fix: a recent one at once (if any arrived within the last ten
    // seconds), or the next to come; didFailWithError if none comes in time.
    void requestLocation();
    void startUpdatingHeading();
    void stopUpdatingHeading();
    bool isUpdatingLocation() const { return updatingLocation_; }
    bool isUpdatingHeading() const { return updatingHeading_; }

    double desiredAccuracy() const { return desiredAccuracy_; }
    void setDesiredAccuracy(double metres) { desiredAccuracy_ = metres; }
    // Fixes closer than this to the last one delivered are held back.
    double distanceFilter() const { return distanceFilter_; }
    void setDistanceFilter(double metres) { distanceFilter_ = metres; }
    int activityType() const { return activityType_; }
    void setActivityType(int type) { activityType_ = type; }
    bool allowsBackgroundLocationUpdates() const { return allowsBackground_; }
    void setAllowsBackgroundLocationUpdates(bool on) { allowsBackground_ = on; }
    bool showsBackgroundLocationIndicator() const { return showsBackgroundIndicator_; }
    void setShowsBackgroundLocationIndicator(bool on) { showsBackgroundIndicator_ = on; }

    // How long requestLocation() waits for a fix.
    static constexpr qint64 kRequestLocationTimeoutMs = 10000;

    LocationServices* services() const { return services_; }

signals:
    void didChangeAuthorizationStatus(int status);
    void didUpdateLocations(const QList<CLLocation>& locations);
    void didUpdateHeading(const CLHeading& heading);
    void didFailWithError(const CLError& error);

private:
    void onLocations(const QList<CLLocation>& locations);
    void failLater(int code, const QString& text);
    void finishOneShot();
    bool deniedNow() const;

    QPointer<LocationServices> services_;
    bool updatingLocation_ = false;
    bool updatingHeading_ = false;
    bool oneShotPending_ = false;
    zl::Clock::Handle oneShotTimer_ = 0;
    double desiredAccuracy_ = kCLLocationAccuracyBest;
    double distanceFilter_ = kCLDistanceFilterNone;
    int activityType_ = CLActivityTypeOther;
    bool allowsBackground_ = false;
    bool showsBackgroundIndicator_ = false;
    std::optional<CLLocation> lastDelivered_;
};
