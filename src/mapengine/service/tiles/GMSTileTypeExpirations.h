#pragma once

#include "GMSTileType.h"

#include <QHash>
#include <QSet>
#include <QtGlobal>

#include <memory>

namespace zenloft::wire {
class GMSx_GMMTileExpirationsProto;
class GMSx_GMMVectorMapsParametersProto;
class GMSx_GMMPaintRequestTemplateProto;
}  // namespace zenloft::wire

// How long each tile type stays good, in milliseconds; -1 means forever.
class GMSTileTypeExpirations {
public:
    static GMSTileTypeExpirations expirationsWithNoExpiry() { return {}; }

    qint64 expirationPeriodMSForTileType(const GMSTileType& type) const;
    qint64 perTileExpirationPeriodMSForTileType(const GMSTileType& type) const;

    GMSTileTypeExpirations copyWithExpirationsProto(const zenloft::wire::GMSx_GMMTileExpirationsProto& proto) const;
    GMSTileTypeExpirations copyWithVectorMapsParametersProto(
        const zenloft::wire::GMSx_GMMVectorMapsParametersProto& proto) const;
    template <class Range>
    GMSTileTypeExpirations copyWithPaintRequestTemplates(const Range& templates) const
    {
        GMSTileTypeExpirations c = *this;
        for (const auto& t : templates)
            c.addPaintTemplate(t);
        return c;
    }
    // The smaller of each period, and every type that either holds forever.
    GMSTileTypeExpirations expirationsMergingExpirations(const GMSTileTypeExpirations& other) const;

    QHash<int, qint64> _expirationDict;
    QSet<int> _nonExpiringTileTypes;
    qint64 _defaultExpirationMS = -1;
    qint64 _perTileExpirationMS = -1;
    qint64 _psmTileExpirationMS = -1;
    QHash<int, qint64> _paintExpireDict;
    QHash<int, qint64> _paintRefreshDict;

private:
    void addPaintTemplate(const zenloft::wire::GMSx_GMMPaintRequestTemplateProto& t);
};

// When a tile was last confirmed by the service, on the timing clock.
class GMSTileExpirationState {
public:
    GMSTileExpirationState(qint64 validationTimeMS, GMSTileType tileType)
        : _validationTime(validationTimeMS), _tileType(tileType)
    {
    }
    virtual ~GMSTileExpirationState() = default;

    // Strictly after validation time plus the period: an equal time is still good.
    bool hasExpiredForClock(qint64 nowMS, const GMSTileTypeExpirations& e) const;
    virtual bool hasPerTileExpiredForClock(qint64 nowMS, const GMSTileTypeExpirations& e) const
    {
        return false;
    }
    qint64 validationTime() const { return _validationTime; }
    const GMSTileType& tileType() const { return _tileType; }

protected:
    qint64 _validationTime;
    GMSTileType _tileType;
};

// For tiles that also refresh one by one (vector kinds).
class GMSPerTileExpirationState : public GMSTileExpirationState {
public:
    using GMSTileExpirationState::GMSTileExpirationState;
    bool hasPerTileExpiredForClock(qint64 nowMS, const GMSTileTypeExpirations& e) const override;
};
