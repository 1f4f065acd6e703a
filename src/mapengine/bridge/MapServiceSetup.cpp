#include "MapServiceSetup.h"

#include "Clock.h"

#include "GMSCoreClientParameters.h"
#include "GMSDASHConnection.h"
#include "GMSDASHProtobufferRequest.h"
#include "GMSDASHTileService.h"
#include "GMSServiceTileSource.h"
#include "GMSNetworkStyleTableFetcher.h"
#include "GMSServices.h"
#include "GMSStyleTableService.h"
#include "GMSTileDiskCaches.h"
#include "GMSTileRequestCoordinator.h"
#include "GMSUserDefaults.h"

#include <QDir>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMutex>
#include <QNetworkInformation>
#include <QPointer>
#include <QThread>

namespace {
Q_LOGGING_CATEGORY(lcSetup, "zenloft.mapservice")

// The layers the view draws and the map service's tile types behind them.
const std::vector<std::pair<GMSTileLayerType, int>> kLayerTileTypes = {
    {GMSTileLayerType::Roadmap, 0},
    {GMSTileLayerType::Satellite, 1},
    {GMSTileLayerType::Terrain, 2},
    {GMSTileLayerType::Labels, 3},
};

// The map styles whose decoded tables stay in memory.
const QList<int> kMapStyles = {0, 1, 2, 3};

// The style table service's view of the client parameters: a copy taken on
// the GUI thread at each change, read from the service's work queue.
class StyleTableParameters : public GMSStyleTableClientParameters {
public:
    explicit StyleTableParameters(GMSCoreClientParameters* params) : m_params(params) {}

    void update()
    {
        GMSStyleTableEpochResources r;
        r.epoch = m_params->paintEpoch();
        for (const auto& m : m_params->styleTableMappingArray())
            r.styleTableMappingArray.append({m.URL.toString(), m.styleTableFormat, m.mapStyle});
        QMutexLocker l(&m_lock);
        m_current = std::move(r);
    }
    GMSStyleTableEpochResources currentEpochResources() const override
    {
        QMutexLocker l(&m_lock);
        return m_current;
    }
    void refetchClientParametersExpectingPaintEpoch(qint32 epoch) override
    {
        // Called on the style tables' queue; the parameters live on the GUI thread.
        if (!m_params)
            return;
        QMetaObject::invokeMethod(
            m_params.data(),
            [params = m_params, epoch] {
                if (params)
                    params->refetchClientParametersExpectingPaintEpoch(epoch);
            },
            Qt::QueuedConnection);
    }

private:
    QPointer<GMSCoreClientParameters> m_params;
    mutable QMutex m_lock;
    GMSStyleTableEpochResources m_current;
};
}  // namespace

const QString MapServiceSetup::kEngineVersion = QStringLiteral("3.0.0.0");
const QString MapServiceSetup::kLastRunCoreVersionKey = QStringLiteral("GMSCoreLastRunVersion");
const QString MapServiceSetup::kLastRunSDKVersionKey = QStringLiteral("GMSSDKLastRunVersion");

struct MapServiceSetup::Impl {
    MapServiceOptions options;
    std::unique_ptr<GMSSettingsUserDefaults> defaults;
    std::shared_ptr<zl::Clock> clock;
    std::unique_ptr<GMSDASHConnection> connection;
    std::unique_ptr<GMSTileDiskCaches> diskCaches;
    QThread workThread;
    QObject* workQueue = nullptr;
    std::unique_ptr<GMSCoreClientParameters> params;
    std::shared_ptr<StyleTableParameters> styleTableParameters;
    std::unique_ptr<GMSStyleTableService> styleTables;
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
    // The paint route's settings go to every tile service as soon as the
    // parameters (saved or fetched) are known.
    void applyPaintParameters()
    {
        const QUrl paintServer = params->paintServerBaseURL();
        const QByteArray key = params->requestSigningKey();
        const QSet<int> directToPaint = params->directToPaintEnabledTileTypes();
        for (auto& [layer, service] : services) {
            service->setPaintServer(paintServer, key);
            service->setDirectToPaint(directToPaint.contains(service->options().tileType.mapTileType));
        }
    }
    void clientParametersChanged(const QList<int>& changed)
    {
        styleTableParameters->update();
        styleTables->clientParametersNotification(changed);
        applyPaintParameters();
        if (queuesStarted)
            applyParameters();
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
    // Handed in by the app, which outlives the setup.
    d->clock = std::shared_ptr<zl::Clock>(d->options.clock ? d->options.clock : &zl::Clock::system(),
                                          [](zl::Clock*) {});
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
    // Then the style tables, whose epoch the tile services read on that
    // queue: theirs finishes what is posted (a refetch it asks for is
    // queued to the parameters, still alive), later network answers are
    // dropped.
    d->styleTables.reset();
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
    if (install) {
        // The key was given to GMSServices by the app; without it there is
        // no map to draw tiles for.
        auto* services = GMSServices::sharedServices();
        if (!services)
            return false;
        if (services->hasInstalledTileSource()) {
            qCWarning(lcSetup, "map service already started");
            return false;
        }
    }
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
    std::vector<int> types;
    for (const auto& [layer, type] : kLayerTileTypes)
        types.push_back(type);
    d->diskCaches = std::make_unique<GMSTileDiskCaches>(o.cacheDir, lastRun, types, clock.get());

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
                                                          QDir(o.cacheDir).filePath("ServerControlledParams"), clock.get());
    d->params->setServiceEndpoint(o.endpoint);

    d->styleTableParameters = std::make_shared<StyleTableParameters>(d->params.get());
    d->styleTables = std::make_unique<GMSStyleTableService>(
        std::make_shared<GMSNetworkStyleTableFetcher>(),
        GMSCacheStorageDescriptor::cacheStorageDescriptorForName(kGMSObjectsCacheName, kGMSObjectsCacheBoundaryVersion,
                                                                 o.cacheDir, lastRun),
        kMapStyles, std::shared_ptr<GMSStyleTableServiceResourceLoader>(), &GMSLazyMultiZoomStyleTable::tableFromData,
        d->clock.get());
    d->styleTables->setClientParameters(d->styleTableParameters);

    for (const auto& [layer, type] : kLayerTileTypes) {
        GMSDASHTileServiceOptions so;
        so.tileType.mapTileType = type;
        so.tileType.dataType = 0;
        so.tileType.paintTileType = type;
        so.dashEndpointURL = o.endpoint;
        so.tileEdgeLength = o.tileEdgeLength;
        so.screenScale = o.screenScale;
        so.maxRequestsPerBatch = int(connection->batchSize());
        d->services[layer] = GMSDASHTileService::create(
            so, d->workQueue, [connection](const std::shared_ptr<GMSDASHRequest>& r) { connection->sendRequest(r); },
            d->clock.get(), d->diskCaches->cacheForType(type));
        GMSStyleTableService* styleTables = d->styleTables.get();
        d->services[layer]->setTileEpochStalenessCheck([styleTables](const GMSTile& tile) {
            // Tiles that carry an epoch are drawn with the global styles.
            return styleTables->isTileEpochStale(tile.majorEpoch != -1, tile.majorEpoch);
        });
    }
    d->coordinator = std::make_shared<GMSTileRequestCoordinator>(16);
    d->source = std::make_unique<GMSServiceTileSource>(d->services, d->coordinator);

    QObject* context = d->params.get();
    QObject::connect(d->params.get(), &GMSClientParameters::kGMSClientParametersUpdated, context,
                     [impl](const QList<int>& changed) { impl->clientParametersChanged(changed); });
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
        GMSServices::sharedServices()->setTileSource(d->source.get());
        d->installed = true;
    }
    return true;
}

bool MapServiceSetup::isReady() const { return d->queuesStarted; }
GMSServiceTileSource* MapServiceSetup::tileSource() const { return d->source.get(); }
GMSCoreClientParameters* MapServiceSetup::clientParameters() const { return d->params.get(); }
GMSStyleTableService* MapServiceSetup::styleTableService() const { return d->styleTables.get(); }

GMSDASHTileService* MapServiceSetup::tileServiceForType(int mapTileType) const
{
    for (const auto& [layer, service] : d->services)
        if (service->options().tileType.mapTileType == mapTileType)
            return service.get();
    return nullptr;
}
GMSDASHConnection* MapServiceSetup::connection() const { return d->connection.get(); }
