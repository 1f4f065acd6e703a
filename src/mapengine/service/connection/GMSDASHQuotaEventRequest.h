#pragma once

#include "GMSDASHProtobufferRequest.h"

// The quota event sent when a base map is created. A refusal is logged and
// nothing else happens: the map stays usable for what it has.
class GMSDASHQuotaEventRequest : public GMSDASHProtobufferRequest {
public:
    GMSDASHQuotaEventRequest(const QString& apiKey, const QString& bundleId, const QString& serviceName,
                             zenloft::wire::GMSx_GMMApiQuotaEventType type = zenloft::wire::QUOTA_EVENT_MAP_LOAD);

    // The two log lines of a refusal ("" when the answer is an acceptance).
    static QStringList refusalMessages(const zenloft::wire::GMSx_GMMApiQuotaEventResponseProto& response,
                                       const QString& serviceName, const QString& apiKey, const QString& bundleId);

protected:
    void didReceiveResponse(Response response, GMSDASHConnection* connection) override;

private:
    QString m_apiKey;
    QString m_bundleId;
    QString m_serviceName;
};
