#include "GMSTileFreshness.h"

#include "Clock.h"

#include <QMutexLocker>

GMSTileFreshness::GMSTileFreshness(GMSTileType type, const zl::Clock* clock)
    : m_type(type), m_clock(clock ? clock : &zl::Clock::system())
{
}

qint64 GMSTileFreshness::nowMs() const { return m_clock->wallMs(); }

int GMSTileFreshness::reasonToUpdate(const GMSTile& tile) const
{
    const qint64 now = nowMs();
    EpochStalenessCheck isStale;
    {
        QMutexLocker l(&m_lock);
        if (tile.isTileStoreTile)
            return kGMSTileUpdateTileStore;
        if (tile.expirationState && tile.expirationState->hasExpiredForClock(now, m_expirations))
            return kGMSTileUpdateExpired;
        if (m_directToPaint && m_majorEpoch != -1 && tile.majorEpoch != -1 && tile.majorEpoch != m_majorEpoch)
            return kGMSTileUpdateMajorEpoch;
        if (!m_directToPaint && m_dataVersion != -1 && tile.dataVersion != -1 && tile.dataVersion != m_dataVersion)
            return kGMSTileUpdateDataVersion;
        if (tile.paintExperiments != m_paintExperiments)
            return kGMSTileUpdatePaintExperiments;
        if (tile.legalCountry != m_legalCountry)
            return kGMSTileUpdateLegalCountry;
        // Every request is for a tile on screen, where per-tile expiry counts.
        if (tile.expirationState && tile.expirationState->hasPerTileExpiredForClock(now, m_expirations))
            return kGMSTileUpdatePerTileExpired;
        if (!m_offlineCache || tile.majorEpoch == -1)
            return kGMSTileUpdateNone;
        isStale = m_isTileEpochStale;
    }
    // Outside the lock: the check asks the style tables.
    return isStale && isStale(tile) ? kGMSTileUpdateEpochStale : kGMSTileUpdateNone;
}

std::shared_ptr<GMSTile> GMSTileFreshness::makeTile(const GMSTileCoords& coords, QByteArray data, QString versionID,
                                                    qint64 validationTime, bool fromNetwork) const
{
    auto tile = std::make_shared<GMSTile>();
    tile->coords = coords;
    tile->data = std::move(data);
    tile->versionID = std::move(versionID);
    const int d = m_type.dataType;
    if (d >= 3 && d <= 7)
        tile->expirationState = std::make_shared<GMSPerTileExpirationState>(validationTime, m_type);
    else
        tile->expirationState = std::make_shared<GMSTileExpirationState>(validationTime, m_type);
    QMutexLocker l(&m_lock);
    tile->paintExperiments = m_paintExperiments;
    tile->legalCountry = m_legalCountry;
    // Tiles from disk carry no data version: the one they came with is not kept.
    if (fromNetwork) {
        tile->dataVersion = m_dataVersion;
        tile->majorEpoch = m_majorEpoch;
    }
    return tile;
}

void GMSTileFreshness::setExpirations(const GMSTileTypeExpirations& expirations)
{
    QMutexLocker l(&m_lock);
    m_expirations = expirations;
}

bool GMSTileFreshness::setDataVersion(int version)
{
    QMutexLocker l(&m_lock);
    if (version == m_dataVersion)
        return false;
    m_dataVersion = version;
    return true;
}

int GMSTileFreshness::dataVersion() const
{
    QMutexLocker l(&m_lock);
    return m_dataVersion;
}

bool GMSTileFreshness::setMajorEpoch(int epoch)
{
    QMutexLocker l(&m_lock);
    if (epoch == -1 || epoch == m_majorEpoch)
        return false;
    m_majorEpoch = epoch;
    return true;
}

int GMSTileFreshness::majorEpoch() const
{
    QMutexLocker l(&m_lock);
    return m_majorEpoch;
}

void GMSTileFreshness::setDirectToPaint(bool on)
{
    QMutexLocker l(&m_lock);
    m_directToPaint = on;
}

void GMSTileFreshness::setLegalCountry(const QString& country)
{
    QMutexLocker l(&m_lock);
    m_legalCountry = country;
}

void GMSTileFreshness::setPaintExperiments(const QString& experiments)
{
    QMutexLocker l(&m_lock);
    m_paintExperiments = experiments;
}

void GMSTileFreshness::setOfflineTileDataCache(GMSTileDataCache* cache)
{
    QMutexLocker l(&m_lock);
    m_offlineCache = cache;
}

void GMSTileFreshness::setTileEpochStalenessCheck(EpochStalenessCheck check)
{
    QMutexLocker l(&m_lock);
    m_isTileEpochStale = std::move(check);
}
