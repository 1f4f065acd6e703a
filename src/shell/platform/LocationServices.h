#pragma once

#include "CLLocation.h"
#include "Clock.h"
#include "LocationSourceConfig.h"
#include "TrueNorth.h"

#include <QObject>
#include <QPointer>

#include <optional>
#include <set>

#include "LocationBackend.h"

// What the device offers every location manager of the process: the
// permission, the position source and the compass, the last fix and the
// declination there. Screens don't use this directly; each builds its own
// LocationManager, which talks to the shared instance.
//
// Fixes flow while permission allows them and at least one manager exists
// (as the blue dot of a map would keep the receiver on); compass readings
// flow while some manager has heading updates on. All on the GUI thread.
class LocationServices : public QObject {
    Q_OBJECT
public:
    // No position source until configure() is called.
    explicit LocationServices(zl::Clock* clock, QObject* parent = nullptr);
    ~LocationServices() override;

    // Replaces the sources. Returns false, and keeps the old ones, for a text
    // that names no known source.
    bool configure(const QString& spec, QString* error = nullptr);
    void configure(const LocationSourceConfig& config);
    // Sources made elsewhere (tests, demos). Ownership is taken; positions
    // and headings may be the same object; either may be null.
    void setBackends(LocationBackend* positions, LocationBackend* headings);
    LocationSourceConfig config() const { return config_; }
    LocationBackend* positionBackend() const { return positions_; }
    LocationBackend* headingBackend() const { return headings_; }

    // Permission. The status changes at once; managers hear of it through
    // a queued signal, as the platform calls its delegates later.
    int authorizationStatus() const { return status_; }
    void setAuthorizationStatus(int status);
    // What the user answers when asked (this machine never asks anyone).
    int promptAnswer() const { return promptAnswer_; }
    void setPromptAnswer(int status) { promptAnswer_ = status; }
    // Asks only while the status is "not determined"; the answer arrives
    // asynchronously. Otherwise does nothing.
    void requestWhenInUseAuthorization();
    bool isAuthorized() const { return CLAuthorizationStatusAllowsLocation(status_); }

    // Last fix, absent without permission. receivedAt is the clock time at
    // which it arrived.
    std::optional<CLLocation> location() const;
    std::optional<QDateTime> locationReceivedAt() const;
    std::optional<CLHeading> lastHeading() const { return heading_; }
    std::optional<Declination> declination() const { return declination_; }
    zl::Clock* clock() const { return clock_; }

    // Demand from managers.
    void attach(const void* client);
    void detach(const void* client);
    void setHeadingWanted(const void* client, bool wanted);
    int clientCount() const { return int(clients_.size()); }

signals:
    void authorizationStatusChanged(int status);
    void locationsUpdated(const QList<CLLocation>& locations);
    void headingUpdated(const CLHeading& heading);
    void locationFailed(const CLError& error);

private:
    void applyDemand();
    void onLocations(const QList<CLLocation>& locations);
    void onMagneticHeading(double heading, double accuracy, const QDateTime& timestamp);

    zl::Clock* clock_;
    LocationSourceConfig config_;
    QPointer<LocationBackend> positions_;
    QPointer<LocationBackend> headings_;
    int status_ = kCLAuthorizationStatusAuthorizedWhenInUse;  // a desktop needs no consent
    int promptAnswer_ = kCLAuthorizationStatusAuthorizedWhenInUse;
    bool requestPending_ = false;
    std::set<const void*> clients_;
    std::set<const void*> headingClients_;
    std::optional<CLLocation> location_;
    QDateTime receivedAt_;
    std::optional<CLHeading> heading_;
    std::optional<Declination> declination_;
    bool warnedOutsideModel_ = false;
};
