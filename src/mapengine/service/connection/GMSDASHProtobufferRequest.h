#pragma once

#include "GMSDASHRequest.h"

#include <google/protobuf/message.h>

#include <QObject>
#include <QPointer>

#include <functional>

// A request that carries one protobuf message and expects one back (or
// nothing, without a response class). Retries itself after retryable
// failures when asked to.
class GMSDASHProtobufferRequest : public GMSDASHRequest {
public:
    using Response = std::shared_ptr<google::protobuf::Message>;
    using Handler = std::function<void(Response response, std::optional<GMSDASHError> error)>;
    using RetryBlock = std::function<bool(const GMSDASHError& error, bool isRetryable)>;
    // Runs `resend` after `seconds` on the context's thread.
    using RetryScheduler = std::function<void(double seconds, QObject* context, std::function<void()> resend)>;

    // `responsePrototype` names the response class; null means the answer is
    // skipped unread.
    GMSDASHProtobufferRequest(quint16 requestID, std::shared_ptr<const google::protobuf::Message> message,
                              const google::protobuf::Message* responsePrototype);

    // The handler runs once, on the context's thread (or on the connection's
    // thread without a context). A destroyed context means the handler is gone.
    void setHandler(QObject* context, Handler handler);

    bool retryEnabled() const { return m_retryEnabled; }
    void setRetryEnabled(bool on) { m_retryEnabled = on; }
    double retryFactor() const { return m_retryFactor; }
    void setRetryFactor(double f) { m_retryFactor = f; }
    int maxRetries() const { return m_maxRetries; }
    void setMaxRetries(int n) { m_maxRetries = n; }
    double startingRetryInterval() const { return m_startingRetryInterval; }
    // 0 stands for "pick one": a random value in [1.0, 2.0].
    void setStartingRetryInterval(double seconds);
    int retryCount() const { return m_retryCount; }
    void setRetryBlock(RetryBlock block) { m_retryBlock = std::move(block); }
    void setRetryScheduler(RetryScheduler s) { m_scheduler = std::move(s); }

    double nextRetryInterval() const;
    static bool isRetryableError(const GMSDASHError& error);

    const google::protobuf::Message& message() const { return *m_message; }

    quint16 requestID() const override { return m_requestID; }
    void asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection* connection) override;
    bool asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection* connection) override;
    void asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection* connection) override;

protected:
    // Called with the parsed answer on the connection's thread; the default
    // hands it to the handler.
    virtual void didReceiveResponse(Response response, GMSDASHConnection* connection);
    void deliver(Response response, std::optional<GMSDASHError> error);
    bool handlerIsGone() const;

private:
    quint16 m_requestID;
    std::shared_ptr<const google::protobuf::Message> m_message;
    const google::protobuf::Message* m_responsePrototype;
    Handler m_handler;
    QPointer<QObject> m_context;
    bool m_hasContext = false;
    bool m_retryEnabled = false;
    double m_retryFactor = 2.0;
    int m_maxRetries = 2;
    double m_startingRetryInterval = 0;
    int m_retryCount = 0;
    RetryBlock m_retryBlock;
    RetryScheduler m_scheduler;
};
