#include "QtPositionBackend.h"

#include <QBuffer>
#include <QFile>
#include <QFutureWatcher>
#include <QNmeaPositionInfoSource>
#include <QVariantMap>
#include <QtConcurrent/QtConcurrentRun>

QtPositionBackend::QtPositionBackend(QGeoPositionInfoSource* source, QObject* parent) : LocationBackend(parent) {
    setSource(source);
}

void QtPositionBackend::setSource(QGeoPositionInfoSource* source) {
    source_ = source;
    if (!source)
        return;
    source->setParent(this);
    source->setPreferredPositioningMethods(QGeoPositionInfoSource::SatellitePositioningMethods);
    connect(source, &QGeoPositionInfoSource::positionUpdated, this, [this](const QGeoPositionInfo& info) {
        if (info.isValid())
            emit locationsUpdated({toCLLocation(info)});
    });
    connect(source, &QGeoPositionInfoSource::errorOccurred, this, [this](QGeoPositionInfoSource::Error error) {
        CLError e;
        e.code = error == QGeoPositionInfoSource::AccessError ? kCLErrorDenied : kCLErrorLocationUnknown;
        e.localizedDescription = QStringLiteral("position source error %1").arg(int(error));
        qInfo("Position source reports error %d", int(error));
        emit failed(e);
    });
    if (wanted_)
        setPositionsWanted(true);
}

QtPositionBackend* QtPositionBackend::createPlatform(QObject* parent) {
    QGeoPositionInfoSource* source = QGeoPositionInfoSource::createDefaultSource(nullptr);
    if (!source)
        qInfo("No platform position source on this machine; no fixes will come");
    return new QtPositionBackend(source, parent);
}

QtPositionBackend* QtPositionBackend::createNmeaSerial(const QString& device, QObject* parent) {
    QVariantMap params;
    params.insert(QStringLiteral("nmea.source"), QStringLiteral("serial:") + device);
    QGeoPositionInfoSource* source = QGeoPositionInfoSource::createSource(QStringLiteral("nmea"), params, nullptr);
    if (!source)
        qInfo("NMEA receiver %s not available; no fixes will come", qPrintable(device));
    return new QtPositionBackend(source, parent);
}

QtPositionBackend* QtPositionBackend::createNmeaFile(const QString& path, QObject* parent) {
    auto* backend = new QtPositionBackend(nullptr, parent);
    auto* watcher = new QFutureWatcher<std::pair<QByteArray, QString>>(backend);
    connect(watcher, &QFutureWatcherBase::finished, backend, [backend, watcher] {
        auto [data, error] = watcher->result();
        watcher->deleteLater();
        if (!error.isEmpty()) {
            qWarning("NMEA log not loaded: %s", qPrintable(error));
            emit backend->ready(false, error);
            return;
        }
        auto* source = new QNmeaPositionInfoSource(QNmeaPositionInfoSource::SimulationMode);
        auto* buffer = new QBuffer(source);
        buffer->setData(data);
        buffer->open(QIODevice::ReadOnly);
        source->setDevice(buffer);
        backend->setSource(source);
        emit backend->ready(true, QString());
    });
    watcher->setFuture(QtConcurrent::run([path]() -> std::pair<QByteArray, QString> {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return {{}, QStringLiteral("cannot open %1: %2").arg(path, file.errorString())};
        return {file.readAll(), QString()};
    }));
    return backend;
}

void QtPositionBackend::setPositionsWanted(bool wanted) {
    wanted_ = wanted;
    if (!source_)
        return;
    if (wanted && !running_) {
        running_ = true;
        source_->startUpdates();
    } else if (!wanted && running_) {
        running_ = false;
        source_->stopUpdates();
    }
}

CLLocation QtPositionBackend::toCLLocation(const QGeoPositionInfo& info) {
    CLLocation loc;
    const QGeoCoordinate c = info.coordinate();
    loc.coordinate = {c.latitude(), c.longitude()};
    if (c.type() == QGeoCoordinate::Coordinate3D)
        loc.altitude = c.altitude();
    auto attribute = [&info](QGeoPositionInfo::Attribute a) {
        return info.hasAttribute(a) ? info.attribute(a) : -1.0;
    };
    loc.horizontalAccuracy = attribute(QGeoPositionInfo::HorizontalAccuracy);
    loc.verticalAccuracy = attribute(QGeoPositionInfo::VerticalAccuracy);
    loc.speed = attribute(QGeoPositionInfo::GroundSpeed);
    loc.course = attribute(QGeoPositionInfo::Direction);
    loc.timestamp = info.timestamp().toUTC();
    return loc;
}
