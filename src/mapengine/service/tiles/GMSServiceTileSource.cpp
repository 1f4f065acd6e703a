#include "GMSServiceTileSource.h"

#include "GMSDASHTileService.h"
#include "GMSServiceTileRelay.h"
#include "GMSTileRequestCoordinator.h"

#include <QImage>
#include <QThreadPool>

struct GMSServiceTileSource::Pending {
    GMSTileRequestCoordinator::EntryPtr entry;
};

GMSServiceTileSource::GMSServiceTileSource(Services services, std::shared_ptr<GMSTileRequestCoordinator> coordinator,
                                           QObject* parent)
    : GMSTileSource(parent),
      m_services(std::move(services)),
      m_coordinator(std::move(coordinator)),
      m_relay(new GMSServiceTileRelay, [](GMSServiceTileRelay* r) { r->deleteLater(); })
{
    qRegisterMetaType<GMSTileKey>();
    connect(m_relay.get(), &GMSServiceTileRelay::tileDecoded, this,
            [this](const GMSTileKey& key, const QImage& image, bool final) {
                if (final)
                    m_pending.remove(key);
                emit tileReady(key, image);
            },
            Qt::QueuedConnection);
}

GMSServiceTileSource::~GMSServiceTileSource()
{
    for (const auto& p : std::as_const(m_pending))
        m_coordinator->dropRequest(p->entry);
}

std::shared_ptr<GMSDASHTileService> GMSServiceTileSource::serviceForLayer(GMSTileLayerType type) const
{
    auto it = m_services.find(type);
    return it == m_services.end() ? nullptr : it->second;
}

void GMSServiceTileSource::requestTile(const GMSTileKey& key)
{
    auto service = serviceForLayer(key.type);
    if (!service || key.zoom < 0 || key.zoom > GMSTileCoords::kMaxZoom || key.x < 0 || key.y < 0 ||
        key.x >= (1 << key.zoom) || key.y >= (1 << key.zoom)) {
        QMetaObject::invokeMethod(
            m_relay.get(), [relay = m_relay, key] { emit relay->tileDecoded(key, QImage(), true); },
            Qt::QueuedConnection);
        return;
    }
    if (m_pending.contains(key))
        return;  // already asked; the answer will come
    auto pending = std::make_shared<Pending>();
    m_pending.insert(key, pending);
    std::shared_ptr<GMSServiceTileRelay> relay = m_relay;
    // Runs on the tile service's work queue; decoding goes to the pool so the
    // queue keeps serving.
    auto callback = [relay, key](const GMSTileCoords&, int status, const GMSTilePtr& tile) {
        const bool final = status != kGMSTileStatusCachedUpdateFollows;
        if (!tile || (status != kGMSTileStatusFromNetwork && status != kGMSTileStatusCachedUpdateFollows)) {
            emit relay->tileDecoded(key, QImage(), final);
            return;
        }
        QThreadPool::globalInstance()->start([relay, key, tile, final] {
            QImage image = QImage::fromData(tile->data);
            if (!image.isNull() && image.format() != QImage::Format_ARGB32_Premultiplied)
                image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
            emit relay->tileDecoded(key, image, final);
        });
    };
    pending->entry = m_coordinator->requestTileCoords(GMSTileCoords(key.zoom, key.x, key.y), service, this,
                                                      std::move(callback));
}

void GMSServiceTileSource::cancelTile(const GMSTileKey& key)
{
    auto it = m_pending.find(key);
    if (it == m_pending.end())
        return;
    // A request still waiting for its turn is dropped; one already running
    // finishes and fills the caches.
    if (m_coordinator->dropRequest(it.value()->entry))
        m_pending.erase(it);
}
