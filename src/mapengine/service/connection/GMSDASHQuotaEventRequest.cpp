#include "GMSDASHQuotaEventRequest.h"

#include "DashFraming.h"

#include <QLoggingCategory>

using namespace zenloft::wire;

Q_LOGGING_CATEGORY(lcQuota, "zenloft.mapengine.quota")

GMSDASHQuotaEventRequest::GMSDASHQuotaEventRequest(const QString& apiKey, const QString& bundleId,
                                                   const QString& serviceName, GMSx_GMMApiQuotaEventType type)
    : GMSDASHProtobufferRequest(kDashApiQuotaEventRequest,
                                [type] {
                                    auto m = std::make_shared<GMSx_GMMApiQuotaEventRequestProto>();
                                    auto* e = m->add_event_array();
                                    e->set_type(type);
                                    e->set_quota_units(1);
                                    return m;
                                }(),
                                &GMSx_GMMApiQuotaEventResponseProto::default_instance()),
      m_apiKey(apiKey),
      m_bundleId(bundleId),
      m_serviceName(serviceName)
{
}

QStringList GMSDASHQuotaEventRequest::refusalMessages(const GMSx_GMMApiQuotaEventResponseProto& r,
                                                      const QString& serviceName, const QString& apiKey,
                                                      const QString& bundleId)
{
    if (r.response() == QUOTA_RESPONSE_OK)
        return {};
    return {QStringLiteral("%1 cannot connect or validate APIKey: %2").arg(serviceName, apiKey),
            QStringLiteral("Your key may be invalid for your bundle ID: %1").arg(bundleId)};
}

void GMSDASHQuotaEventRequest::didReceiveResponse(Response response, GMSDASHConnection* connection)
{
    const auto* r = static_cast<const GMSx_GMMApiQuotaEventResponseProto*>(response.get());
    for (const QString& line : refusalMessages(*r, m_serviceName, m_apiKey, m_bundleId))
        qCWarning(lcQuota).noquote() << line;
    GMSDASHProtobufferRequest::didReceiveResponse(std::move(response), connection);
}
