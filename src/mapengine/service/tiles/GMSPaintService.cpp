#include "GMSPaintService.h"

#include "GMSDASHBatchedTileRequest.h"
#include "PaintSignature.h"
#include "maptile.pb.h"

#include <QLoggingCategory>
#include <QMutexLocker>

using namespace zenloft::wire;

namespace {
Q_LOGGING_CATEGORY(lcPaint, "zenloft.tiles.paint")
}

GMSPaintService::GMSPaintService(QUrl paintServerBaseURL, QByteArray requestSigningKey,
                                 std::shared_ptr<GMSPaintTransport> transport)
    : m_url(std::move(paintServerBaseURL)), m_key(std::move(requestSigningKey)), m_transport(std::move(transport))
{
}

GMSPaintTransport& GMSPaintService::transport()
{
    QMutexLocker l(&m_transportMutex);
    if (!m_transport)
        m_transport = std::make_shared<GMSPaintHttpTransport>();
    return *m_transport;
}

QUrl GMSPaintService::resolvedPaintServerURL(const QUrl& dashEndpointURL, const QUrl& paintServerBaseURL)
{
    if (paintServerBaseURL.isEmpty() || !paintServerBaseURL.isRelative())
        return paintServerBaseURL;
    if (!dashEndpointURL.isValid() || dashEndpointURL.isRelative())
        return {};
    return dashEndpointURL.resolved(paintServerBaseURL);
}

GMSx_GMMMapTileRequestProto GMSPaintService::paintRequestProto(GMSDASHBatchedTileRequest& batch,
                                                               const GMSTileType& tileType, int epoch)
{
    GMSx_GMMMapTileRequestProto proto = batch.buildRequestProto();
    if (epoch != -1)
        proto.mutable_header()->set_paint_epoch(epoch);
    auto* description = proto.add_paint_description_array();
    description->set_tile_type(GMSx_GMMTileType(tileType.paintTileType));
    for (auto& tile : *proto.mutable_map_tile_array()) {
        tile.set_paint_description_index(0);
        if (epoch != -1)
            tile.set_paint_epoch(epoch);
    }
    return proto;
}

void GMSPaintService::sendRequest(const std::shared_ptr<GMSDASHBatchedTileRequest>& batch, const GMSTileType& tileType,
                                  int majorEpoch)
{
    if (!batch)
        return;
    const GMSx_GMMMapTileRequestProto proto = paintRequestProto(*batch, tileType, majorEpoch);
    std::string bytes;
    if (!proto.SerializeToString(&bytes)) {
        batch->answer(nullptr, GMSDASHError::badMessage(QStringLiteral("paint request does not serialise")));
        return;
    }
    const QByteArray body = QByteArray::fromStdString(bytes);
    const GMSPaintTransport::Headers headers = {
        {QByteArray("Content-Type"), QByteArray(kPaintContentType)},
        {QByteArray(kPaintSignatureHeader),
         QByteArray::fromStdString(paintSignature(std::string_view(m_key.constData(), std::size_t(m_key.size())), bytes))},
    };
    // The batch holds its service weakly: the service never ends on the
    // network thread.
    const QUrl url = m_url;
    transport().post(url, body, headers, m_timeoutMs, [batch, url](GMSPaintReply reply) {
        std::shared_ptr<const GMSx_GMMMapTileResponseProto> response;
        std::optional<GMSDASHError> error;
        if (reply.error) {
            error = reply.error;
        } else if (reply.httpStatus != 200) {
            error = GMSDASHError{kGMSDASHHTTPErrorDomain, reply.httpStatus,
                                 QStringLiteral("HTTP %1").arg(reply.httpStatus), reply.body, {}};
        } else {
            auto parsed = std::make_shared<GMSx_GMMMapTileResponseProto>();
            if (parsed->ParseFromArray(reply.body.constData(), int(reply.body.size())))
                response = parsed;
            else
                error = GMSDASHError::badMessage(
                    QStringLiteral("GMSx_GMMMapTileResponseProto of %1 bytes").arg(reply.body.size()));
        }
        if (error)
            qCInfo(lcPaint, "Paint request to %s failed: %s %d %s", qUtf8Printable(url.toString()),
                   qUtf8Printable(error->domain), error->code, qUtf8Printable(error->message));
        batch->answer(std::move(response), std::move(error));
    });
}
