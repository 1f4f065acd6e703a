#include "GMSTileBatcher.h"

#include "Clock.h"
#include "GMSDASHBatchedTileRequest.h"
#include "GMSDASHTileService.h"
#include "GMSPaintService.h"

#include <QLoggingCategory>
#include <QMutexLocker>

namespace {
Q_LOGGING_CATEGORY(lcBatches, "zenloft.tiles")
}

GMSTileBatcher::GMSTileBatcher(GMSDASHTileServiceOptions options, QObject* workQueue, Sender sender,
                               const zl::Clock* clock)
    : m_options(std::move(options)),
      m_workQueue(workQueue),
      m_sender(std::move(sender)),
      m_clock(clock ? clock : &zl::Clock::system())
{
}

GMSTileBatcher::~GMSTileBatcher() = default;

void GMSTileBatcher::add(const GMSTileRequestPtr& request, const std::weak_ptr<GMSDASHTileService>& service)
{
    if (m_open && m_open->add(request))
        return;
    const std::shared_ptr<GMSPaintService> paint = paintRoute();
    m_open = std::make_shared<GMSDASHBatchedTileRequest>(m_options, service, paint ? kGMSTileModePaint : 0);
    m_open->add(request);
    const std::shared_ptr<GMSDASHBatchedTileRequest> batch = m_open;
    if (!paint) {
        if (m_sender)
            m_sender(batch);
        return;
    }
    // The batch stays open meanwhile, so that more tiles can join. A service
    // gone by then sends nothing.
    const GMSTileType type = m_options.tileType;
    m_clock->schedule(kPaintGatheringDelayMs, m_workQueue.data(), [service, paint, batch, type] {
        if (auto self = service.lock())
            paint->sendRequest(batch, type, self->majorEpoch());
    });
}

void GMSTileBatcher::finished(const GMSDASHBatchedTileRequest* batch)
{
    if (m_open.get() == batch)
        m_open.reset();
}

void GMSTileBatcher::setDirectToPaint(bool on)
{
    QMutexLocker l(&m_paintLock);
    m_directToPaint = on;
}

void GMSTileBatcher::setPaintServer(const QUrl& paintServerBaseURL, const QByteArray& requestSigningKey)
{
    const QUrl url = GMSPaintService::resolvedPaintServerURL(m_options.dashEndpointURL, paintServerBaseURL);
    if (!paintServerBaseURL.isEmpty() && url.isEmpty())
        qCWarning(lcBatches, "paint route off: the paint server URL \"%s\" is relative and there is no endpoint to "
                             "take it from",
                  qUtf8Printable(paintServerBaseURL.toString()));
    QMutexLocker l(&m_paintLock);
    if (url.isEmpty() || requestSigningKey.isEmpty()) {
        m_paintService.reset();
        return;
    }
    if (m_paintService && m_paintService->paintServerBaseURL() == url &&
        m_paintService->requestSigningKey() == requestSigningKey)
        return;
    // One transport (and its thread) for every paint server this service has.
    if (!m_paintTransport)
        m_paintTransport = std::make_shared<GMSPaintHttpTransport>();
    m_paintService = std::make_shared<GMSPaintService>(url, requestSigningKey, m_paintTransport);
}

void GMSTileBatcher::setPaintTransport(std::shared_ptr<GMSPaintTransport> transport)
{
    QMutexLocker l(&m_paintLock);
    m_paintTransport = std::move(transport);
    if (m_paintService)
        m_paintService = std::make_shared<GMSPaintService>(m_paintService->paintServerBaseURL(),
                                                           m_paintService->requestSigningKey(), m_paintTransport);
}

std::shared_ptr<GMSPaintService> GMSTileBatcher::paintRoute() const
{
    QMutexLocker l(&m_paintLock);
    return m_directToPaint && m_options.tileType.paintTileType >= 0 ? m_paintService : nullptr;
}

bool GMSTileBatcher::usesPaintRoute() const { return bool(paintRoute()); }

std::shared_ptr<GMSPaintService> GMSTileBatcher::paintService() const
{
    QMutexLocker l(&m_paintLock);
    return m_paintService;
}
