#include "GMSDASHProtobufferRequest.h"

#include "DashErrors.h"
#include "DashInput.h"
#include "DashOutput.h"
#include "GMSDASHConnection.h"

#include <QPointer>
#include <QRandomGenerator>
#include <QTimer>

#include <cmath>

GMSDASHProtobufferRequest::GMSDASHProtobufferRequest(quint16 requestID,
                                                     std::shared_ptr<const google::protobuf::Message> message,
                                                     const google::protobuf::Message* responsePrototype)
    : m_requestID(requestID), m_message(std::move(message)), m_responsePrototype(responsePrototype)
{
    setStartingRetryInterval(0);
}

void GMSDASHProtobufferRequest::setHandler(QObject* context, Handler handler)
{
    m_context = context;
    m_hasContext = context != nullptr;
    m_handler = std::move(handler);
}

void GMSDASHProtobufferRequest::setStartingRetryInterval(double seconds)
{
    if (seconds == 0) {
        const quint32 r = QRandomGenerator::global()->generate();
        seconds = double(r & 0xFFFF) / 65535.0 + 1.0;
    }
    m_startingRetryInterval = seconds;
}

bool GMSDASHProtobufferRequest::handlerIsGone() const
{
    return !m_handler || (m_hasContext && m_context.isNull());
}

double GMSDASHProtobufferRequest::nextRetryInterval() const
{
    if (!m_retryEnabled || handlerIsGone() || m_retryCount >= m_maxRetries)
        return 0;
    return m_startingRetryInterval * std::pow(m_retryFactor, m_retryCount);
}

bool GMSDASHProtobufferRequest::isRetryableError(const GMSDASHError& e)
{
    if (e.domain == kGMSDASHHTTPErrorDomain)
        return e.code == 408 || e.code == 502 || e.code == 503 || e.code == 504;
    if (e.domain == kGMSDASHURLErrorDomain)
        return e.code == kGMSDASHURLErrorTimedOut || e.code == kGMSDASHURLErrorNetworkConnectionLost;
    return false;
}

void GMSDASHProtobufferRequest::asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection*)
{
    out.writeMessage(*m_message);
}

bool GMSDASHProtobufferRequest::asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection* connection)
{
    const std::string_view block = in.readLengthPrefixed();
    if (!m_responsePrototype) {
        didReceiveResponse(nullptr, connection);
        return true;
    }
    Response response(m_responsePrototype->New());
    if (!response->ParseFromArray(block.data(), static_cast<int>(block.size()))) {
        asyncRequestFailed(GMSDASHError::badMessage(
                               QStringLiteral("%1 of %2 bytes: %3")
                                   .arg(QString::fromStdString(m_responsePrototype->GetTypeName()))
                                   .arg(block.size())
                                   .arg(QString::fromStdString(response->InitializationErrorString()))),
                           connection);
        return true;
    }
    didReceiveResponse(std::move(response), connection);
    return true;
}

void GMSDASHProtobufferRequest::didReceiveResponse(Response response, GMSDASHConnection*)
{
    deliver(std::move(response), std::nullopt);
}

void GMSDASHProtobufferRequest::asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection* connection)
{
    const double interval = nextRetryInterval();
    if (interval > 0) {
        const bool retryable = isRetryableError(error);
        const bool retry = m_retryBlock ? m_retryBlock(error, retryable) : retryable;
        if (retry && connection) {
            ++m_retryCount;
            QPointer<GMSDASHConnection> conn(connection);
            auto self = std::static_pointer_cast<GMSDASHProtobufferRequest>(shared_from_this());
            auto resend = [conn, self] {
                if (conn)
                    conn->sendRequest(self);
                else
                    self->deliver(nullptr, GMSDASHError{kGMSDASHConnectionErrorDomain, 0,
                                                        QStringLiteral("connection closed before the retry"), {}, {}});
            };
            QObject* context = m_hasContext ? m_context.data() : connection;
            if (m_scheduler)
                m_scheduler(interval, context, std::move(resend));
            else
                QTimer::singleShot(static_cast<int>(interval * 1000.0), context, std::move(resend));
            return;
        }
    }
    deliver(nullptr, error);
}

void GMSDASHProtobufferRequest::deliver(Response response, std::optional<GMSDASHError> error)
{
    if (!m_handler)
        return;
    Handler handler = m_handler;
    if (!m_hasContext) {
        handler(std::move(response), std::move(error));
        return;
    }
    if (!m_context)
        return;
    QMetaObject::invokeMethod(
        m_context.data(), [handler, response, error] { handler(response, error); }, Qt::QueuedConnection);
}
