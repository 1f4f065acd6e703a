#pragma once

#include "GMSDASHProtobufferRequest.h"
#include "GMSDASHRequest.h"

#include <vector>

// Request 15: asks for a user cookie; empty body, a 64-bit answer.
class GMSDASHUserCookieRequest : public GMSDASHRequest {
public:
    quint16 requestID() const override;
    void asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection* connection) override;
    bool asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection* connection) override;
    void asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection* connection) override;
};

// Request 62, first of every body: presents the client. Its answer updates
// the identity and carries the service's verdicts on the other requests of
// the same body, by position.
class GMSDASHClientPropertiesRequest : public GMSDASHProtobufferRequest {
public:
    GMSDASHClientPropertiesRequest(std::shared_ptr<const google::protobuf::Message> message, bool skipUserState);
    // Every request of the same body, in body order (this one included).
    void setBody(std::vector<std::weak_ptr<GMSDASHRequest>> body) { m_body = std::move(body); }

protected:
    void didReceiveResponse(Response response, GMSDASHConnection* connection) override;

private:
    std::vector<std::weak_ptr<GMSDASHRequest>> m_body;
    bool m_skipUserState;
};
