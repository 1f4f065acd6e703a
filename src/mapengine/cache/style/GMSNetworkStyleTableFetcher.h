#pragma once

#include "GMSStyleTableFetcher.h"

class QNetworkAccessManager;
class QObject;
class QThread;

// Fetches style tables over HTTP with Qt Network, on a thread of its own,
// like an ephemeral session: no disk cache, cookies kept only in memory.
// An HTTP status of 300 or more counts as a failure.
class GMSNetworkStyleTableFetcher : public GMSStyleTableFetcher {
public:
    GMSNetworkStyleTableFetcher();
    ~GMSNetworkStyleTableFetcher() override;

    void fetch(const QString& url, int timeoutMs,
               std::function<void(const QByteArray& data, const QString& error)> done) override;

private:
    QThread* m_thread;
    QObject* m_context;
    QNetworkAccessManager* m_manager = nullptr;  // made and used on m_thread
};
