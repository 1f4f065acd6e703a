#include "GMSPaintTransport.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>

#include <map>

struct GMSPaintHttpTransport::Worker : QObject {
    QNetworkAccessManager* network = nullptr;  // made on the transport's thread
    std::map<QNetworkReply*, Done> running;

    void start(const QUrl& url, const QByteArray& body, const Headers& headers, int timeoutMs, Done done)
    {
        if (!network)
            network = new QNetworkAccessManager(this);
        QNetworkRequest req(url);
        req.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
        req.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/octet-stream"));
        for (const auto& [name, value] : headers)
            req.setRawHeader(name, value);
        // A stalled server fails the batch instead of holding it forever.
        req.setTransferTimeout(timeoutMs);
        QNetworkReply* reply = network->post(req, body);
        running.emplace(reply, std::move(done));
        QObject::connect(reply, &QNetworkReply::finished, this, [this, reply] { finished(reply); });
    }

    void finished(QNetworkReply* reply)
    {
        auto it = running.find(reply);
        if (it == running.end())
            return;
        Done done = std::move(it->second);
        running.erase(it);
        GMSPaintReply r;
        r.httpStatus = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (reply->isOpen())
            r.body = reply->readAll();
        // An HTTP error status is an answer; only a failed exchange is a
        // transport error.
        if (reply->error() != QNetworkReply::NoError && r.httpStatus == 0)
            r.error = transportError(reply);
        reply->deleteLater();
        done(std::move(r));
    }

    static GMSDASHError transportError(QNetworkReply* reply)
    {
        int code = kGMSDASHURLErrorUnknown;
        switch (reply->error()) {
        case QNetworkReply::TimeoutError:
            code = kGMSDASHURLErrorTimedOut;
            break;
        case QNetworkReply::OperationCanceledError:
            // A transfer timeout shows as a cancel.
            code = reply->property("zlCancelled").toBool() ? kGMSDASHURLErrorCancelled : kGMSDASHURLErrorTimedOut;
            break;
        case QNetworkReply::ConnectionRefusedError:
        case QNetworkReply::HostNotFoundError:
            code = kGMSDASHURLErrorCannotConnectToHost;
            break;
        case QNetworkReply::RemoteHostClosedError:
            code = kGMSDASHURLErrorNetworkConnectionLost;
            break;
        default:
            break;
        }
        const QString message = code == kGMSDASHURLErrorTimedOut ? QStringLiteral("timed out") : reply->errorString();
        return {kGMSDASHURLErrorDomain, code, message, {}, {}};
    }

    void cancelAll()
    {
        auto left = std::move(running);
        running.clear();
        for (auto& [reply, done] : left) {
            reply->setProperty("zlCancelled", true);
            reply->disconnect(this);
            reply->abort();
            delete reply;
            done(GMSPaintReply{0, {}, GMSDASHError{kGMSDASHURLErrorDomain, kGMSDASHURLErrorCancelled,
                                                     QStringLiteral("cancelled"), {}, {}}});
        }
        delete network;
        network = nullptr;
    }
};

GMSPaintHttpTransport::GMSPaintHttpTransport()
{
    m_thread.setObjectName(QStringLiteral("GMSPaintServiceQueue"));
}

GMSPaintHttpTransport::~GMSPaintHttpTransport()
{
    {
        QMutexLocker l(&m_mutex);
        if (!m_started)
            return;
    }
    // Replies and the network manager belong to the worker thread.
    QMetaObject::invokeMethod(
        m_worker,
        [this] {
            m_worker->cancelAll();
            delete m_worker;
            m_worker = nullptr;
        },
        Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

void GMSPaintHttpTransport::post(const QUrl& url, const QByteArray& body, const Headers& headers, int timeoutMs,
                                 Done done)
{
    Worker* worker = nullptr;
    {
        QMutexLocker l(&m_mutex);
        if (!m_started) {
            // Made here so that it moves from the thread it was made on.
            m_worker = new Worker;
            m_worker->moveToThread(&m_thread);
            m_thread.start();
            m_started = true;
        }
        worker = m_worker;
    }
    QMetaObject::invokeMethod(
        worker,
        [worker, url, body, headers, timeoutMs, done = std::move(done)]() mutable {
            worker->start(url, body, headers, timeoutMs, std::move(done));
        },
        Qt::QueuedConnection);
}
