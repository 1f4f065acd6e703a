#include "GMSTileCoords.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QIODevice>

#include <algorithm>

namespace {
// Request parameters take part in identity: their serialised form is mixed
// into the hash so that equal coordinates with other parameters differ.
quint64 paramsHash(const std::optional<QVariantMap>& params)
{
    if (!params)
        return 0;
    QByteArray bytes;
    QDataStream s(&bytes, QIODevice::WriteOnly);
    s << *params;
    const QByteArray d = QCryptographicHash::hash(bytes, QCryptographicHash::Md5);
    quint64 h = 0;
    for (int i = 0; i < 8; ++i)
        h = (h << 8) | quint8(d[i]);
    return h | 1;  // never 0, which stands for "no parameters"
}
}  // namespace

GMSTileCoords::GMSTileCoords(int zoom, int x, int y, std::optional<QVariantMap> requestParams)
    : _zoom(zoom), _x(x), _y(y), _scaleShift(18 - zoom), _requestParams(std::move(requestParams))
{
    const int z = std::clamp(zoom, 0, kMaxZoom);
    const qint64 s = qint64(1) << (30 - z);
    _southwestX = qint32(s * x - kHalfWorld);
    _southwestY = qint32(kHalfWorld - s * (qint64(y) + 1));
    _hash = hashWithoutParams() ^ paramsHash(_requestParams);
}

GMSTileCoords GMSTileCoords::coordsClosestToZoom(int zoom, qint64 px, qint64 py, std::optional<QVariantMap> params)
{
    if (zoom < 1)
        return GMSTileCoords(0, 0, 0, std::move(params));
    const int z = std::min(zoom, kMaxZoom);
    const qint64 n = qint64(1) << z;
    qint64 x = (px + kHalfWorld) >> (30 - z);
    if (x < 0)
        x += n;
    else if (x >= n)
        x -= n;
    const qint64 y = std::clamp<qint64>((kHalfWorld - py) >> (30 - z), 0, n - 1);
    return GMSTileCoords(z, int(x), int(y), std::move(params));
}

std::optional<GMSTileCoords> GMSTileCoords::coordsContainingZoom(int zoom, qint64 px, qint64 py)
{
    if (zoom > kMaxZoom || py < -kHalfWorld || py >= kHalfWorld)
        return std::nullopt;
    return coordsClosestToZoom(zoom, px, py);
}

GMSTileCoords GMSTileCoords::unboundedCoordsClosestToZoom(int zoom, qint64 px, qint64 py)
{
    const int z = std::clamp(zoom, 0, kMaxZoom);
    return GMSTileCoords(z, int((px + kHalfWorld) >> (30 - z)), int((kHalfWorld - py) >> (30 - z)));
}

GMSTileCoords GMSTileCoords::coordsForParentZoom(int parentZoom) const
{
    const int d = _zoom - parentZoom;
    if (d <= 0)
        return *this;
    return GMSTileCoords(parentZoom, _x >> d, _y >> d, _requestParams);
}

QString GMSTileCoords::description() const
{
    return QStringLiteral("<GMSTileCoords z=%1 x=%2 y=%3>").arg(_zoom).arg(_x).arg(_y);
}
