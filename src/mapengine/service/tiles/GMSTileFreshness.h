#pragma once

#include "GMSTile.h"
#include "GMSTileType.h"
#include "GMSTileTypeExpirations.h"

#include <QMutex>
#include <QString>

#include <functional>

class GMSTileDataCache;
namespace zl {
class Clock;
}

// Why a tile in hand should (or need not) be fetched again.
enum GMSTileUpdateReason : int {
    kGMSTileUpdateNone = 0,
    kGMSTileUpdateTileStore = 1,
    kGMSTileUpdateMajorEpoch = 2,
    kGMSTileUpdatePerTileExpired = 4,
    kGMSTileUpdateEpochStale = 5,
    kGMSTileUpdatePaintExperiments = 6,
    kGMSTileUpdateDataVersion = 7,
    kGMSTileUpdateLegalCountry = 8,
    kGMSTileUpdateExpired = 9,
};

// What a tile service knows about the tiles it hands out: their expiry, the
// data version and paint epoch of the service, the legal country and paint
// experiments in force. It stamps new tiles with them and says whether a
// tile in hand is still good. Set from the GUI thread (client parameters,
// connection) and read on the work queue, so a plain mutex guards it; it
// never calls out while holding it.
class GMSTileFreshness {
public:
    using EpochStalenessCheck = std::function<bool(const GMSTile&)>;

    GMSTileFreshness(GMSTileType type, const zl::Clock* clock);

    // The first reason, in the table's order, to fetch the tile again.
    int reasonToUpdate(const GMSTile& tile) const;
    // A tile of this service's type, stamped with what is in force now;
    // tiles from the network also get the data version and epoch.
    std::shared_ptr<GMSTile> makeTile(const GMSTileCoords& coords, QByteArray data, QString versionID,
                                      qint64 validationTime, bool fromNetwork) const;
    qint64 nowMs() const;

    void setExpirations(const GMSTileTypeExpirations& expirations);
    // True when the value changed.
    bool setDataVersion(int version);
    int dataVersion() const;
    bool setMajorEpoch(int epoch);  // -1 is ignored
    int majorEpoch() const;
    void setDirectToPaint(bool on);
    void setLegalCountry(const QString& country);
    void setPaintExperiments(const QString& experiments);
    // Offline tiles are kept a long time: with an offline cache, a tile whose
    // epoch the check calls stale is fetched again.
    void setOfflineTileDataCache(GMSTileDataCache* cache);
    void setTileEpochStalenessCheck(EpochStalenessCheck check);

private:
    const GMSTileType m_type;
    const zl::Clock* m_clock;
    mutable QMutex m_lock;
    GMSTileTypeExpirations m_expirations;
    int m_dataVersion = -1;
    int m_majorEpoch = -1;
    bool m_directToPaint = false;
    QString m_legalCountry;
    QString m_paintExperiments;
    GMSTileDataCache* m_offlineCache = nullptr;
    EpochStalenessCheck m_isTileEpochStale;
};
