#pragma once

#include "GMSClientParameters.h"
#include "GMSTileTypeExpirations.h"

// The map engine's groups on top of the base ones, and what the tile
// services read from them.
class GMSCoreClientParameters : public GMSClientParameters {
    Q_OBJECT
public:
    GMSCoreClientParameters(Sender sender, QString storagePath, Clock timingClock, Clock wallClock = {},
                            std::unique_ptr<GMSClientParametersTimers> timers = {}, QObject* parent = nullptr);

    // Tile expiry from the expirations, vector maps and paint groups.
    GMSTileTypeExpirations tileTypeExpirations() const;
    // -1 when the service sent none.
    int diskCacheServerSchemaVersion() const;

protected:
    void updateRequestInfo(Request& request) const override;
};
