#include "LocationServices.h"

#include "CompassBackend.h"
#include "QtPositionBackend.h"
#include "ReplayBackend.h"
#include "WorldMagneticModel.h"

#include <QCoreApplication>

LocationServices::LocationServices(zl::Clock* clock, QObject* parent) : QObject(parent), clock_(clock) {
    qRegisterMetaType<CLLocation>();
    qRegisterMetaType<CLHeading>();
    qRegisterMetaType<CLError>();
    qRegisterMetaType<QList<CLLocation>>();
}

LocationServices::~LocationServices() = default;

bool LocationServices::configure(const QString& spec, QString* error) {
    const auto config = LocationSourceConfig::parse(spec, error);
    if (!config) {
        qWarning("Position source not changed: %s", error ? qPrintable(*error) : "unknown source");
        return false;
    }
    configure(*config);
    return true;
}

void LocationServices::configure(const LocationSourceConfig& config) {
    LocationBackend* positions = nullptr;
    LocationBackend* headings = nullptr;
    switch (config.kind) {
    case LocationSourceConfig::Kind::None:
        break;
    case LocationSourceConfig::Kind::Platform:
        positions = QtPositionBackend::createPlatform();
        break;
    case LocationSourceConfig::Kind::NmeaSerial:
        positions = QtPositionBackend::createNmeaSerial(config.path);
        break;
    case LocationSourceConfig::Kind::NmeaFile:
        positions = QtPositionBackend::createNmeaFile(config.path);
        break;
    case LocationSourceConfig::Kind::Replay: {
        auto* replay = new ReplayBackend(clock_);
        replay->load(config.path);
        positions = headings = replay;
        break;
    }
    }
    if (config.kind != LocationSourceConfig::Kind::Replay && config.kind != LocationSourceConfig::Kind::None) {
        if (CompassBackend::isAvailable())
            headings = new CompassBackend(clock_);
        else
            qInfo("No compass on this machine; no headings");
    }
    setBackends(positions, headings);
    config_ = config;
}

void LocationServices::setBackends(LocationBackend* positions, LocationBackend* headings) {
    for (LocationBackend* old : {positions_.data(), headings_.data()}) {
        if (old && old != positions && old != headings) {
            old->disconnect(this);
            old->setPositionsWanted(false);
            old->setHeadingsWanted(false);
            old->deleteLater();
        }
    }
    if (positions_)
        positions_->disconnect(this);
    if (headings_)
        headings_->disconnect(this);
    positions_ = positions;
    headings_ = headings;
    config_ = LocationSourceConfig{};
    if (positions) {
        positions->setParent(this);
        connect(positions, &LocationBackend::locationsUpdated, this, &LocationServices::onLocations);
        connect(positions, &LocationBackend::failed, this, &LocationServices::locationFailed);
    }
    if (headings) {
        headings->setParent(this);
        connect(headings, &LocationBackend::magneticHeadingUpdated, this, &LocationServices::onMagneticHeading);
        if (headings != positions)
            connect(headings, &LocationBackend::failed, this, &LocationServices::locationFailed);
    }
    applyDemand();
}

void LocationServices::setAuthorizationStatus(int status) {
    if (status < kCLAuthorizationStatusNotDetermined || status > kCLAuthorizationStatusAuthorizedWhenInUse) {
        qWarning("Ignoring unknown authorization status %d", status);
        return;
    }
    if (status == status_)
        return;
    status_ = status;
    applyDemand();
    QMetaObject::invokeMethod(this, [this, status] { emit authorizationStatusChanged(status); },
                              Qt::QueuedConnection);
}

void LocationServices::requestWhenInUseAuthorization() {
    if (status_ != kCLAuthorizationStatusNotDetermined || requestPending_)
        return;
    requestPending_ = true;
    QMetaObject::invokeMethod(this, [this] {
        requestPending_ = false;
        if (status_ == kCLAuthorizationStatusNotDetermined)
            setAuthorizationStatus(promptAnswer_);
    }, Qt::QueuedConnection);
}

std::optional<CLLocation> LocationServices::location() const {
    if (!isAuthorized())
        return std::nullopt;
    return location_;
}

std::optional<QDateTime> LocationServices::locationReceivedAt() const {
    if (!isAuthorized() || !location_)
        return std::nullopt;
    return receivedAt_;
}

void LocationServices::attach(const void* client) {
    clients_.insert(client);
    applyDemand();
}

void LocationServices::detach(const void* client) {
    clients_.erase(client);
    headingClients_.erase(client);
    applyDemand();
}

void LocationServices::setHeadingWanted(const void* client, bool wanted) {
    if (wanted)
        headingClients_.insert(client);
    else
        headingClients_.erase(client);
    applyDemand();
}

void LocationServices::applyDemand() {
    const bool wantPositions = isAuthorized() && !clients_.empty();
    const bool wantHeadings = !headingClients_.empty();
    if (positions_)
        positions_->setPositionsWanted(wantPositions);
    if (headings_)
        headings_->setHeadingsWanted(wantHeadings);
}

void LocationServices::onLocations(const QList<CLLocation>& locations) {
    if (locations.isEmpty() || !isAuthorized())
        return;
    location_ = locations.last();
    receivedAt_ = clock_->now();
    declination_ = declinationAt(*location_);
    if (declination_ && declination_->outsideModel && !warnedOutsideModel_) {
        warnedOutsideModel_ = true;
        qInfo("Magnetic model covers 2025.0-2030.0; declination for %.2f is extrapolated",
              WorldMagneticModel::decimalYear(location_->timestamp.isValid() ? location_->timestamp : receivedAt_));
    }
    emit locationsUpdated(locations);
}

void LocationServices::onMagneticHeading(double heading, double accuracy, const QDateTime& timestamp) {
    heading_ = makeHeading(heading, accuracy, timestamp, declination_);
    emit headingUpdated(*heading_);
}
