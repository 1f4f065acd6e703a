#pragma once

#include "GMSCacheTileKey.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <functional>

namespace zl {
class Clock;
}

// What a load answers.
struct GMSCachedTileData {
    bool found = false;
    // The GMSCCachedTile bytes when versionID is not empty, otherwise the
    // tile data as the server sent it.
    QByteArray data;
    qint64 validationTime = 0;
    QString versionID;
    qint32 perTileEpoch = 0;
    qint32 serverPerTileEpoch = 0;
};

// One tile to store. With a non-empty versionID the data is a serialised
// GMSCCachedTile, otherwise the wire bytes of the older form.
struct GMSCacheableTileData {
    GMSCacheTileKey coords;
    qint64 validationTime = 0;
    QString versionID;
    QByteArray data;
    qint32 perTileEpoch = 0;
    qint32 serverPerTileEpoch = 0;
    // The server confirmed the tile and sent no data: only the validation
    // time of a tile already stored moves on.
    bool isEmptyCacheMarker = false;
};

// The metadata of a stored tile, as a check predicate sees it.
struct GMSCachedTileInfo {
    qint64 touched = 0;
    qint64 validationTime = 0;
    qint32 perTileEpoch = 0;
    qint32 serverPerTileEpoch = 0;
    qint64 size = 0;
    QString versionID;
};

// Counters and index state, for tests and diagnostics.
struct GMSTileDataCacheStats {
    qint64 count = 0;
    qint64 cacheSize = 0;
    qint64 nextValidationTimeMS = -1;
    qint64 expirationScans = 0;
    qint64 hits = 0;
    qint64 misses = 0;
    qint64 ejects = 0;
    bool hasStorage = false;
};
