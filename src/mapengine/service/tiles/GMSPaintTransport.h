#pragma once

#include "GMSDASHError.h"

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QThread>
#include <QUrl>

#include <functional>
#include <optional>

// What came back for one POST of the paint route.
struct GMSPaintReply {
    int httpStatus = 0;
    QByteArray body;
    std::optional<GMSDASHError> error;  // set: the transport failed, status and body mean nothing
};

// Carries one signed POST to the paint server. `done` runs exactly once, on
// any thread.
class GMSPaintTransport {
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;
    using Done = std::function<void(GMSPaintReply)>;
    virtual ~GMSPaintTransport() = default;
    virtual void post(const QUrl& url, const QByteArray& body, const Headers& headers, int timeoutMs,
                      Done done) = 0;
};

// Qt Network on a thread of its own, started with the first POST: the
// caller's thread never waits on the socket. POSTs still running when it is
// destroyed end with a cancelled error.
class GMSPaintHttpTransport : public GMSPaintTransport {
public:
    GMSPaintHttpTransport();
    ~GMSPaintHttpTransport() override;
    GMSPaintHttpTransport(const GMSPaintHttpTransport&) = delete;
    GMSPaintHttpTransport& operator=(const GMSPaintHttpTransport&) = delete;

    void post(const QUrl& url, const QByteArray& body, const Headers& headers, int timeoutMs, Done done) override;

private:
    struct Worker;
    QMutex m_mutex;
    bool m_started = false;
    QThread m_thread;
    Worker* m_worker = nullptr;  // lives on m_thread once started
};
