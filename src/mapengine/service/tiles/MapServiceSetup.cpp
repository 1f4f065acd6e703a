#include "MapServiceSetup.h"

#include "GMSCoreClientParameters.h"
#include "GMSDASHConnection.h"
#include "GMSDASHProtobufferRequest.h"
#include "GMSDASHTileService.h"
#include "GMSServiceTileSource.h"
#include "GMSServices.h"
#include "GMSTileDiskCaches.h"
#include "GMSTileRequestCoordinator.h"
#include "GMSUserDefaults.h"

#include <QDir>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QNetworkInformation>
#include <QThread>

namespace {
Q_LOGGING_CATEGORY(lcSetup, "zenloft.mapservice")

std::unique_ptr<MapServiceSetup>& sharedSetup()
{
    static std::unique_ptr<MapServiceSetup> s;
    return s;
}

// The layers the view draws and the map service's tile types behind them.
const std::vector<std::pair<GMSTileLayerType, int>> kLayerTileTypes = {
    {GMSTileLayerType::Roadmap, 0},
    {GMSTileLayerType::Satellite, 1},
    {GMSTileLayerType::Terrain, 2},
    {GMSTileLayerType::Labels, 3},
};
}  // namespace

const QString MapServiceSetup::kEngineVersion = QStringLiteral("3.0.0.0");
const QString MapServiceSetup::kLastRunCoreVersionKey = QStringLiteral("GMSCoreLastRunVersion");
const QString MapServiceSetup::kLastRunSDKVersionKey = QStringLiteral("GMSSDKLastRunVersion");

struct MapServiceSetup::Impl {
    MapServiceOptions options;
    std::unique_ptr<GMSSettingsUserDefaults> defaults;
    std::shared_ptr<GMSSystemTimingClock> clock = std::make_shared<GMSSystemTimingClock>();
    std::unique_ptr<GMSDASHConnection> connection;
    std::unique_ptr<GMSTileDiskCaches> diskCaches;
    QThread workThread;
    QObject* workQueue = nullptr;
    std::unique_ptr<GMSCoreClientParameters> params;
    std::map<GMSTileLayerType, std::shared_ptr<GMSDASHTileService>> services;
    std::shared_ptr<GMSTileRequestCoordinator> coordinator;
    std::unique_ptr<GMSServiceTileSource> source;
    bool installed = false;
    bool paramsReady = false;
    bool cachesReady = false;
    bool queuesStarted = false;

    void applyParameters()
    {
        const GMSTileTypeExpirations expirations = params->tileTypeExpirations();
        const int schema = params->diskCacheServerSchemaVersion();
        for (auto& [layer, service] : services) {
            service->setTileTypeExpirations(expirations);
            if (schema != -1 && cachesReady)
                service->verifyDiskCacheServerSchemaVersion(schema);
        }
    }
    void startQueuesIfReady()
    {
        if (!paramsReady || !cachesReady || queuesStarted)
            return;
        queuesStarted = true;
        applyParameters();
        for (auto& [layer, service] : services)
            service->startRequestQueue();
    }
};

MapServiceSetup::MapServiceSetup(MapServiceOptions options) : d(std::make_unique<Impl>())
{
    d->options = std::move(options);
}

MapServiceSetup::~MapServiceSetup()
{
    if (d->installed)
        if (auto* services = GMSServices::sharedServicesIfActive(); services && services->tileSource() == d->source.get())
            services->setTileSource(nullptr);
    d->source.reset();
    if (d->params) {
        d->params->stopAutoUpdates();
        d->params->flushPendingWrites();
    }
    // The work queue stops first: no callback runs after this point. Then
    // the connection, whose answers can now only post to the stopped queue.
    d->workThread.quit();
    d->workThread.wait();
    d->connection.reset();
    d->params.reset();
    d->coordinator.reset();
    d->services.clear();
    delete d->workQueue;
    d->diskCaches.reset();  // finishes the writes already asked for
}

bool MapServiceSetup::startServices(bool install)
{
    const MapServiceOptions& o = d->options;
    if (!o.endpoint.isValid() || o.endpoint.scheme().isEmpty()) {
        qCWarning(lcSetup, "map service not started: the endpoint URL \"%s\" is not usable",
                  qUtf8Printable(o.endpoint.toString()));
        return false;
    }
    if (o.cacheDir.isEmpty() || !QDir().mkpath(o.cacheDir)) {
        qCWarning(lcSetup, "map service not started: Unable to create directory %s", qUtf8Printable(o.cacheDir));
        return false;
    }
    d->defaults = std::make_unique<GMSSettingsUserDefaults>(o.settingsIniPath);
    // The stores of an older or unknown engine are dropped; then this run is recorded.
    const QString lastRun = d->defaults->objectForKey(kLastRunCoreVersionKey).toString();
    d->defaults->setObject(kEngineVersion, kLastRunCoreVersionKey);
    d->defaults->setObject(kEngineVersion, kLastRunSDKVersionKey);

    GMSDASHClientDescription description;
    description.apiKey = o.apiKey;
    description.screenScale = o.screenScale;
    d->connection = std::make_unique<GMSDASHConnection>(
        o.endpoint, description, std::make_shared<GMSDASHClientState>(d->defaults.get()), d->clock);

    auto clock = d->clock;
    auto millis = [clock] { return clock->currentTimeMillis(); };
    std::vector<int> types;
    for (const auto& [layer, type] : kLayerTileTypes)
        types.push_back(type);
    d->diskCaches = std::make_unique<GMSTileDiskCaches>(o.cacheDir, lastRun, types, millis);

    d->workQueue = new QObject;
    d->workQueue->moveToThread(&d->workThread);
    d->workThread.setObjectName(QStringLiteral("GMSTileServiceQueue"));
    d->workThread.start();

    GMSDASHConnection* connection = d->connection.get();
    Impl* impl = d.get();
    // Sending stays suspended until the parameters are known; the request
    // for them is what lifts it. Tile requests wait in the services' start
    // queues meanwhile.
    auto paramsSender = [connection, impl](std::shared_ptr<const GMSClientParameters::Request> request,
                                           GMSClientParameters::ResponseHandler done) {
        auto r = std::make_shared<GMSDASHProtobufferRequest>(
            75, request, &GMSClientParameters::Response::default_instance());
        r->setHandler(impl->params.get(), [done](GMSDASHProtobufferRequest::Response response,
                                                 std::optional<GMSDASHError> error) {
            done(std::static_pointer_cast<const GMSClientParameters::Response>(response), std::move(error));
        });
        if (connection->isSuspended())
            connection->resumeSending();
        connection->sendRequest(r);
    };
    d->params = std::make_unique<GMSCoreClientParameters>(paramsSender,
                                                          QDir(o.cacheDir).filePath("ServerControlledParams"), millis);

    for (const auto& [layer, type] : kLayerTileTypes) {
        GMSDASHTileServiceOptions so;
        so.tileType.mapTileType = type;
        so.tileType.dataType = 0;
        so.tileEdgeLength = o.tileEdgeLength;
        so.screenScale = o.screenScale;
        so.maxRequestsPerBatch = int(connection->batchSize());
        d->services[layer] = GMSDASHTileService::create(
            so, d->workQueue, [connection](const std::shared_ptr<GMSDASHRequest>& r) { connection->sendRequest(r); },
            millis, d->diskCaches->cacheForType(type));
    }
    d->coordinator = std::make_shared<GMSTileRequestCoordinator>(16);
    d->source = std::make_unique<GMSServiceTileSource>(d->services, d->coordinator);

    QObject* context = d->params.get();
    QObject::connect(d->params.get(), &GMSClientParameters::kGMSClientParametersUpdated, context,
                     [impl](const QList<int>&) {
                         if (impl->queuesStarted)
                             impl->applyParameters();
                     });
    QObject::connect(connection, &GMSDASHConnection::kLegalCountryChangedNotification, context,
                     [impl](const QString& country) {
                         for (auto& [layer, service] : impl->services)
                             service->updateLegalCountry(country);
                     });
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        QObject::connect(app, &QGuiApplication::applicationStateChanged, context, [impl](Qt::ApplicationState s) {
            if (s == Qt::ApplicationActive)
                impl->params->applicationDidBecomeActive();
            else if (s == Qt::ApplicationInactive || s == Qt::ApplicationSuspended)
                impl->params->applicationWillResignActive();
        });
    }
    if (QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability)) {
        QObject::connect(QNetworkInformation::instance(), &QNetworkInformation::reachabilityChanged, context,
                         [impl](QNetworkInformation::Reachability r) {
                             if (r == QNetworkInformation::Reachability::Online ||
                                 r == QNetworkInformation::Reachability::Site)
                                 impl->params->networkFound();
                         });
    }

    d->diskCaches->start(context, [impl] {
        impl->cachesReady = true;
        impl->startQueuesIfReady();
    });
    d->params->startWithCompletionHandler([impl](std::optional<GMSDASHError> error) {
        if (error)
            qCInfo(lcSetup, "client parameters not fetched (%s); tiles come from the caches until they are",
                   qUtf8Printable(error->message));
        // Parameters (saved or fetched) are in hand, or the service is out of
        // reach: either way the map runs on what it has.
        if (impl->connection->isSuspended())
            impl->connection->resumeSending();
        impl->paramsReady = true;
        impl->startQueuesIfReady();
    });

    if (install) {
        // The key was given to GMSServices by the app; without it there is
        // no map to draw tiles for.
        auto* services = GMSServices::sharedServices();
        if (!services)
            return false;
        services->setTileSource(d->source.get());
        d->installed = true;
    }
    return true;
}

bool MapServiceSetup::isReady() const { return d->queuesStarted; }
GMSServiceTileSource* MapServiceSetup::tileSource() const { return d->source.get(); }
GMSCoreClientParameters* MapServiceSetup::clientParameters() const { return d->params.get(); }
GMSDASHConnection* MapServiceSetup::connection() const { return d->connection.get(); }

bool MapServiceSetup::start(const MapServiceOptions& options)
{
    if (sharedSetup()) {
        qCWarning(lcSetup, "map service already started");
        return false;
    }
    auto setup = std::make_unique<MapServiceSetup>(options);
    if (!setup->startServices(true))
        return false;
    sharedSetup() = std::move(setup);
    return true;
}

void MapServiceSetup::stop() { sharedSetup().reset(); }

MapServiceSetup* MapServiceSetup::instance() { return sharedSetup().get(); }
