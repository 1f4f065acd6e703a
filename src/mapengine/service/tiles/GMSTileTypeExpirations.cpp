#include "GMSTileTypeExpirations.h"

#include "clientparams.pb.h"

#include <algorithm>

using namespace zenloft::wire;

qint64 GMSTileTypeExpirations::expirationPeriodMSForTileType(const GMSTileType& type) const
{
    if (auto it = _paintExpireDict.find(type.mapTileType); it != _paintExpireDict.end())
        return *it;
    if (_nonExpiringTileTypes.contains(type.mapTileType))
        return -1;
    if (auto it = _expirationDict.find(type.mapTileType); it != _expirationDict.end())
        return *it;
    return _defaultExpirationMS;
}

qint64 GMSTileTypeExpirations::perTileExpirationPeriodMSForTileType(const GMSTileType& type) const
{
    if (auto it = _paintRefreshDict.find(type.mapTileType); it != _paintRefreshDict.end())
        return *it;
    switch (type.dataType) {
    case 3: case 4: case 5: case 7: return _perTileExpirationMS;
    case 6: return _psmTileExpirationMS;
    default: return -1;
    }
}

GMSTileTypeExpirations GMSTileTypeExpirations::copyWithExpirationsProto(const GMSx_GMMTileExpirationsProto& proto) const
{
    GMSTileTypeExpirations c = *this;
    for (int t : proto.non_expiring_tile_type_array())
        c._nonExpiringTileTypes.insert(t);
    for (const auto& e : proto.custom_expire_array()) {
        if (!e.has_expiration_seconds() || e.expiration_seconds() <= 0)
            continue;  // the type keeps the default
        c._expirationDict.insert(e.tile_type(), qint64(e.expiration_seconds()) * 1000);
    }
    return c;
}

GMSTileTypeExpirations GMSTileTypeExpirations::copyWithVectorMapsParametersProto(
    const GMSx_GMMVectorMapsParametersProto& proto) const
{
    GMSTileTypeExpirations c = *this;
    c._perTileExpirationMS =
        proto.has_pertile_duration_in_minutes() ? qint64(proto.pertile_duration_in_minutes()) * 60 * 1000 : -1;
    c._psmTileExpirationMS =
        proto.has_psm_pertile_duration_in_minutes() ? qint64(proto.psm_pertile_duration_in_minutes()) * 60 * 1000 : -1;
    return c;
}

void GMSTileTypeExpirations::addPaintTemplate(const GMSx_GMMPaintRequestTemplateProto& t)
{
    auto ms = [](int s) { return s == -1 ? qint64(-1) : qint64(s) * 1000; };
    if (t.has_refresh_seconds())
        _paintRefreshDict.insert(t.tile_type(), ms(t.refresh_seconds()));
    if (t.has_expire_seconds())
        _paintExpireDict.insert(t.tile_type(), ms(t.expire_seconds()));
}

namespace {
// -1 is "never", so it loses against any real period.
qint64 smaller(qint64 a, qint64 b)
{
    if (a < 0)
        return b;
    if (b < 0)
        return a;
    return std::min(a, b);
}
QHash<int, qint64> mergeDicts(const QHash<int, qint64>& a, const QHash<int, qint64>& b)
{
    QHash<int, qint64> out = a;
    for (auto it = b.begin(); it != b.end(); ++it)
        out[it.key()] = out.contains(it.key()) ? smaller(out[it.key()], it.value()) : it.value();
    return out;
}
}  // namespace

GMSTileTypeExpirations GMSTileTypeExpirations::expirationsMergingExpirations(const GMSTileTypeExpirations& o) const
{
    GMSTileTypeExpirations c;
    c._expirationDict = mergeDicts(_expirationDict, o._expirationDict);
    c._nonExpiringTileTypes = _nonExpiringTileTypes | o._nonExpiringTileTypes;
    c._defaultExpirationMS = smaller(_defaultExpirationMS, o._defaultExpirationMS);
    c._perTileExpirationMS = smaller(_perTileExpirationMS, o._perTileExpirationMS);
    c._psmTileExpirationMS = smaller(_psmTileExpirationMS, o._psmTileExpirationMS);
    c._paintExpireDict = mergeDicts(_paintExpireDict, o._paintExpireDict);
    c._paintRefreshDict = mergeDicts(_paintRefreshDict, o._paintRefreshDict);
    return c;
}

bool GMSTileExpirationState::hasExpiredForClock(qint64 nowMS, const GMSTileTypeExpirations& e) const
{
    const qint64 p = e.expirationPeriodMSForTileType(_tileType);
    return p >= 0 && nowMS > _validationTime + p;
}

bool GMSPerTileExpirationState::hasPerTileExpiredForClock(qint64 nowMS, const GMSTileTypeExpirations& e) const
{
    const qint64 p = e.perTileExpirationPeriodMSForTileType(_tileType);
    return p >= 0 && nowMS > _validationTime + p;
}
