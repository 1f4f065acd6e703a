#include "GMSNetworkStyleTableFetcher.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>

GMSNetworkStyleTableFetcher::GMSNetworkStyleTableFetcher() : m_thread(new QThread), m_context(new QObject) {
    m_thread->setObjectName(QStringLiteral("GMSStyleTableFetcher"));
    m_context->moveToThread(m_thread);
    m_thread->start();
    QMetaObject::invokeMethod(m_context, [this] { m_manager = new QNetworkAccessManager(m_context); },
                              Qt::BlockingQueuedConnection);
}

GMSNetworkStyleTableFetcher::~GMSNetworkStyleTableFetcher() {
    // Replies still open are aborted with their manager, on its thread.
    QObject* context = m_context;
    QObject::connect(m_thread, &QThread::finished, m_thread, [context] { delete context; }, Qt::DirectConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
}

void GMSNetworkStyleTableFetcher::fetch(const QString& url, int timeoutMs,
                                        std::function<void(const QByteArray&, const QString&)> done) {
    QMetaObject::invokeMethod(
        m_context,
        [this, url, timeoutMs, done = std::move(done)] {
            QNetworkRequest request{QUrl(url)};
            request.setTransferTimeout(timeoutMs);
            request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
            request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
            QNetworkReply* reply = m_manager->get(request);
            QObject::connect(reply, &QNetworkReply::finished, reply, [reply, done] {
                reply->deleteLater();
                const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
                if (reply->error() != QNetworkReply::NoError) {
                    done({}, reply->errorString());
                } else if (status >= 300) {
                    done({}, QStringLiteral("HTTP status %1").arg(status));
                } else {
                    done(reply->readAll(), {});
                }
            });
        },
        Qt::QueuedConnection);
}
