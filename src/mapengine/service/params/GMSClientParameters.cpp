#include "GMSClientParameters.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>

#include <cmath>

using namespace zenloft::wire;

namespace {
Q_LOGGING_CATEGORY(lcParams, "zenloft.clientparams")
}

GMSClientParameters::GMSClientParameters(Sender sender, QString storagePath, zl::Clock* clock, QObject* parent)
    : QObject(parent),
      _connection(std::move(sender)),
      _storagePath(std::move(storagePath)),
      m_clock(clock ? clock : &zl::Clock::system())
{
    addGroupTypes({PARAMETER_GROUP_ENABLE_FEATURES, PARAMETER_GROUP_SERVER_SETTING, PARAMETER_GROUP_LOGGING});
}

GMSClientParameters::~GMSClientParameters()
{
    *m_alive = false;
    stopAutoUpdates();
    m_clock->cancel(m_retryToken);
    // m_writer finishes what is posted before its thread stops.
}

void GMSClientParameters::addGroupTypes(std::initializer_list<int> types)
{
    for (int t : types)
        _groupTypes.insert(t);
}

bool GMSClientParameters::areParamsFresh() const
{
    return m_lastUpdateMs && m_clock->monotonicMs() - *m_lastUpdateMs < kRefreshPeriodMS;
}

GMSClientParameters::Group GMSClientParameters::paramGroup(int type) const
{
    auto it = _paramGroupsMap.find(type);
    return it == _paramGroupsMap.end() ? Group() : it->second;
}

void GMSClientParameters::startWithCompletionHandler(StartupHandler handler)
{
    if (_isStarted)
        return;
    _isStarted = true;
    _startupHandler = std::move(handler);
    performFirstUpdateFromLastSavedTime();
    performUpdateIfNeededOrForcingUpdate(false);
    QList<int> all(_groupTypes.begin(), _groupTypes.end());
    std::sort(all.begin(), all.end());
    emit kGMSClientParametersUpdated(all);
}

void GMSClientParameters::performFirstUpdateFromLastSavedTime()
{
    if (!reloadSavedClientParameters()) {
        updateAllParamsGroupsToDefault();
        m_lastUpdateMs.reset();
    }
}

bool GMSClientParameters::reloadSavedClientParameters()
{
    QFile file(_storagePath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    Response saved;
    if (!saved.ParseFromArray(bytes.constData(), int(bytes.size()))) {
        // Left in place: the next good answer overwrites it.
        qCInfo(lcParams, "saved client parameters do not parse; using defaults");
        return false;
    }
    if (needsRefetch())
        return false;
    updateAllParamsGroupsToDefault();
    for (const auto& g : saved.parameter_group_array())
        updateParamGroup(g);
    // The file's date is wall time; the schedule runs on monotonic time.
    const qint64 fileMs = QFileInfo(_storagePath).lastModified().toMSecsSinceEpoch();
    m_lastUpdateMs = fileMs + (m_clock->monotonicMs() - m_clock->wallMs());
    return true;
}

void GMSClientParameters::updateAllParamsGroupsToDefault()
{
    _paramGroupsMap.clear();
    for (int t : std::as_const(_groupTypes)) {
        Group g;
        g.set_type(GMSx_GMMParameterGroupType(t));
        if (updateTypedParamGroup(g))
            _paramGroupsMap[t] = g;
    }
}

bool GMSClientParameters::updateParamGroup(const Group& incoming)
{
    const int type = incoming.type();
    auto existing = _paramGroupsMap.find(type);
    if (!_groupTypes.contains(type)) {
        if (existing == _paramGroupsMap.end())
            return false;
        _paramGroupsMap.erase(existing);
        return true;
    }
    Group g = incoming;
    if (type == PARAMETER_GROUP_ENABLE_FEATURES && existing != _paramGroupsMap.end()) {
        // Features absent from the new answer keep their values.
        Group merged = existing->second;
        merged.mutable_enable_features()->MergeFrom(incoming.enable_features());
        merged.set_hash_p(incoming.hash_p());
        g = merged;
    }
    if (!updateTypedParamGroup(g))
        return false;
    const bool changed = existing == _paramGroupsMap.end() ||
                         existing->second.SerializeAsString() != g.SerializeAsString();
    _paramGroupsMap[type] = g;
    return changed;
}

void GMSClientParameters::performUpdateIfNeededOrForcingUpdate(bool force)
{
    double r = m_lastUpdateMs ? 10800.0 - double(m_clock->monotonicMs() - *m_lastUpdateMs) / 1000.0 : 0.0;
    if (!m_lastUpdateMs || r <= 0 || force) {
        sendClientParametersRequestAllowingRetries(kRetries, force);
        r = 10800.0;
    }
    if (_startupHandler && haveParamsEverBeenFetched()) {
        // Startup goes on with the saved copy, without waiting for the network.
        auto handler = std::move(_startupHandler);
        _startupHandler = nullptr;
        QMetaObject::invokeMethod(this, [handler] { handler(std::nullopt); }, Qt::QueuedConnection);
    }
    if (!_timerTaskToken) {
        _timerTaskToken = m_clock->schedule(qint64(r * 1000.0), this, [this] {
            _timerTaskToken = 0;
            performUpdateIfNeededOrForcingUpdate(false);
        });
    }
}

void GMSClientParameters::sendClientParametersRequestAllowingRetries(int retries, bool forcingRequest)
{
    if (_isRequestInFlight || !_connection)
        return;
    auto request = std::make_shared<Request>();
    QList<int> types(_groupTypes.begin(), _groupTypes.end());
    std::sort(types.begin(), types.end());
    for (int t : types) {
        auto* g = request->add_parameter_group_array();
        g->set_type(GMSx_GMMParameterGroupType(t));
        auto saved = _paramGroupsMap.find(t);
        if (saved != _paramGroupsMap.end() && saved->second.has_hash_p())
            g->set_hash_p(saved->second.hash_p());
    }
    updateRequestInfo(*request);
    _isRequestInFlight = true;
    std::weak_ptr<bool> alive = m_alive;
    _connection(request, [this, alive, retries, forcingRequest](std::shared_ptr<const Response> response,
                                                                std::optional<GMSDASHError> error) {
        if (alive.lock())
            handleClientParameterResponse(std::move(response), std::move(error), retries, forcingRequest);
    });
}

void GMSClientParameters::handleClientParameterResponse(std::shared_ptr<const Response> response,
                                                        std::optional<GMSDASHError> error, int retriesRemaining,
                                                        bool forcingRequest)
{
    _isRequestInFlight = false;
    const bool good = !error && response &&
                      (_paramGroupsMap.empty() || std::size_t(response->parameter_group_array_size()) ==
                                                      _paramGroupsMap.size());
    if (good) {
        m_lastUpdateMs = m_clock->monotonicMs();
        handleClientParametersResponse(*response);
        runStartupHandler(std::nullopt);
        _isDesperatelyRetrying = false;
        return;
    }
    if (retriesRemaining > 0) {
        const qint64 delayMs = qint64(std::floor(std::pow(2.0, kRetries - retriesRemaining))) * 1000;
        _isRetryWaiting = true;
        m_retryToken = m_clock->schedule(delayMs, this, [this, retriesRemaining, forcingRequest] {
            m_retryToken = 0;
            _isRetryWaiting = false;
            sendClientParametersRequestAllowingRetries(retriesRemaining - 1, forcingRequest);
        });
        return;
    }
    if (!_isDesperatelyRetrying)
        runStartupHandler(error ? error
                                : std::optional<GMSDASHError>(GMSDASHError{
                                      kGMSDASHConnectionErrorDomain, 0,
                                      QStringLiteral("client parameters answer is incomplete"), {}, {}}));
    if (!haveParamsEverBeenFetched())
        startDesperateRetryAttempts();
}

void GMSClientParameters::runStartupHandler(std::optional<GMSDASHError> error)
{
    if (!_startupHandler)
        return;
    auto handler = std::move(_startupHandler);
    _startupHandler = nullptr;
    handler(std::move(error));
}

void GMSClientParameters::handleClientParametersResponse(const Response& response)
{
    QList<int> changed;
    for (const auto& g : response.parameter_group_array()) {
        if (g.type() == 0 || !g.has_hash_p())
            continue;
        // The hash alone: the service found our copy current.
        auto existing = _paramGroupsMap.find(g.type());
        if (existing != _paramGroupsMap.end() && existing->second.has_hash_p() &&
            existing->second.hash_p() == g.hash_p())
            continue;
        if (updateParamGroup(g) && !changed.contains(int(g.type())))
            changed.push_back(int(g.type()));
    }
    const qint64 wallNow = m_clock->wallMs();
    if (!changed.isEmpty()) {
        Response whole;
        for (const auto& [type, group] : _paramGroupsMap)
            *whole.add_parameter_group_array() = group;
        if (response.has_next_request_token())
            whole.set_next_request_token(response.next_request_token());
        writeFileInBackground(QByteArray::fromStdString(whole.SerializeAsString()), wallNow);
    } else {
        touchFileInBackground(wallNow);
    }
    parametersDidFinishUpdating();
    if (!changed.isEmpty() || _forceUpdateNotification) {
        _forceUpdateNotification = false;
        std::sort(changed.begin(), changed.end());
        emit kGMSClientParametersUpdated(changed);
    }
}

void GMSClientParameters::writeFileInBackground(QByteArray bytes, qint64 wallTimeMs)
{
    const QString path = _storagePath;
    m_writer.async([path, bytes, wallTimeMs] {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QSaveFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size() || !f.commit()) {
            qCWarning(lcParams, "could not save client parameters to %s", qUtf8Printable(path));
            return;
        }
        setLastUpdateTimestamp(QDateTime::fromMSecsSinceEpoch(wallTimeMs), path);
    });
}

void GMSClientParameters::touchFileInBackground(qint64 wallTimeMs)
{
    const QString path = _storagePath;
    m_writer.async([path, wallTimeMs] { setLastUpdateTimestamp(QDateTime::fromMSecsSinceEpoch(wallTimeMs), path); });
}

bool GMSClientParameters::setLastUpdateTimestamp(const QDateTime& time, const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadWrite))
        return false;
    return f.setFileTime(time, QFileDevice::FileModificationTime);
}

bool GMSClientParameters::deletePersistedClientParameters(const QString& path, QString* error)
{
    QFile f(path);
    if (!f.exists() || f.remove())
        return true;
    if (error)
        *error = f.errorString();
    return false;
}

void GMSClientParameters::flushPendingWrites() { m_writer.sync([] {}); }

void GMSClientParameters::refetchClientParameters() { performUpdateIfNeededOrForcingUpdate(true); }

void GMSClientParameters::refreshIfNeeded() { performUpdateIfNeededOrForcingUpdate(false); }

void GMSClientParameters::stopAutoUpdates()
{
    if (_timerTaskToken) {
        m_clock->cancel(_timerTaskToken);
        _timerTaskToken = 0;
    }
}

void GMSClientParameters::startDesperateRetryAttempts()
{
    _isDesperatelyRetrying = true;
    _forceUpdateNotification = true;
}

void GMSClientParameters::retryDesperately()
{
    // No backoff: each event makes one attempt.
    if (_isDesperatelyRetrying)
        sendClientParametersRequestAllowingRetries(0, true);
}

void GMSClientParameters::networkFound() { retryDesperately(); }

void GMSClientParameters::applicationDidBecomeActive()
{
    if (!_isStarted)
        return;
    if (_isDesperatelyRetrying)
        retryDesperately();
    else
        performUpdateIfNeededOrForcingUpdate(false);
}

void GMSClientParameters::applicationWillResignActive() { stopAutoUpdates(); }
