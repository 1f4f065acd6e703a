#pragma once

#include "GMSTileCoords.h"
#include "GMSTileTypeExpirations.h"

#include <QByteArray>
#include <QString>

#include <memory>

// One fetched tile as the service hands it on: the bytes the map service
// sent (a PNG or JPEG for image types; the renderer decodes them) and what
// the refresh rules need to know about it.
struct GMSTile {
    GMSTileCoords coords;
    QByteArray data;
    QString versionID;  // the service's version tag; sent back on refresh
    std::shared_ptr<const GMSTileExpirationState> expirationState;
    int dataVersion = -1;
    int majorEpoch = -1;
    QString paintExperiments;
    QString legalCountry;
    bool isTileStoreTile = false;  // from a tile store: never refreshed
    int mode = 0;                  // 3 for tiles of the paint route
    qint32 perTileEpoch = 0;

    qint64 validationTime() const { return expirationState ? expirationState->validationTime() : 0; }
};

using GMSTilePtr = std::shared_ptr<const GMSTile>;

// Callback status values.
enum GMSTileStatus : int {
    kGMSTileStatusFromNetwork = 1,
    kGMSTileStatusCachedUpdateFollows = 2,
    kGMSTileStatusFailed = 4,
    kGMSTileStatusNotFound = 5,
};
