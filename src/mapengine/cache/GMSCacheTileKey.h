#pragma once

#include <QHashFunctions>
#include <QtGlobal>

#include <cstddef>

// A tile within one tile type's cache: the tile type is the cache's own,
// so the key is zoom, column from the west and row from the north. The tile
// service's coordinates map onto it without their request parameters.
struct GMSCacheTileKey {
    qint32 zoom = 0;
    qint32 x = 0;
    qint32 y = 0;

    friend bool operator==(const GMSCacheTileKey&, const GMSCacheTileKey&) = default;

    // The same value the tile service uses for its coordinates without
    // request parameters.
    quint64 hashWithoutParams() const {
        return (quint64(qint64(zoom)) * 31u + quint64(qint64(x))) * 31u + quint64(qint64(y));
    }
};

inline size_t qHash(const GMSCacheTileKey& k, size_t seed = 0) noexcept {
    return qHash(k.hashWithoutParams(), seed);
}
