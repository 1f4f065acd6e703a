#pragma once

#include "GMSDASHClientIdentity.h"
#include "GMSDASHRequest.h"
#include "Clock.h"
#include "dash.pb.h"

#include <QMutex>
#include <QObject>
#include <QThread>
#include <QUrl>
#include <QVariantMap>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QNetworkAccessManager;
class QNetworkReply;
class GMSDASHStreamingReply;
class GMSDASHGzipInflater;

// Requests that go in one POST share an authorizer and an X-Geo version.
struct GMSDASHRequestGroup {
    const GMSDASHAuthorizer* authorizer = nullptr;
    qint64 xGeoVersion = 0;
    std::deque<GMSDASHRequestPtr> requests;
    quint64 prePostConnectionCount = 0;
    QString groupID() const;
};

struct GMSDASHCellularInfo {
    bool hasCellularVoice = false;
    bool hasCellularData = false;
};

// The engine's one channel to its map service: requests of every kind are
// batched into framed POST bodies (up to 50 a body) and their answers are
// read back as the response streams in. Any thread may send; the HTTP work
// runs on the connection's own thread, never on the caller's.
class GMSDASHConnection : public QObject {
    Q_OBJECT
public:
    GMSDASHConnection(const QUrl& serverURL, GMSDASHClientDescription clientDescription,
                      std::shared_ptr<GMSDASHClientState> clientState,
                      std::shared_ptr<const zl::Clock> timingClock, GMSDASHCellularInfo cellularInfo = {},
                      QObject* parent = nullptr);
    ~GMSDASHConnection() override;

    void sendRequest(const GMSDASHRequestPtr& request);
    void enqueueRequest(const GMSDASHRequestPtr& request);
    // At start the connection is suspended until client parameters are known.
    void suspendSending();
    void resumeSending();
    bool isSuspended() const;

    int pendingRequestCount() const;
    QString legalCountry() const;
    void setLocationDescriptors(std::vector<zenloft::wire::GMSx_GMMLocationDescriptorProto> descriptors);
    QUrl serverURL() const;
    void setServerURL(const QUrl& url);
    void addRequestHook(std::function<void(const GMSDASHRequestPtr&)> hook);
    qint64 issueNewXGeoVersion();

    void setSuppressUserState(bool suppress);
    bool suppressUserState() const;
    void setExperimentIDs(std::vector<int> ids);
    void setVoiceSearchEnabled(bool on);
    void setBatchSize(quint64 n);
    quint64 batchSize() const;
    // The shortest HTTP timeout (15 s); requests may ask for longer.
    void setBaseTimeout(double seconds);

    qint64 outgoingCount() const { return m_outgoingCount.load(); }
    qint64 incomingCount() const { return m_incomingCount.load(); }
    int numInProgressConnections() const { return m_numInProgressConnections.load(); }
    bool isWaitingForCookies() const;
    qint64 lastRequestCompletedTime() const { return m_lastRequestCompletedTime.load(); }
    const GMSDASHClientDescription& clientDescription() const { return m_clientDescription; }
    std::shared_ptr<GMSDASHClientState> clientState() const { return m_clientState; }

    // Called by the identity requests with what the service answered.
    void storeUserCookie(quint64 cookie);
    void updateFromGMMClientPropertiesResponseProto(
        const zenloft::wire::GMSx_GMMClientPropertiesResponseProto& response, bool skipUserState,
        bool skipZwieback);

    // The body that a POST of these requests carries (identity requests
    // included); exposed for tests and tools. Throws DashStringTooLongError.
    std::string buildServerPayloadForRequests(std::vector<GMSDASHRequestPtr>& requests);

signals:
    void DASHConnectionStartingSendNotification(const QVariantMap& userInfo);
    void DASHConnectionServerURLChanged(const QUrl& url);
    void kLegalCountryChangedNotification(const QString& legalCountry);

private:
    struct Post;
    void addToGroupLocked(const GMSDASHRequestPtr& request);
    void scheduleStart();
    void startConnectionsIfNeeded();
    void startPost(const QString& groupID);
    void updateWaitingForCookies();
    void onReadyRead(Post* post);
    void onFinished(Post* post);
    void checkHeaders(Post* post);
    std::shared_ptr<google::protobuf::Message> makeClientPropertiesProto() const;

    mutable QMutex m_mutex;
    QUrl m_serverURL;
    std::optional<std::vector<GMSDASHRequestPtr>> m_suspendQueue;
    std::optional<std::vector<GMSDASHRequestPtr>> m_suspendedEnqueuedQueue;
    std::vector<GMSDASHRequestGroup> m_pendingRequestGroups;
    std::vector<GMSDASHRequestPtr> m_enqueuedRequests;
    std::vector<std::function<void(const GMSDASHRequestPtr&)>> m_requestHooks;
    GMSDASHCellularInfo m_cellularInfo;
    bool m_waitingForCookies = false;
    std::atomic<qint64> m_outgoingCount{0};
    std::atomic<qint64> m_incomingCount{0};
    std::atomic<int> m_numInProgressConnections{0};
    qint64 m_defaultXGeoVersion = 0;
    qint64 m_nextXGeoVersion = 0;
    std::vector<int> m_experimentIDs;
    bool m_suppressUserState = false;
    bool m_voiceSearchEnabled = false;
    qint32 m_navUsage = 0;
    GMSDASHClientDescription m_clientDescription;
    std::shared_ptr<GMSDASHClientState> m_clientState;
    std::vector<zenloft::wire::GMSx_GMMLocationDescriptorProto> m_locationDescriptors;
    std::shared_ptr<const zl::Clock> m_timingClock;
    quint64 m_batchSize = 50;
    std::atomic<qint64> m_lastRequestCompletedTime{-1};
    double m_baseTimeout = 15.0;
    qint64 m_nextTaskID = 1;

    QThread m_thread;
    QObject* m_worker = nullptr;                 // lives on m_thread
    std::vector<Post*> m_posts;                  // in flight; touched on m_thread only
    QNetworkAccessManager* m_network = nullptr;  // made on m_thread
};
