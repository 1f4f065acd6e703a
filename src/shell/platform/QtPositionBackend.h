#pragma once

#include "LocationBackend.h"

#include <QGeoPositionInfo>
#include <QGeoPositionInfoSource>
#include <QPointer>

class QBuffer;

// Fixes from Qt Positioning: the system's default source, an NMEA receiver
// on a serial port, or a recorded NMEA log.
class QtPositionBackend : public LocationBackend {
    Q_OBJECT
public:
    // Takes ownership of source; a null source gives no fixes at all.
    explicit QtPositionBackend(QGeoPositionInfoSource* source, QObject* parent = nullptr);

    static QtPositionBackend* createPlatform(QObject* parent = nullptr);
    static QtPositionBackend* createNmeaSerial(const QString& device, QObject* parent = nullptr);
    // The log is read on a worker thread, then played at the pace of its own
    // time stamps; ready() tells when it is in place.
    static QtPositionBackend* createNmeaFile(const QString& path, QObject* parent = nullptr);

    bool providesPositions() const override { return true; }
    void setPositionsWanted(bool wanted) override;
    QGeoPositionInfoSource* source() const { return source_; }

    static CLLocation toCLLocation(const QGeoPositionInfo& info);

signals:
    void ready(bool ok, const QString& error);

private:
    void setSource(QGeoPositionInfoSource* source);

    QPointer<QGeoPositionInfoSource> source_;
    bool wanted_ = false;
    bool running_ = false;
};
