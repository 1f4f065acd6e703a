#pragma once

#include <QString>
#include <QVariantMap>
#include <QtGlobal>

#include <cstddef>
#include <functional>
#include <optional>

// A tile of the pyramid in world units: the world is the square from -2^29 to
// 2^29 on both axes, x growing east and y growing north; tiles count columns
// from the west and rows from the north.
class GMSTileCoords {
public:
    static constexpr int kMaxZoom = 30;
    static constexpr qint64 kHalfWorld = qint64(1) << 29;

    GMSTileCoords() : GMSTileCoords(0, 0, 0) {}
    GMSTileCoords(int zoom, int x, int y, std::optional<QVariantMap> requestParams = std::nullopt);

    // The tile at zoom z that holds the point; x wraps around the world, y is
    // clamped into it.
    static GMSTileCoords coordsClosestToZoom(int zoom, qint64 px, qint64 py,
                                             std::optional<QVariantMap> requestParams = std::nullopt);
    // Nothing above zoom 30 or for a point north or south of the world.
    static std::optional<GMSTileCoords> coordsContainingZoom(int zoom, qint64 px, qint64 py);
    // Neither wraps nor clamps.
    static GMSTileCoords unboundedCoordsClosestToZoom(int zoom, qint64 px, qint64 py);
    GMSTileCoords coordsForParentZoom(int parentZoom) const;

    int zoom() const { return _zoom; }
    int x() const { return _x; }
    int y() const { return _y; }
    int scaleShift() const { return _scaleShift; }
    qint32 southwestX() const { return _southwestX; }
    qint32 southwestY() const { return _southwestY; }
    quint64 hash() const { return _hash; }
    const std::optional<QVariantMap>& requestParams() const { return _requestParams; }

    quint64 hashWithoutParams() const { return (quint64(qint64(_zoom)) * 31u + quint64(qint64(_x))) * 31u + quint64(qint64(_y)); }
    bool isEqual(const GMSTileCoords& o) const
    {
        return _hash == o._hash && _zoom == o._zoom && _x == o._x && _y == o._y && _requestParams == o._requestParams;
    }
    bool isEqualWithoutParams(const GMSTileCoords& o) const { return _zoom == o._zoom && _x == o._x && _y == o._y; }
    friend bool operator==(const GMSTileCoords& a, const GMSTileCoords& b) { return a.isEqual(b); }

    QString description() const;

private:
    qint32 _zoom;
    qint32 _x;
    qint32 _y;
    qint32 _scaleShift;
    qint32 _southwestX;
    qint32 _southwestY;
    quint64 _hash;
    std::optional<QVariantMap> _requestParams;
};

inline size_t qHash(const GMSTileCoords& c, size_t seed = 0) noexcept { return qHash(c.hash(), seed); }

template <>
struct std::hash<GMSTileCoords> {
    size_t operator()(const GMSTileCoords& c) const noexcept
    {
        quint64 h = c.hash() * 0x9E3779B97F4A7C15ull;
        return size_t(h ^ (h >> 29));
    }
};
