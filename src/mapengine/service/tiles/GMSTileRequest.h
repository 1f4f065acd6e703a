#pragma once

#include "GMSTile.h"

#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

namespace zenloft::wire {
class GMSx_GMMMapTileProto;
}

class GMSTileRequest;
using GMSTileRequestPtr = std::shared_ptr<GMSTileRequest>;

// Told the outcome of a tile request: a status value and, for 1 and 2, the tile.
using GMSTileCallback = std::function<void(const GMSTileCoords& coords, int status, const GMSTilePtr& tile)>;

// One client's wish for a tile. Requests for the same coordinates that come
// while one is in flight hang on it as duplicates and share its outcome.
class GMSTileRequest {
public:
    GMSTileRequest(GMSTileCoords coords, int fetchType, const void* target, GMSTileCallback selector,
                   std::optional<QVariantMap> extraRequestParams = std::nullopt);

    const GMSTileCoords& coords() const { return _coords; }
    int fetchType() const { return _fetchType; }
    // The smallest fetch type of this request and its duplicates.
    int aggregateFetchType() const { return _aggregateFetchType; }
    void addDuplicate(const GMSTileRequestPtr& duplicate);
    const GMSTileRequestPtr& nextRequest() const { return _nextRequest; }
    int duplicateCount() const;

    const void* target() const { return _target; }
    // Drops the callbacks of this target in the whole chain.
    void cancelCallbackForTarget(const void* target);
    // Runs every callback of the chain once.
    void completeChain(int status, const GMSTilePtr& tile);

    GMSTilePtr cachedTile() const { return _cachedTile; }
    void setCachedTile(GMSTilePtr tile) { _cachedTile = std::move(tile); }
    bool forcedToFail() const { return _forcedToFail; }
    void setForcedToFail(bool f) { _forcedToFail = f; }
    bool calledToSayMakingServerRequest() const { return _calledToSayMakingServerRequest; }
    void setCalledToSayMakingServerRequest(bool c) { _calledToSayMakingServerRequest = c; }
    bool calledToComplete() const { return _calledToComplete; }
    int dataVersion() const { return _dataVersion; }
    void setDataVersion(int v) { _dataVersion = v; }
    int mode() const { return _mode; }
    void setMode(int m) { _mode = m; }
    const QString& paintExperiments() const { return _paintExperiments; }
    const QString& legalCountry() const { return _legalCountry; }
    void setLegalCountry(const QString& c) { _legalCountry = c; }

private:
    GMSTileCoords _coords;
    std::optional<QVariantMap> _extraRequestParams;
    int _fetchType;
    int _aggregateFetchType;
    int _dataVersion = -1;
    const void* _target;
    GMSTileCallback _selector;
    const void* _savedTarget = nullptr;
    GMSTileCallback _savedSelector;
    GMSTilePtr _cachedTile;
    bool _calledToSayMakingServerRequest = false;
    bool _calledToComplete = false;
    GMSTileRequestPtr _nextRequest;
    bool _forcedToFail = false;
    int _mode = 0;
    QString _paintExperiments;
    QString _legalCountry;
};
