#pragma once

#include "GMSPaintTransport.h"
#include "GMSTileType.h"

#include <QByteArray>
#include <QMutex>
#include <QUrl>

#include <memory>

class GMSDASHBatchedTileRequest;

namespace zenloft::wire {
class GMSx_GMMMapTileRequestProto;
}

// The paint route: a batch of tiles goes as one signed POST straight to the
// paint server instead of through the framed connection. The answer is handed
// to the tile service's usual response handling; a failed exchange fails the
// whole batch with status 4 and leaves the caches as they are.
class GMSPaintService {
public:
    // Transport: null makes a Qt Network one on its own thread, started with the
    // first batch.
    GMSPaintService(QUrl paintServerBaseURL, QByteArray requestSigningKey,
                    std::shared_ptr<GMSPaintTransport> transport = nullptr);

    const QUrl& paintServerBaseURL() const { return m_url; }
    const QByteArray& requestSigningKey() const { return m_key; }
    int timeoutMs() const { return m_timeoutMs; }
    void setTimeoutMs(int ms) { m_timeoutMs = ms; }

    // Builds, signs and posts the batch; the outcome goes back through the
    // batch to its tile service. majorEpoch -1: none known yet.
    void sendRequest(const std::shared_ptr<GMSDASHBatchedTileRequest>& batch, const GMSTileType& tileType,
                     int majorEpoch);

    // The request of a batch: its tile request (which closes the batch; its
    // header holds the batch's fetch type, its tile list the batch size),
    // with the paint epoch and one paint description for the paint tile type
    // that every tile points at.
    static zenloft::wire::GMSx_GMMMapTileRequestProto paintRequestProto(GMSDASHBatchedTileRequest& batch,
                                                                        const GMSTileType& tileType, int majorEpoch);

    // A relative paint URL from the client parameters names a place on the
    // map service's own host.
    static QUrl resolvedPaintServerURL(const QUrl& dashEndpointURL, const QUrl& paintServerBaseURL);

private:
    GMSPaintTransport& transport();

    const QUrl m_url;
    const QByteArray m_key;
    int m_timeoutMs = 15000;
    QMutex m_transportMutex;
    std::shared_ptr<GMSPaintTransport> m_transport;
};
