#pragma once

#include "GMSTileSource.h"

#include <QObject>

// Carries decoded tiles from worker threads to the source's thread. Shared
// by the callbacks in flight, so that a source that is gone is never touched.
class GMSServiceTileRelay : public QObject {
    Q_OBJECT
signals:
    void tileDecoded(const GMSTileKey& key, const QImage& image, bool final);
};
