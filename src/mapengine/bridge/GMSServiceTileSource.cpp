#include "GMSServiceTileSource.h"

#include "GMSDASHTileService.h"
#include "GMSTileRequestCoordinator.h"

#include <QImage>
#include <QThreadPool>

#include <algorithm>

GMSDecodedTileCache::GMSDecodedTileCache(int maxEntries)
    : m_maxEntries(std::max(0, maxEntries)), m_entries(std::size_t(std::max(1, maxEntries)))
{
}

QImage GMSDecodedTileCache::imageForData(const GMSTileKey& key, const QByteArray& data)
{
    QMutexLocker l(&m_lock);
    Entry* e = m_entries.get(key);
    if (!e)
        return {};
    if (e->data != data) {
        // The tile has changed since: its old picture is of no use.
        m_entries.remove(key);
        return {};
    }
    return e->image;
}

void GMSDecodedTileCache::insert(const GMSTileKey& key, const QByteArray& data, const QImage& image)
{
    if (image.isNull() || m_maxEntries == 0)
        return;
    QMutexLocker l(&m_lock);
    m_entries.put(key, Entry{data, image});
}

void GMSDecodedTileCache::remove(const GMSTileKey& key)
{
    QMutexLocker l(&m_lock);
    m_entries.remove(key);
}

void GMSDecodedTileCache::clear()
{
    QMutexLocker l(&m_lock);
    m_entries.clear();
}

int GMSDecodedTileCache::count() const
{
    QMutexLocker l(&m_lock);
    return int(m_entries.size());
}

QImage GMSDecodeTileImage(const QByteArray& data)
{
    // Naming the format spares the reader its probing of every decoder.
    const char* format = nullptr;
    if (data.startsWith("\x89PNG"))
        format = "PNG";
    else if (data.startsWith("\xFF\xD8"))
        format = "JPG";
    QImage image = QImage::fromData(data, format);
    if (image.isNull() && format)
        image = QImage::fromData(data);  // the bytes lied about their kind
    if (image.isNull())
        return image;
    // Opaque pictures stay opaque: they upload as they are and draw without
    // blending. Those with transparency are premultiplied as textures want.
    const QImage::Format wanted =
        image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32;
    if (image.format() != wanted)
        image.convertTo(wanted);
    return image;
}

GMSServiceTileSource::GMSServiceTileSource(Services services, std::shared_ptr<GMSTileRequestCoordinator> coordinator,
                                           QObject* parent)
    : GMSTileSource(parent),
      m_services(std::move(services)),
      m_coordinator(std::move(coordinator)),
      m_decoded(std::make_shared<GMSDecodedTileCache>(kDecodedCacheEntries))
{
}

GMSServiceTileSource::~GMSServiceTileSource() = default;

std::shared_ptr<GMSDASHTileService> GMSServiceTileSource::serviceForLayer(GMSTileLayerType type) const
{
    auto it = m_services.find(type);
    return it == m_services.end() ? nullptr : it->second;
}

zl::RequestHandle GMSServiceTileSource::requestTile(const GMSTileKey& key, Answer answer)
{
    auto service = serviceForLayer(key.type);
    if (!service || key.zoom < 0 || key.zoom > GMSTileCoords::kMaxZoom || key.x < 0 || key.y < 0 ||
        key.x >= (1 << key.zoom) || key.y >= (1 << key.zoom)) {
        answer(QImage(), true);
        return answer.handle();
    }
    std::shared_ptr<GMSDecodedTileCache> decoded = m_decoded;
    // Runs on the tile service's work queue; decoding goes to the pool so the
    // queue keeps serving.
    auto callback = [answer, decoded, key](const GMSTileCoords&, int status, const GMSTilePtr& tile) {
        const bool final = status != kGMSTileStatusCachedUpdateFollows;
        if (!tile || (status != kGMSTileStatusFromNetwork && status != kGMSTileStatusCachedUpdateFollows)) {
            if (final)
                decoded->remove(key);
            answer(QImage(), final);
            return;
        }
        if (QImage known = decoded->imageForData(key, tile->data); !known.isNull()) {
            answer(known, final);
            return;
        }
        if (answer.cancelled())
            return;  // nobody waits for the picture
        QThreadPool::globalInstance()->start([answer, decoded, key, tile, final] {
            const QImage image = GMSDecodeTileImage(tile->data);
            decoded->insert(key, tile->data, image);
            answer(image, final);
        });
    };
    auto request = std::make_shared<zl::RequestHandle>(
        m_coordinator->requestTile(GMSTileCoords(key.zoom, key.x, key.y), service, std::move(callback)));
    return answer.handle([request] { request->reset(); });
}
