#pragma once

#include "GMSDASHError.h"
#include "dash.pb.h"

#include <QNetworkRequest>
#include <QString>

#include <QMutex>

#include <memory>
#include <optional>
#include <vector>

namespace zenloft::wire {
class DashInput;
class DashOutput;
}  // namespace zenloft::wire

class GMSDASHConnection;

// Signs an outgoing HTTP request. Requests with different authorizers never
// share a POST.
class GMSDASHAuthorizer {
public:
    virtual ~GMSDASHAuthorizer() = default;
    virtual void authorizeRequest(QNetworkRequest& request) const = 0;
};

// A verdict of the service on one request, delivered ahead of its answer.
struct GMSDASHResponseStatus {
    std::optional<int> code;
    QString message;
};

// One request inside a framed POST. Reading may be tried several times while
// the body streams in: asyncReadResponse must not act on anything until it
// has read its whole answer (DashInput throws DashNeedMoreData when bytes are
// missing and the connection tries again with more).
class GMSDASHRequest : public std::enable_shared_from_this<GMSDASHRequest> {
public:
    virtual ~GMSDASHRequest() = default;

    virtual quint16 requestID() const = 0;
    virtual void asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection* connection) = 0;
    // False when the answer's framing is broken.
    virtual bool asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection* connection) = 0;
    virtual void asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection* connection) = 0;

    std::optional<GMSDASHResponseStatus> responseStatus() const;
    void setResponseStatus(std::optional<GMSDASHResponseStatus> status);

    double httpTimeout() const { return m_httpTimeout; }
    void setHttpTimeout(double seconds) { m_httpTimeout = seconds; }
    bool allowsCellularAccess() const { return m_allowsCellularAccess; }
    void setAllowsCellularAccess(bool allow) { m_allowsCellularAccess = allow; }
    std::shared_ptr<const GMSDASHAuthorizer> authorizer() const { return m_authorizer; }
    void setAuthorizer(std::shared_ptr<const GMSDASHAuthorizer> a) { m_authorizer = std::move(a); }
    const std::vector<zenloft::wire::GMSx_GMMLocationDescriptorProto>& locationDescriptorOverridesByProducer() const
    {
        return m_overrides;
    }
    void setLocationDescriptorOverrides(std::vector<zenloft::wire::GMSx_GMMLocationDescriptorProto> o)
    {
        m_overrides = std::move(o);
    }

    void setStartTime(qint64 ms) { m_startTime = ms; }
    qint64 startTime() const { return m_startTime; }
    void setSentBytes(qint64 n) { m_sentBytes = n; }
    qint64 sentBytes() const { return m_sentBytes; }

private:
    mutable QMutex m_statusMutex;
    std::optional<GMSDASHResponseStatus> m_status;
    double m_httpTimeout = 0;
    bool m_allowsCellularAccess = true;
    std::shared_ptr<const GMSDASHAuthorizer> m_authorizer;
    std::vector<zenloft::wire::GMSx_GMMLocationDescriptorProto> m_overrides;
    qint64 m_startTime = 0;
    qint64 m_sentBytes = 0;
};

using GMSDASHRequestPtr = std::shared_ptr<GMSDASHRequest>;
