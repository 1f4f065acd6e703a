#include "GMSDASHConnection.h"

#include "DashErrors.h"
#include "DashFraming.h"
#include "GMSDASHGzipInflater.h"
#include "GMSDASHIdentityRequests.h"
#include "GMSDASHStreamingReply.h"
#include "GMSXGeoHeaderEncoder.h"

#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <algorithm>

using namespace zenloft::wire;

Q_LOGGING_CATEGORY(lcDash, "zenloft.mapengine.dash")

QString GMSDASHRequestGroup::groupID() const
{
    return QStringLiteral("%1/%2").arg(quintptr(authorizer), 0, 16).arg(xGeoVersion);
}

struct GMSDASHConnection::Post {
    QString groupID;
    qint64 taskID = 0;
    QNetworkReply* reply = nullptr;
    std::unique_ptr<GMSDASHStreamingReply> stream;
    std::unique_ptr<GMSDASHGzipInflater> inflater;
    bool headersChecked = false;
    bool httpError = false;
    bool unreadable = false;
    QByteArray errorBody;
    std::string scratch;
};

GMSDASHConnection::GMSDASHConnection(const QUrl& serverURL, GMSDASHClientDescription clientDescription,
                                     std::shared_ptr<GMSDASHClientState> clientState,
                                     std::shared_ptr<const zl::Clock> timingClock,
                                     GMSDASHCellularInfo cellularInfo, QObject* parent)
    : QObject(parent),
      m_serverURL(serverURL),
      m_cellularInfo(cellularInfo),
      m_clientDescription(std::move(clientDescription)),
      m_clientState(clientState ? std::move(clientState) : std::make_shared<GMSDASHClientState>(nullptr)),
      m_timingClock(timingClock ? std::move(timingClock) : std::shared_ptr<const zl::Clock>(&zl::Clock::system(), [](const zl::Clock*) {}))
{
    // Suspended until client parameters are known.
    m_suspendQueue.emplace();
    m_suspendedEnqueuedQueue.emplace();
    updateWaitingForCookies();
    m_thread.setObjectName(QStringLiteral("GMSDashConnectionFetcherDelegateQueue"));
    m_worker = new QObject;
    m_worker->moveToThread(&m_thread);
    m_thread.start();
}

GMSDASHConnection::~GMSDASHConnection()
{
    // Replies and the network manager belong to the worker thread: take them
    // down there, then stop it.
    QMetaObject::invokeMethod(
        m_worker,
        [this] {
            // POSTs still running end here; each of their requests hears so once.
            const auto posts = std::move(m_posts);
            for (Post* post : posts) {
                post->reply->disconnect();
                post->reply->abort();
                post->stream->failAll(GMSDASHError{kGMSDASHURLErrorDomain, kGMSDASHURLErrorCancelled,
                                                   QStringLiteral("connection closed"), {}, {}});
                delete post;
            }
            delete m_network;
            m_network = nullptr;
            delete m_worker;
            m_worker = nullptr;
        },
        Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

// --- queues and groups --------------------------------------------------

void GMSDASHConnection::addToGroupLocked(const GMSDASHRequestPtr& request)
{
    const GMSDASHAuthorizer* auth = request->authorizer().get();
    auto it = std::find_if(m_pendingRequestGroups.begin(), m_pendingRequestGroups.end(), [&](const auto& g) {
        return g.authorizer == auth && g.xGeoVersion == m_defaultXGeoVersion;
    });
    if (it == m_pendingRequestGroups.end()) {
        GMSDASHRequestGroup g;
        g.authorizer = auth;
        g.xGeoVersion = m_defaultXGeoVersion;
        m_pendingRequestGroups.push_back(std::move(g));
        it = std::prev(m_pendingRequestGroups.end());
    }
    it->requests.push_back(request);
}

void GMSDASHConnection::sendRequest(const GMSDASHRequestPtr& request)
{
    if (!request)
        return;
    std::vector<std::function<void(const GMSDASHRequestPtr&)>> hooks;
    {
        QMutexLocker lock(&m_mutex);
        if (m_suspendQueue) {
            m_suspendQueue->push_back(request);
            return;
        }
        addToGroupLocked(request);
        hooks = m_requestHooks;
    }
    for (const auto& hook : hooks)
        hook(request);
    scheduleStart();
}

void GMSDASHConnection::enqueueRequest(const GMSDASHRequestPtr& request)
{
    if (!request)
        return;
    QMutexLocker lock(&m_mutex);
    if (m_suspendedEnqueuedQueue) {
        m_suspendedEnqueuedQueue->push_back(request);
        return;
    }
    m_enqueuedRequests.push_back(request);
}

void GMSDASHConnection::suspendSending()
{
    QMutexLocker lock(&m_mutex);
    if (!m_suspendQueue)
        m_suspendQueue.emplace();
    if (!m_suspendedEnqueuedQueue)
        m_suspendedEnqueuedQueue.emplace();
}

void GMSDASHConnection::resumeSending()
{
    std::vector<GMSDASHRequestPtr> held;
    std::vector<std::function<void(const GMSDASHRequestPtr&)>> hooks;
    {
        // Replayed in order and all at once, so that they batch as if they
        // had been sent together.
        QMutexLocker lock(&m_mutex);
        if (!m_suspendQueue)
            return;
        held = std::move(*m_suspendQueue);
        for (auto& r : *m_suspendedEnqueuedQueue)
            m_enqueuedRequests.push_back(std::move(r));
        m_suspendQueue.reset();
        m_suspendedEnqueuedQueue.reset();
        for (const auto& r : held)
            addToGroupLocked(r);
        hooks = m_requestHooks;
    }
    for (const auto& r : held)
        for (const auto& hook : hooks)
            hook(r);
    scheduleStart();
}

bool GMSDASHConnection::isSuspended() const
{
    QMutexLocker lock(&m_mutex);
    return m_suspendQueue.has_value();
}

int GMSDASHConnection::pendingRequestCount() const
{
    QMutexLocker lock(&m_mutex);
    std::size_t n = m_enqueuedRequests.size();
    for (const auto& g : m_pendingRequestGroups)
        n += g.requests.size();
    if (m_suspendQueue)
        n += m_suspendQueue->size();
    if (m_suspendedEnqueuedQueue)
        n += m_suspendedEnqueuedQueue->size();
    return static_cast<int>(n);
}

QString GMSDASHConnection::legalCountry() const
{
    return m_clientState->snapshot().legalCountry;
}

void GMSDASHConnection::setLocationDescriptors(std::vector<GMSx_GMMLocationDescriptorProto> descriptors)
{
    QMutexLocker lock(&m_mutex);
    m_locationDescriptors = std::move(descriptors);
}

QUrl GMSDASHConnection::serverURL() const
{
    QMutexLocker lock(&m_mutex);
    return m_serverURL;
}

void GMSDASHConnection::setServerURL(const QUrl& url)
{
    {
        QMutexLocker lock(&m_mutex);
        if (m_serverURL == url)
            return;
        m_serverURL = url;
    }
    emit DASHConnectionServerURLChanged(url);
}

void GMSDASHConnection::addRequestHook(std::function<void(const GMSDASHRequestPtr&)> hook)
{
    QMutexLocker lock(&m_mutex);
    m_requestHooks.push_back(std::move(hook));
}

qint64 GMSDASHConnection::issueNewXGeoVersion()
{
    QMutexLocker lock(&m_mutex);
    m_defaultXGeoVersion = ++m_nextXGeoVersion;
    return m_defaultXGeoVersion;
}

void GMSDASHConnection::setSuppressUserState(bool suppress)
{
    {
        QMutexLocker lock(&m_mutex);
        m_suppressUserState = suppress;
    }
    updateWaitingForCookies();
}

bool GMSDASHConnection::suppressUserState() const
{
    QMutexLocker lock(&m_mutex);
    return m_suppressUserState;
}

void GMSDASHConnection::setExperimentIDs(std::vector<int> ids)
{
    QMutexLocker lock(&m_mutex);
    m_experimentIDs = std::move(ids);
}

void GMSDASHConnection::setVoiceSearchEnabled(bool on)
{
    QMutexLocker lock(&m_mutex);
    m_voiceSearchEnabled = on;
}

void GMSDASHConnection::setBatchSize(quint64 n)
{
    QMutexLocker lock(&m_mutex);
    m_batchSize = std::max<quint64>(1, n);
}

quint64 GMSDASHConnection::batchSize() const
{
    QMutexLocker lock(&m_mutex);
    return m_batchSize;
}

void GMSDASHConnection::setBaseTimeout(double seconds)
{
    QMutexLocker lock(&m_mutex);
    m_baseTimeout = seconds;
}

bool GMSDASHConnection::isWaitingForCookies() const
{
    QMutexLocker lock(&m_mutex);
    return m_waitingForCookies;
}

void GMSDASHConnection::updateWaitingForCookies()
{
    const auto s = m_clientState->snapshot();
    QMutexLocker lock(&m_mutex);
    m_waitingForCookies = (!m_suppressUserState && s.userCookie == 0)
        || (m_clientDescription.wantsShortbreadToken && s.shortbreadToken.isEmpty())
        || (m_clientDescription.wantsZwiebackCookie && s.zwiebackCookie.isEmpty());
}

// --- identity -----------------------------------------------------------

void GMSDASHConnection::storeUserCookie(quint64 cookie)
{
    m_clientState->setUserCookie(cookie, m_timingClock->secondsSinceReferenceDate());
    updateWaitingForCookies();
}

void GMSDASHConnection::updateFromGMMClientPropertiesResponseProto(const GMSx_GMMClientPropertiesResponseProto& r,
                                                                   bool skipUserState, bool skipZwieback)
{
    if (!skipUserState) {
        if (r.has_new_cohort())
            m_clientState->setCohort(QString::fromStdString(r.new_cohort()));
        if (r.has_shortbread_token())
            m_clientState->setShortbreadToken(QByteArray::fromStdString(r.shortbread_token().SerializeAsString()));
    }
    if (!skipZwieback && r.has_new_zwieback_nid_cookie())
        m_clientState->setZwiebackCookie(QString::fromStdString(r.new_zwieback_nid_cookie()));
    if (r.has_new_legal_country()) {
        const QString country = QString::fromStdString(r.new_legal_country());
        if (m_clientState->setLegalCountry(country))
            emit kLegalCountryChangedNotification(country);
    }
    updateWaitingForCookies();
}

std::shared_ptr<google::protobuf::Message> GMSDASHConnection::makeClientPropertiesProto() const
{
    auto p = std::make_shared<GMSx_GMMClientPropertiesRequestProto>();
    const auto s = m_clientState->snapshot();
    const auto& d = m_clientDescription;
    QMutexLocker lock(&m_mutex);
    if (!s.cohort.isEmpty())
        p->set_cohort(s.cohort.toStdString());
    p->set_gzip_enabled(true);
    p->set_application_name(d.applicationName.toStdString());
    if (!s.legalCountry.isEmpty())
        p->set_legal_country(s.legalCountry.toStdString());
    if (!m_suppressUserState) {
        p->set_zwieback_cookie_enabled(d.wantsZwiebackCookie);
        if (!s.zwiebackCookie.isEmpty())
            p->set_zwieback_nid_cookie(s.zwiebackCookie.toStdString());
        p->set_shortbread_token_enabled(d.wantsShortbreadToken);
        if (!s.shortbreadToken.isEmpty())
            p->mutable_shortbread_token()->ParseFromArray(s.shortbreadToken.constData(),
                                                          static_cast<int>(s.shortbreadToken.size()));
    }
    p->set_dasher_enabled(false);
    p->set_voice_search_enabled(m_voiceSearchEnabled);
    p->set_screen_pixel_density(d.screenScale >= 2.0 ? SCREEN_PIXEL_DENSITY_RETINA : SCREEN_PIXEL_DENSITY_LOW);
    for (int id : m_experimentIDs)
        p->add_experiment_id_array(id);
    p->set_map_tile_cache_type(MAP_TILE_CACHE_TYPE_DISK);
    p->set_navigation_usage(static_cast<GMSx_GMMNavigationUsage>(m_navUsage == 0 ? 0 : 1));
    if (!d.osVersion.isEmpty())
        p->set_os_version(d.osVersion.toStdString());
    p->set_voice_cellular_device(m_cellularInfo.hasCellularVoice);
    p->set_data_cellular_device(m_cellularInfo.hasCellularData);
    p->set_api_application_version(d.apiApplicationVersion.toStdString());
    if (!d.basedOnGmmVersion.isEmpty())
        p->set_based_on_gmm_version(d.basedOnGmmVersion.toStdString());
    p->mutable_ios_api_app_fingerprint()->set_api_key(d.apiKey.toStdString());
    p->mutable_ios_api_app_fingerprint()->set_bundle_id(d.bundleId.toStdString());
    p->set_enterprise_api(d.enterpriseApi);
    p->mutable_pixel_density()->set_screen_scale(static_cast<float>(d.screenScale));
    return p;
}

// --- the body -------------------------------------------------------------

std::string GMSDASHConnection::buildServerPayloadForRequests(std::vector<GMSDASHRequestPtr>& requests)
{
    const auto s = m_clientState->snapshot();
    const bool suppress = suppressUserState();
    std::vector<std::weak_ptr<GMSDASHRequest>> body;
    const bool askCookie = !suppress && s.userCookie == 0;
    // Positions as the service sees them: cookie request, client properties,
    // then the rest.
    std::vector<GMSDASHRequestPtr> all;
    all.reserve(requests.size() + 2);
    auto props = std::make_shared<GMSDASHClientPropertiesRequest>(makeClientPropertiesProto(), suppress);
    if (askCookie)
        all.push_back(std::make_shared<GMSDASHUserCookieRequest>());
    all.push_back(props);
    all.insert(all.end(), requests.begin(), requests.end());
    for (const auto& r : all)
        body.push_back(r);
    props->setBody(std::move(body));
    requests = std::move(all);

    DashOutput out;
    DashRequestHeader h;
    h.userCookie = suppress ? 0 : s.userCookie;
    h.language = m_clientDescription.preferredLanguages.value(0).toStdU16String();
    h.platform = m_clientDescription.platformID.toStdU16String();
    h.softwareVersion = m_clientDescription.softwareVersion.toStdU16String();
    writeRequestHeader(out, h);
    for (const auto& r : requests) {
        const std::size_t before = out.size();
        r->setStartTime(m_timingClock->wallMs());
        out.writeUInt16(r->requestID());
        r->asyncSerializeRequestData(out, this);
        r->setSentBytes(static_cast<qint64>(out.size() - before));
    }
    return out.take();
}

// --- sending ----------------------------------------------------------------

void GMSDASHConnection::scheduleStart()
{
    QMetaObject::invokeMethod(m_worker, [this] { startConnectionsIfNeeded(); }, Qt::QueuedConnection);
}

void GMSDASHConnection::startConnectionsIfNeeded()
{
    std::vector<QString> starts;
    {
        QMutexLocker lock(&m_mutex);
        if (m_suspendQueue)
            return;
        for (;;) {
            auto it = std::find_if(m_pendingRequestGroups.begin(), m_pendingRequestGroups.end(), [&](const auto& g) {
                return g.requests.size() > g.prePostConnectionCount * m_batchSize;
            });
            if (it == m_pendingRequestGroups.end())
                break;
            // The first POST that brings the identity goes alone.
            if (m_waitingForCookies && m_numInProgressConnections.load() > 0)
                break;
            ++it->prePostConnectionCount;
            ++m_numInProgressConnections;
            starts.push_back(it->groupID());
        }
    }
    // The body is built when the worker gets to it, so that requests sent
    // meanwhile still join.
    for (const QString& id : starts)
        QMetaObject::invokeMethod(m_worker, [this, id] { startPost(id); }, Qt::QueuedConnection);
}

void GMSDASHConnection::startPost(const QString& groupID)
{
    std::vector<GMSDASHRequestPtr> requests;
    std::vector<GMSx_GMMLocationDescriptorProto> descriptors;
    QUrl url;
    double timeout = 0;
    bool suppress = false;
    const GMSDASHAuthorizer* authorizerKey = nullptr;
    {
        QMutexLocker lock(&m_mutex);
        auto it = std::find_if(m_pendingRequestGroups.begin(), m_pendingRequestGroups.end(),
                               [&](const auto& g) { return g.groupID() == groupID; });
        if (it != m_pendingRequestGroups.end()) {
            const std::size_t n = std::min<std::size_t>(it->requests.size(), m_batchSize);
            requests.assign(it->requests.begin(), it->requests.begin() + static_cast<std::ptrdiff_t>(n));
            it->requests.erase(it->requests.begin(), it->requests.begin() + static_cast<std::ptrdiff_t>(n));
            if (it->prePostConnectionCount > 0)
                --it->prePostConnectionCount;
            authorizerKey = it->authorizer;
            if (it->requests.empty() && it->prePostConnectionCount == 0)
                m_pendingRequestGroups.erase(it);
        }
        if (!requests.empty()) {
            requests.insert(requests.end(), m_enqueuedRequests.begin(), m_enqueuedRequests.end());
            m_enqueuedRequests.clear();
        }
        descriptors = m_locationDescriptors;
        url = m_serverURL;
        timeout = m_baseTimeout;
        suppress = m_suppressUserState;
    }
    if (requests.empty()) {
        --m_numInProgressConnections;
        return;
    }
    for (const auto& r : requests)
        timeout = std::max(timeout, r->httpTimeout());
    const bool allowsCellular = requests.back()->allowsCellularAccess();
    Q_UNUSED(allowsCellular)  // one kind of link here; kept for the request's sake
    std::shared_ptr<const GMSDASHAuthorizer> authorizer = requests.front()->authorizer();
    Q_UNUSED(authorizerKey)

    const std::vector<GMSDASHRequestPtr> own = requests;
    std::string body;
    try {
        body = buildServerPayloadForRequests(requests);
    } catch (const std::exception& e) {
        // A request that cannot be framed spoils the whole body: refuse this
        // POST, fail its requests once, keep the connection going.
        qCWarning(lcDash) << "POST refused, body cannot be built:" << e.what();
        const GMSDASHError error{kGMSDASHConnectionErrorDomain, 100,
                                 QStringLiteral("request body cannot be built: %1").arg(QString::fromUtf8(e.what())),
                                 {}, {}};
        for (const auto& r : own)
            r->asyncRequestFailed(error, this);
        --m_numInProgressConnections;
        scheduleStart();
        return;
    }

    if (!m_network)
        m_network = new QNetworkAccessManager(m_worker);
    QNetworkRequest req(url);
    req.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    req.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    req.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray(kDashContentType));
    // Asking for gzip ourselves keeps Qt from decoding it: the body is
    // inflated here, chunk by chunk, as it streams in.
    req.setRawHeader("Accept-Encoding", "gzip");
    req.setHeader(QNetworkRequest::UserAgentHeader,
                  QStringLiteral("%1%2 %3 (gzip)")
                      .arg(m_clientDescription.applicationName, QStringLiteral("/") + m_clientDescription.softwareVersion,
                           m_clientDescription.platformID));
    if (!suppress) {
        const auto merged = GMSXGeoHeaderEncoder::mergeOverrides(std::move(descriptors), own);
        if (!merged.empty())
            req.setRawHeader("X-Geo", GMSXGeoHeaderEncoder::encodeWithLocationDescriptors(merged));
    }
    req.setTransferTimeout(static_cast<int>(timeout * 1000.0));
    if (authorizer)
        authorizer->authorizeRequest(req);

    auto* post = new Post;
    post->groupID = groupID;
    post->taskID = m_nextTaskID++;
    post->stream = std::make_unique<GMSDASHStreamingReply>(requests, this);
    emit DASHConnectionStartingSendNotification(
        QVariantMap{{QStringLiteral("groupID"), groupID}, {QStringLiteral("taskIDObject"), post->taskID}});
    m_outgoingCount += static_cast<qint64>(body.size());
    post->reply = m_network->post(req, QByteArray::fromStdString(body));
    m_posts.push_back(post);
    QObject::connect(post->reply, &QNetworkReply::readyRead, m_worker, [this, post] { onReadyRead(post); });
    QObject::connect(post->reply, &QNetworkReply::finished, m_worker, [this, post] { onFinished(post); });
}

void GMSDASHConnection::checkHeaders(Post* post)
{
    if (post->headersChecked)
        return;
    post->headersChecked = true;
    if (post->reply->rawHeader("Content-Encoding").trimmed().toLower() == "gzip")
        post->inflater = std::make_unique<GMSDASHGzipInflater>();
    const int status = post->reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status >= 300) {
        post->httpError = true;
        return;
    }
    const QByteArray type = post->reply->header(QNetworkRequest::ContentTypeHeader).toByteArray();
    if (type != kDashContentType) {
        post->unreadable = true;
        post->stream->failAll(GMSDASHError::brokenFrame(
            QStringLiteral("response content type '%1'").arg(QString::fromLatin1(type))));
        return;
    }
}

void GMSDASHConnection::onReadyRead(Post* post)
{
    checkHeaders(post);
    const QByteArray chunk = post->reply->readAll();
    m_incomingCount += chunk.size();
    if (post->httpError) {
        if (post->inflater) {
            post->scratch.clear();
            post->inflater->feed(chunk.constData(), static_cast<std::size_t>(chunk.size()), post->scratch);
            post->errorBody += QByteArray::fromStdString(post->scratch);
        } else {
            post->errorBody += chunk;
        }
        return;
    }
    if (post->unreadable)
        return;
    if (post->inflater) {
        post->scratch.clear();
        if (!post->inflater->feed(chunk.constData(), static_cast<std::size_t>(chunk.size()), post->scratch)) {
            post->unreadable = true;
            post->stream->failAll(GMSDASHError::brokenFrame(QStringLiteral("gzip body is corrupt")));
            return;
        }
        post->stream->appendData(post->scratch.data(), post->scratch.size());
    } else {
        post->stream->appendData(chunk.constData(), static_cast<std::size_t>(chunk.size()));
    }
}

void GMSDASHConnection::onFinished(Post* post)
{
    if (post->reply->error() == QNetworkReply::NoError || post->reply->bytesAvailable() > 0)
        onReadyRead(post);
    checkHeaders(post);
    const auto netError = post->reply->error();
    const int status = post->reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    std::optional<GMSDASHError> error;
    if (post->httpError || status >= 300) {
        error = GMSDASHError{kGMSDASHHTTPErrorDomain, status, QStringLiteral("HTTP status %1").arg(status),
                             post->errorBody, {}};
    } else if (netError != QNetworkReply::NoError) {
        int code = kGMSDASHURLErrorUnknown;
        switch (netError) {
        case QNetworkReply::TimeoutError:
        case QNetworkReply::OperationCanceledError:
            code = kGMSDASHURLErrorTimedOut;
            break;
        case QNetworkReply::RemoteHostClosedError:
            code = kGMSDASHURLErrorNetworkConnectionLost;
            break;
        case QNetworkReply::ConnectionRefusedError:
        case QNetworkReply::HostNotFoundError:
            code = kGMSDASHURLErrorCannotConnectToHost;
            break;
        default:
            break;
        }
        error = GMSDASHError{kGMSDASHURLErrorDomain, code, post->reply->errorString(), {}, {}};
    } else if (post->inflater && !post->inflater->finished() && !post->unreadable) {
        error = GMSDASHError::brokenFrame(QStringLiteral("gzip body ends early"));
    }
    if (post->unreadable)
        post->stream->failAll(GMSDASHError::brokenFrame(QStringLiteral("response unreadable")));
    else
        post->stream->finish(error);
    m_lastRequestCompletedTime = m_timingClock->wallMs();
    post->reply->deleteLater();
    std::erase(m_posts, post);
    delete post;
    --m_numInProgressConnections;
    updateWaitingForCookies();
    startConnectionsIfNeeded();
}
