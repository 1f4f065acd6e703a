#include "GMSDASHBatchedTileRequest.h"

#include "DashInput.h"
#include "DashOutput.h"
#include "GMSDASHTileService.h"
#include "maptile.pb.h"

using namespace zenloft::wire;

GMSDASHBatchedTileRequest::GMSDASHBatchedTileRequest(std::weak_ptr<GMSDASHTileService> service, Requests requests)
    : m_service(std::move(service)), m_requests(std::move(requests))
{
}

GMSx_GMMMapTileRequestProto GMSDASHBatchedTileRequest::buildRequestProto()
{
    if (auto service = m_service.lock())
        return service->buildRequestProto(this);
    return {};
}

void GMSDASHBatchedTileRequest::asyncSerializeRequestData(DashOutput& out, GMSDASHConnection*)
{
    out.writeMessage(buildRequestProto());
}

bool GMSDASHBatchedTileRequest::asyncReadResponse(DashInput& in, GMSDASHConnection* connection)
{
    // Reads the whole block before acting: the read may be retried with more bytes.
    const std::string_view block = in.readLengthPrefixed();
    auto response = std::make_shared<GMSx_GMMMapTileResponseProto>();
    if (!response->ParseFromArray(block.data(), int(block.size()))) {
        asyncRequestFailed(GMSDASHError::badMessage(QStringLiteral("GMSx_GMMMapTileResponseProto of %1 bytes")
                                                        .arg(block.size())),
                           connection);
        return true;
    }
    if (auto service = m_service.lock()) {
        auto self = std::static_pointer_cast<GMSDASHBatchedTileRequest>(shared_from_this());
        service->hop([service, self, response] { service->handleServerResponse(self, response, std::nullopt); });
    }
    return true;
}

void GMSDASHBatchedTileRequest::asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection*)
{
    if (auto service = m_service.lock()) {
        auto self = std::static_pointer_cast<GMSDASHBatchedTileRequest>(shared_from_this());
        service->hop([service, self, error] { service->handleServerResponse(self, nullptr, error); });
    }
}
