#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <vector>

class GMSTileDataCache;
namespace zl {
class Clock;
}

// The disk caches of the tile types, in the one "Tiles" store below the
// caches folder. Kept apart so that the store's headers stay out of the
// connection's translation units.
class GMSTileDiskCaches {
public:
    // lastRunVersion: the engine version recorded at the previous run; an
    // older or unknown one empties the store first.
    GMSTileDiskCaches(const QString& cachesDir, const QString& lastRunVersion, const std::vector<int>& tileTypes,
                      const zl::Clock* clock);
    ~GMSTileDiskCaches();

    GMSTileDataCache* cacheForType(int tileType) const;
    // `done` runs on the context's thread once every cache has started.
    void start(QObject* context, std::function<void()> done);

private:
    std::map<int, std::unique_ptr<GMSTileDataCache>> m_caches;
};
