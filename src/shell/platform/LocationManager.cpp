#include "LocationManager.h"

#include "LocationServices.h"

LocationManager::LocationManager(LocationServices* services, QObject* parent)
    : QObject(parent), services_(services) {
    Q_ASSERT(services);
    services->attach(this);
    connect(services, &LocationServices::authorizationStatusChanged, this,
            &LocationManager::didChangeAuthorizationStatus);
    connect(services, &LocationServices::locationsUpdated, this, &LocationManager::onLocations);
    connect(services, &LocationServices::headingUpdated, this, [this](const CLHeading& heading) {
        if (updatingHeading_)
            emit didUpdateHeading(heading);
    });
    connect(services, &LocationServices::locationFailed, this, [this](const CLError& error) {
        if (updatingLocation_ || oneShotPending_)
            emit didFailWithError(error);
    });
    // The platform tells every new manager the current status right away.
    QMetaObject::invokeMethod(this, [this] {
        if (services_)
            emit didChangeAuthorizationStatus(services_->authorizationStatus());
    }, Qt::QueuedConnection);
}

LocationManager::~LocationManager() {
    if (services_) {
        if (oneShotPending_)
            services_->clock()->cancel(oneShotTimer_);
        services_->detach(this);
    }
}

int LocationManager::authorizationStatus() const { return services_ ? services_->authorizationStatus() : 0; }

void LocationManager::requestWhenInUseAuthorization() {
    if (services_)
        services_->requestWhenInUseAuthorization();
}

std::optional<CLLocation> LocationManager::location() const {
    return services_ ? services_->location() : std::nullopt;
}

std::optional<CLHeading> LocationManager::heading() const {
    return services_ && updatingHeading_ ? services_->lastHeading() : std::nullopt;
}

bool LocationManager::deniedNow() const {
    const int status = services_ ? services_->authorizationStatus() : kCLAuthorizationStatusDenied;
    return status == kCLAuthorizationStatusDenied || status == kCLAuthorizationStatusRestricted;
}

void LocationManager::failLater(int code, const QString& text) {
    QMetaObject::invokeMethod(this, [this, code, text] { emit didFailWithError(CLError{code, text}); },
                              Qt::QueuedConnection);
}

void LocationManager::startUpdatingLocation() {
    updatingLocation_ = true;
    if (deniedNow())
        failLater(kCLErrorDenied, QStringLiteral("Location use is not permitted"));
}

void LocationManager::stopUpdatingLocation() {
    updatingLocation_ = false;
}

void LocationManager::requestLocation() {
    if (!services_)
        return;
    if (deniedNow()) {
        failLater(kCLErrorDenied, QStringLiteral("Location use is not permitted"));
        return;
    }
    if (oneShotPending_)
        return;
    const auto fix = services_->location();
    const auto receivedAt = services_->locationReceivedAt();
    zl::Clock* clock = services_->clock();
    if (fix && receivedAt && receivedAt->msecsTo(clock->now()) <= kRequestLocationTimeoutMs) {
        const CLLocation recent = *fix;
        QMetaObject::invokeMethod(this, [this, recent] { emit didUpdateLocations({recent}); },
                                  Qt::QueuedConnection);
        return;
    }
    oneShotPending_ = true;
    oneShotTimer_ = clock->schedule(kRequestLocationTimeoutMs, this, [this] {
        oneShotPending_ = false;
        emit didFailWithError(CLError{kCLErrorLocationUnknown, QStringLiteral("No location found in time")});
    });
}

void LocationManager::finishOneShot() {
    if (!oneShotPending_)
        return;
    oneShotPending_ = false;
    if (services_)
        services_->clock()->cancel(oneShotTimer_);
}

void LocationManager::startUpdatingHeading() {
    updatingHeading_ = true;
    if (services_)
        services_->setHeadingWanted(this, true);
}

void LocationManager::stopUpdatingHeading() {
    updatingHeading_ = false;
    if (services_)
        services_->setHeadingWanted(this, false);
}

void LocationManager::onLocations(const QList<CLLocation>& locations) {
    if (!updatingLocation_ && !oneShotPending_)
        return;
    if (!updatingLocation_) {
        finishOneShot();
        emit didUpdateLocations({locations.last()});
        return;
    }
    finishOneShot();
    QList<CLLocation> passed;
    for (const CLLocation& fix : locations) {
        if (distanceFilter_ > 0.0 && lastDelivered_ && lastDelivered_->distanceFromLocation(fix) < distanceFilter_)
            continue;
        lastDelivered_ = fix;
        passed.append(fix);
    }
    if (!passed.isEmpty())
        emit didUpdateLocations(passed);
}
