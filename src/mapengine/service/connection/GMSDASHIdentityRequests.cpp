#include "GMSDASHIdentityRequests.h"

#include "DashFraming.h"
#include "GMSDASHConnection.h"

using namespace zenloft::wire;

quint16 GMSDASHUserCookieRequest::requestID() const
{
    return kDashUserCookieRequest;
}

void GMSDASHUserCookieRequest::asyncSerializeRequestData(DashOutput&, GMSDASHConnection*) {}

bool GMSDASHUserCookieRequest::asyncReadResponse(DashInput& in, GMSDASHConnection* connection)
{
    const quint64 cookie = in.readUInt64();
    if (connection)
        connection->storeUserCookie(cookie);
    return true;
}

void GMSDASHUserCookieRequest::asyncRequestFailed(const GMSDASHError&, GMSDASHConnection*)
{
    // The next body asks again: the cookie stays 0 until one answer comes.
}

GMSDASHClientPropertiesRequest::GMSDASHClientPropertiesRequest(
    std::shared_ptr<const google::protobuf::Message> message, bool skipUserState)
    : GMSDASHProtobufferRequest(kDashClientPropertiesRequest, std::move(message),
                                &GMSx_GMMClientPropertiesResponseProto::default_instance()),
      m_skipUserState(skipUserState)
{
}

void GMSDASHClientPropertiesRequest::didReceiveResponse(Response response, GMSDASHConnection* connection)
{
    const auto* resp = static_cast<const GMSx_GMMClientPropertiesResponseProto*>(response.get());
    for (const auto& status : resp->datarequest_status_array()) {
        const int index = status.request_index();
        if (index < 0 || index >= static_cast<int>(m_body.size()))
            continue;
        if (auto r = m_body[static_cast<std::size_t>(index)].lock()) {
            GMSDASHResponseStatus s;
            if (status.has_code())
                s.code = status.code();
            s.message = QString::fromStdString(status.message());
            r->setResponseStatus(s);
        }
    }
    if (connection)
        connection->updateFromGMMClientPropertiesResponseProto(*resp, m_skipUserState, m_skipUserState);
    GMSDASHProtobufferRequest::didReceiveResponse(std::move(response), connection);
}
