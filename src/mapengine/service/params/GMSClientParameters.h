#pragma once

#include "GMSDASHError.h"
#include "clientparams.pb.h"

#include "Clock.h"
#include "SerialQueue.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <optional>

// The engine's remote configuration: typed groups of settings that the map
// service sends, kept in the file "ServerControlledParams" and refreshed
// every three hours. Lives on the GUI thread; the file is written on a
// background thread.
class GMSClientParameters : public QObject {
    Q_OBJECT
public:
    using Response = zenloft::wire::GMSx_GMMClientParametersResponseProto;
    using Request = zenloft::wire::GMSx_GMMClientParametersRequestProto;
    using Group = zenloft::wire::GMSx_GMMParameterGroupProto;
    using ResponseHandler = std::function<void(std::shared_ptr<const Response>, std::optional<GMSDASHError>)>;
    // Sends one request (id 75) and calls the handler once, on this object's thread.
    using Sender = std::function<void(std::shared_ptr<const Request>, ResponseHandler)>;
    using StartupHandler = std::function<void(std::optional<GMSDASHError>)>;

    static constexpr qint64 kRefreshPeriodMS = 10800000;  // three hours
    static constexpr int kRetries = 7;

    // The schedule runs on the clock's monotonic time and its timers; the
    // file's date is wall time. A null clock is the machine's.
    GMSClientParameters(Sender sender, QString storagePath, zl::Clock* clock, QObject* parent = nullptr);
    ~GMSClientParameters() override;

    void startWithCompletionHandler(StartupHandler handler);
    bool isStarted() const { return _isStarted; }
    bool haveParamsEverBeenFetched() const { return m_lastUpdateMs.has_value(); }
    bool areParamsFresh() const;
    // On the clock's monotonic scale; -1 when never fetched.
    qint64 lastUpdateTimeMs() const { return m_lastUpdateMs.value_or(-1); }
    bool isDesperatelyRetrying() const { return _isDesperatelyRetrying; }
    bool isRequestInFlight() const { return _isRequestInFlight; }
    bool isRetryWaiting() const { return _isRetryWaiting; }

    void refetchClientParameters();
    void refreshIfNeeded();
    void stopAutoUpdates();
    virtual bool needsRefetch() const { return false; }

    // The group of a type, or the empty message when there is none.
    Group paramGroup(int type) const;
    const QSet<int>& groupTypes() const { return _groupTypes; }
    const QString& storagePath() const { return _storagePath; }

    // Application and network events.
    void applicationDidBecomeActive();
    void applicationWillResignActive();
    void networkFound();  // "kGMSNetworkMonitorNetworkFound"

    // Waits for the background file writes (shutdown, tests).
    void flushPendingWrites();
    static bool deletePersistedClientParameters(const QString& path, QString* error = nullptr);
    static bool setLastUpdateTimestamp(const QDateTime& time, const QString& path);

signals:
    // "kGMSClientParametersUpdated": the changed group type numbers.
    void kGMSClientParametersUpdated(const QList<int>& changedGroupTypes);

protected:
    void addGroupTypes(std::initializer_list<int> types);
    // May refuse a group (false).
    virtual bool updateTypedParamGroup(const Group& group) { return true; }
    virtual void updateRequestInfo(Request& request) const {}
    virtual void parametersDidFinishUpdating() {}

private:
    void performFirstUpdateFromLastSavedTime();
    bool reloadSavedClientParameters();
    void updateAllParamsGroupsToDefault();
    bool updateParamGroup(const Group& group);
    void performUpdateIfNeededOrForcingUpdate(bool force);
    void sendClientParametersRequestAllowingRetries(int retries, bool forcingRequest);
    void handleClientParameterResponse(std::shared_ptr<const Response> response, std::optional<GMSDASHError> error,
                                       int retriesRemaining, bool forcingRequest);
    void handleClientParametersResponse(const Response& response);
    void startDesperateRetryAttempts();
    void retryDesperately();
    void runStartupHandler(std::optional<GMSDASHError> error);
    void writeFileInBackground(QByteArray bytes, qint64 wallTimeMs);
    void touchFileInBackground(qint64 wallTimeMs);

    Sender _connection;
    QString _storagePath;
    zl::Clock* m_clock;
    zl::Clock::Handle _timerTaskToken = 0;
    zl::Clock::Handle m_retryToken = 0;
    StartupHandler _startupHandler;
    QSet<int> _groupTypes;
    bool _isDesperatelyRetrying = false;
    bool _isRequestInFlight = false;
    bool _isRetryWaiting = false;
    std::map<int, Group> _paramGroupsMap;
    bool _forceUpdateNotification = false;
    bool _isStarted = false;
    // Monotonic time may be small after boot, so "before any fetch" is no
    // value rather than a negative one.
    std::optional<qint64> m_lastUpdateMs;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
    zl::SerialQueue m_writer{QStringLiteral("clientParamsWriter")};  // writes land in order
};
