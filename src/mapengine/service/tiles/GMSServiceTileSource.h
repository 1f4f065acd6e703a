#pragma once

#include "GMSTileSource.h"

#include <QHash>

#include <map>
#include <memory>

class GMSDASHTileService;
class GMSTileRequestCoordinator;
class GMSServiceTileRelay;

// The map view's raster tiles from the tile services: one service for each
// layer it can draw. Tile bytes are decoded into images on a worker thread;
// a layer without a service, or a tile the service cannot have, answers with
// a null image (the view then simply shows nothing there).
class GMSServiceTileSource : public GMSTileSource {
    Q_OBJECT
public:
    using Services = std::map<GMSTileLayerType, std::shared_ptr<GMSDASHTileService>>;
    GMSServiceTileSource(Services services, std::shared_ptr<GMSTileRequestCoordinator> coordinator,
                         QObject* parent = nullptr);
    ~GMSServiceTileSource() override;

    void requestTile(const GMSTileKey& key) override;
    void cancelTile(const GMSTileKey& key) override;

    std::shared_ptr<GMSDASHTileService> serviceForLayer(GMSTileLayerType type) const;

private:
    Services m_services;
    std::shared_ptr<GMSTileRequestCoordinator> m_coordinator;
    std::shared_ptr<GMSServiceTileRelay> m_relay;
    struct Pending;
    QHash<GMSTileKey, std::shared_ptr<Pending>> m_pending;
};
