#include "GMSDASHBatchedTileRequest.h"

#include "DashInput.h"
#include "DashOutput.h"
#include "GMSDASHTileService.h"
#include "TileZoomShift.h"
#include "maptile.pb.h"

#include <QMutexLocker>

#include <algorithm>

using namespace zenloft::wire;

namespace {
// The fetch type of an on-screen tile, and of a batch with no tile.
constexpr int kOnScreenFetchType = 1;
constexpr int kEmptyBatchFetchType = 12;
}  // namespace

GMSDASHBatchedTileRequest::GMSDASHBatchedTileRequest(GMSDASHTileServiceOptions options,
                                                     std::weak_ptr<GMSDASHTileService> service, int mode)
    : m_options(std::move(options)), m_service(std::move(service)), m_mode(mode)
{
    setAllowsCellularAccess(m_options.allowsCellularAccess);
}

bool GMSDASHBatchedTileRequest::add(const GMSTileRequestPtr& request)
{
    QMutexLocker l(&m_lock);
    // One zoom level per batch (the same zoom table, for multi-zoom styles,
    // is the same thing here: there is one table per zoom).
    if (!m_open || int(m_requests.size()) >= m_options.maxRequestsPerBatch ||
        (!m_requests.empty() && m_requests.front()->coords().zoom() != request->coords().zoom()))
        return false;
    m_requests.push_back(request);
    return true;
}

void GMSDASHBatchedTileRequest::close()
{
    QMutexLocker l(&m_lock);
    m_open = false;
}

GMSDASHBatchedTileRequest::Requests GMSDASHBatchedTileRequest::tileRequests() const
{
    QMutexLocker l(&m_lock);
    return m_requests;
}

GMSx_GMMMapTileRequestProto GMSDASHBatchedTileRequest::buildRequestProto()
{
    Requests requests;
    {
        QMutexLocker l(&m_lock);
        m_open = false;
        requests = m_requests;
    }
    const int zoomShift = zoomShiftForTileEdge(m_options.tileEdgeLength);
    GMSx_GMMMapTileRequestProto proto;
    auto* h = proto.mutable_header();
    h->set_tile_size(quint32(m_options.tileEdgeLength));
    std::vector<int> formats = m_options.tileFormats;
    if (formats.empty())
        formats = {TILE_FORMAT_PNG, TILE_FORMAT_JPEG};
    for (int f : formats)
        h->add_tile_format_array(GMSx_GMMTileFormat(f));
    h->set_text_size(GMSx_GMMTextSize(m_options.textSize));
    h->set_fetch_type(requests.empty() ? kEmptyBatchFetchType : kOnScreenFetchType);
    h->set_dpi_ratio(float(m_options.screenScale));
    h->set_screen_pixel_density(m_options.screenScale >= 2.0 ? TILE_SCREEN_PIXEL_DENSITY_HIGH
                                                             : TILE_SCREEN_PIXEL_DENSITY_NORMAL);
    for (const auto& r : requests) {
        auto* t = proto.add_map_tile_array();
        t->set_tile_type(GMSx_GMMTileType(m_options.tileType.mapTileType));
        t->set_tile_index_x(r->coords().x());
        t->set_tile_index_y(r->coords().y());
        t->set_zoom_level(r->coords().zoom() + zoomShift);
        if (m_options.tileType.tileVariant)
            t->set_tile_variant(m_options.tileType.tileVariant);
        auto* v = t->mutable_version_id();
        v->set_supports_tile_hash(true);
        if (r->cachedTile() && !r->cachedTile()->versionID.isEmpty())
            v->set_version_id(r->cachedTile()->versionID.toStdString());
    }
    return proto;
}

void GMSDASHBatchedTileRequest::answer(Response response, std::optional<GMSDASHError> error)
{
    auto service = m_service.lock();
    if (!service)
        return;
    auto self = std::static_pointer_cast<GMSDASHBatchedTileRequest>(shared_from_this());
    service->hop([service, self, response = std::move(response), error = std::move(error)] {
        service->handleServerResponse(self, response, error);
    });
}

void GMSDASHBatchedTileRequest::asyncSerializeRequestData(DashOutput& out, GMSDASHConnection*)
{
    out.writeMessage(buildRequestProto());
}

bool GMSDASHBatchedTileRequest::asyncReadResponse(DashInput& in, GMSDASHConnection*)
{
    // Reads the whole block before acting: the read may be retried with more bytes.
    const std::string_view block = in.readLengthPrefixed();
    auto response = std::make_shared<GMSx_GMMMapTileResponseProto>();
    if (!response->ParseFromArray(block.data(), int(block.size())))
        answer(nullptr, GMSDASHError::badMessage(
                            QStringLiteral("GMSx_GMMMapTileResponseProto of %1 bytes").arg(block.size())));
    else
        answer(std::move(response), std::nullopt);
    return true;
}

void GMSDASHBatchedTileRequest::asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection*)
{
    answer(nullptr, error);
}
