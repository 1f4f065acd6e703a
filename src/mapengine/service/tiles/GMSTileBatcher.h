#pragma once

#include "GMSDASHTileServiceOptions.h"
#include "GMSTileRequest.h"

#include <QByteArray>
#include <QMutex>
#include <QPointer>
#include <QUrl>

#include <functional>
#include <memory>

class GMSDASHBatchedTileRequest;
class GMSDASHRequest;
class GMSDASHTileService;
class GMSPaintService;
class GMSPaintTransport;
namespace zl {
class Clock;
}

// Gathers a tile service's network requests into batches and sends them:
// through the framed connection at once, or by the paint route after a
// short gathering delay. The open batch is the work queue's alone; the paint
// route's settings come from the GUI thread and sit behind a plain mutex.
class GMSTileBatcher {
public:
    using Sender = std::function<void(const std::shared_ptr<GMSDASHRequest>&)>;
    // How long a batch of the paint route waits for more tiles to join.
    static constexpr int kPaintGatheringDelayMs = 10;

    GMSTileBatcher(GMSDASHTileServiceOptions options, QObject* workQueue, Sender sender, const zl::Clock* clock);
    ~GMSTileBatcher();

    // Work queue. The request joins the open batch, or opens a new one
    // (another zoom, a full or closed batch); service: where answers go.
    void add(const GMSTileRequestPtr& request, const std::weak_ptr<GMSDASHTileService>& service);
    // Work queue. A batch that has its answer takes no more tiles.
    void finished(const GMSDASHBatchedTileRequest* batch);

    // From any thread.
    void setDirectToPaint(bool on);
    // The paint route's server and signing key; an empty URL or key turns the
    // route off. A relative URL is resolved against the options' endpoint.
    void setPaintServer(const QUrl& paintServerBaseURL, const QByteArray& requestSigningKey);
    // null: Qt Network on a thread of its own.
    void setPaintTransport(std::shared_ptr<GMSPaintTransport> transport);
    // Batches go by the paint route when direct-to-paint is on, a paint
    // server is set and the tile type has a paint tile type.
    bool usesPaintRoute() const;
    std::shared_ptr<GMSPaintService> paintService() const;

private:
    std::shared_ptr<GMSPaintService> paintRoute() const;  // null: the framed connection

    const GMSDASHTileServiceOptions m_options;
    const QPointer<QObject> m_workQueue;
    const Sender m_sender;
    const zl::Clock* const m_clock;
    std::shared_ptr<GMSDASHBatchedTileRequest> m_open;

    mutable QMutex m_paintLock;
    bool m_directToPaint = false;
    std::shared_ptr<GMSPaintService> m_paintService;
    std::shared_ptr<GMSPaintTransport> m_paintTransport;
};
