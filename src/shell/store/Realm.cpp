#include "Realm.h"

#include "Clock.h"

#include <QDebug>
#include <QFile>
#include <QSet>

#include <mutex>

namespace zl::store {

namespace {

const TableSchema kPoints{QStringLiteral("realm_ptp"),
                          {"name", "ptp_description", "latitude", "longitude", "markerRed", "markerGreen",
                           "markerBlue", "id"}};
const TableSchema kTracks{QStringLiteral("realmValidation_tracks"),
                          {"id", "dateStart", "dateStop", "desc", "distance", "colorRed", "colorGreen", "colorBlue"}};
const TableSchema kTrackData{QStringLiteral("realmValidation_tracksData"), {"id", "date", "latitude", "longitude"}};

QVariant dateValue(const QDateTime& d) { return QVariant(d.toMSecsSinceEpoch()); }
QDateTime dateFrom(const QVariant& v) { return QDateTime::fromMSecsSinceEpoch(v.toLongLong(), Qt::UTC); }

Row rowOf(const realm_ptp& p) {
    return {p.name, p.ptp_description, p.latitude, p.longitude, p.markerRed, p.markerGreen, p.markerBlue, p.id};
}
Row rowOf(const realmValidation_tracks& t) {
    return {t.id, dateValue(t.dateStart), dateValue(t.dateStop), t.desc, t.distance, t.colorRed, t.colorGreen,
            t.colorBlue};
}
Row rowOf(const realmValidation_tracksData& d) { return {d.id, dateValue(d.date), d.latitude, d.longitude}; }

// The schema this program writes, one step per version.
constexpr int kSchemaVersion = 1;
constexpr zl::sqlite::MigrationStep kRealmSchema[] = {
    {":/zenloft/store/realm_v1.sql"},
};
static_assert(std::size(kRealmSchema) == kSchemaVersion, "every schema version has its step");

}  // namespace

// The default store's content, mirrored in memory and written behind.
class RealmStore {
public:
    explicit RealmStore(const QString& path)
        : file(path, {kPoints, kTracks, kTrackData}, kRealmSchema) {
        file.setFailureHandler([](const QString& error) { qWarning().noquote() << "Realm write failed:" << error; });
    }

    bool load(QString* error) {
        LoadResult r = file.load().get();
        if (!r.ok) {
            if (error) *error = QStringLiteral("The store %1 could not be opened: %2").arg(file.path(), r.error);
            return false;
        }
        for (const StoredRow& s : r.tables[kPoints.name]) {
            realm_ptp p;
            p.pk = s.pk;
            p.name = s.values.value(0).toString();
            p.ptp_description = s.values.value(1).toString();
            p.latitude = s.values.value(2).toDouble();
            p.longitude = s.values.value(3).toDouble();
            p.markerRed = s.values.value(4).toLongLong();
            p.markerGreen = s.values.value(5).toLongLong();
            p.markerBlue = s.values.value(6).toLongLong();
            p.id = s.values.value(7).toString();
            points << p;
            nextPk = std::max(nextPk, s.pk + 1);
        }
        for (const StoredRow& s : r.tables[kTracks.name]) {
            realmValidation_tracks t;
            t.pk = s.pk;
            t.id = s.values.value(0).toString();
            t.dateStart = dateFrom(s.values.value(1));
            t.dateStop = dateFrom(s.values.value(2));
            t.desc = s.values.value(3).toString();
            t.distance = s.values.value(4).toDouble();
            t.colorRed = s.values.value(5).toLongLong();
            t.colorGreen = s.values.value(6).toLongLong();
            t.colorBlue = s.values.value(7).toLongLong();
            tracks << t;
            nextPk = std::max(nextPk, s.pk + 1);
        }
        for (const StoredRow& s : r.tables[kTrackData.name]) {
            realmValidation_tracksData d;
            d.pk = s.pk;
            d.id = s.values.value(0).toString();
            d.date = dateFrom(s.values.value(1));
            d.latitude = s.values.value(2).toDouble();
            d.longitude = s.values.value(3).toDouble();
            trackData << d;
            nextPk = std::max(nextPk, s.pk + 1);
        }
        return true;
    }

    StoreFile file;
    std::recursive_mutex mutex;
    QList<realm_ptp> points;
    QList<realmValidation_tracks> tracks;
    QList<realmValidation_tracksData> trackData;
    qint64 nextPk = 1;
};

}  // namespace zl::store

using namespace zl::store;

namespace {

template <class T>
void replaceByPk(QList<T>& list, const T& record) {
    for (T& item : list)
        if (item.pk == record.pk) {
            item = record;
            return;
        }
}

template <class T>
void removeByPk(QList<T>& list, qint64 pk) {
    list.removeIf([pk](const T& item) { return item.pk == pk; });
}

void logRealmError(const QString& error) { qDebug().noquote() << error; }

}  // namespace

// ---- Realm

// ---- RealmConfiguration

RealmConfiguration::RealmConfiguration(QString path, zl::Clock* clock)
    : path_(std::move(path)), clock_(clock ? clock : &zl::Clock::system()) {}

RealmConfiguration::~RealmConfiguration() = default;

std::shared_ptr<Realm> RealmConfiguration::open(QString* error) {
    std::lock_guard lock(mutex_);
    if (path_.isEmpty()) {
        if (error) *error = QStringLiteral("no store location set");
        return nullptr;
    }
    if (!store_) {
        auto store = std::make_shared<RealmStore>(path_);
        if (!store->load(error)) return nullptr;  // tried again at the next open
        store_ = store;
    }
    return std::make_shared<Realm>(store_, *clock_);
}

bool RealmConfiguration::flush() {
    std::shared_ptr<RealmStore> store;
    {
        std::lock_guard lock(mutex_);
        store = store_;
    }
    return store ? store->file.flush() : true;
}

void RealmConfiguration::reset() {
    std::lock_guard lock(mutex_);
    store_.reset();
}

void RealmConfiguration::syncOnQueue(const std::function<void()>& work) {
    zl::SerialQueue* queue;
    {
        std::lock_guard lock(mutex_);
        if (!queue_) queue_ = std::make_unique<zl::SerialQueue>(queueLabel());
        queue = queue_.get();
    }
    queue->sync(work);
}

// The label the queue carries whether or not it was built yet.
QString RealmConfiguration::queueLabel() const { return QStringLiteral("realmQueue"); }

// ---- Realm

Results<realm_ptp> Realm::points() const {
    std::lock_guard lock(store_->mutex);
    return Results<realm_ptp>(store_->points);
}

Results<realmValidation_tracks> Realm::tracks() const {
    std::lock_guard lock(store_->mutex);
    return Results<realmValidation_tracks>(store_->tracks);
}

Results<realmValidation_tracksData> Realm::trackPoints() const {
    std::lock_guard lock(store_->mutex);
    return Results<realmValidation_tracksData>(store_->trackData);
}

bool Realm::write(const std::function<bool(Realm&, QString*)>& body, QString* error) {
    std::lock_guard lock(store_->mutex);
    // Work on copies, so that a refused write leaves the store as it was.
    const auto points = store_->points;
    const auto tracks = store_->tracks;
    const auto data = store_->trackData;
    const qint64 nextPk = store_->nextPk;
    WriteBatch batch;
    batch_ = &batch;
    const bool ok = body(*this, error);
    batch_ = nullptr;
    if (!ok) {
        store_->points = points;
        store_->tracks = tracks;
        store_->trackData = data;
        store_->nextPk = nextPk;
        return false;
    }
    store_->file.submit(std::move(batch));
    return true;
}

void Realm::add(realm_ptp& record) {
    record.pk = store_->nextPk++;
    store_->points << record;
    if (batch_) batch_->push_back({WriteOp::Insert, kPoints.name, record.pk, rowOf(record)});
}

bool Realm::add(realmValidation_tracks& record, QString* error) {
    if (!record.dateStart.isValid()) record.dateStart = clock_.now();
    if (!record.dateStop.isValid()) record.dateStop = record.dateStart;
    for (const auto& t : store_->tracks)
        if (t.id == record.id) {
            if (error)
                *error = QStringLiteral("Attempting to create an object of type 'realmValidation_tracks' with an "
                                        "existing primary key value '%1'.")
                             .arg(record.id);
            return false;
        }
    record.pk = store_->nextPk++;
    store_->tracks << record;
    if (batch_) batch_->push_back({WriteOp::Insert, kTracks.name, record.pk, rowOf(record)});
    return true;
}

void Realm::add(realmValidation_tracksData& record) {
    if (!record.date.isValid()) record.date = clock_.now();
    record.pk = store_->nextPk++;
    store_->trackData << record;
    if (batch_) batch_->push_back({WriteOp::Insert, kTrackData.name, record.pk, rowOf(record)});
}

void Realm::update(const realm_ptp& record) {
    replaceByPk(store_->points, record);
    if (batch_) batch_->push_back({WriteOp::Update, kPoints.name, record.pk, rowOf(record)});
}

void Realm::update(const realmValidation_tracks& record) {
    replaceByPk(store_->tracks, record);
    if (batch_) batch_->push_back({WriteOp::Update, kTracks.name, record.pk, rowOf(record)});
}

void Realm::remove(const realm_ptp& record) {
    removeByPk(store_->points, record.pk);
    if (batch_) batch_->push_back({WriteOp::Delete, kPoints.name, record.pk, {}});
}

void Realm::remove(const Results<realm_ptp>& records) {
    QSet<qint64> pks;
    pks.reserve(records.count());
    for (const realm_ptp& r : records) {
        pks.insert(r.pk);
        if (batch_) batch_->push_back({WriteOp::Delete, kPoints.name, r.pk, {}});
    }
    store_->points.removeIf([&pks](const realm_ptp& p) { return pks.contains(p.pk); });
}

void Realm::remove(const realmValidation_tracks& record) {
    removeByPk(store_->tracks, record.pk);
    if (batch_) batch_->push_back({WriteOp::Delete, kTracks.name, record.pk, {}});
}

void Realm::remove(const realmValidation_tracksData& record) {
    removeByPk(store_->trackData, record.pk);
    if (batch_) batch_->push_back({WriteOp::Delete, kTrackData.name, record.pk, {}});
}

// ---- record values by key

QVariant realm_ptp::value(const QString& key) const {
    if (key == u"name") return name;
    if (key == u"ptp_description") return ptp_description;
    if (key == u"latitude") return latitude;
    if (key == u"longitude") return longitude;
    if (key == u"markerRed") return markerRed;
    if (key == u"markerGreen") return markerGreen;
    if (key == u"markerBlue") return markerBlue;
    if (key == u"id") return id;
    return {};
}

QVariant realmValidation_tracks::value(const QString& key) const {
    if (key == u"id") return id;
    if (key == u"dateStart") return dateStart;
    if (key == u"dateStop") return dateStop;
    if (key == u"desc") return desc;
    if (key == u"distance") return distance;
    if (key == u"colorRed") return colorRed;
    if (key == u"colorGreen") return colorGreen;
    if (key == u"colorBlue") return colorBlue;
    return {};
}

QVariant realmValidation_tracksData::value(const QString& key) const {
    if (key == u"id") return id;
    if (key == u"date") return date;
    if (key == u"latitude") return latitude;
    if (key == u"longitude") return longitude;
    return {};
}

// ---- class-level operations

namespace {

// Opens the default store and runs one write; failures go to the debug log
// and the operation is dropped.
void writeOrLog(RealmConfiguration& config, const std::function<bool(Realm&, QString*)>& body) {
    QString error;
    auto realm = config.open(&error);
    if (!realm) {
        logRealmError(error);
        return;
    }
    if (!realm->write(body, &error) && !error.isEmpty()) logRealmError(error);
}

template <class T>
std::optional<T> exactlyOne(const Results<T>& hits) {
    if (hits.count() != 1) return std::nullopt;
    return hits[0];
}

}  // namespace

void realm_ptp::addPoint(RealmConfiguration& config, const QString& name, const QString& ptp_description,
                         double latitude, double longitude, qint64 red, qint64 green, qint64 blue, const QString& id) {
    config.syncOnQueue([&] {
        writeOrLog(config, [&](Realm& realm, QString*) {
            realm_ptp p;
            p.name = name;
            p.ptp_description = ptp_description;
            p.latitude = latitude;
            p.longitude = longitude;
            p.markerRed = red;
            p.markerGreen = green;
            p.markerBlue = blue;
            p.id = id;
            realm.add(p);
            return true;
        });
    });
}

void realm_ptp::updatePoint(RealmConfiguration& config, const QString& id, const QString& name,
                            const QString& ptp_description, double latitude, double longitude, qint64 red,
                            qint64 green, qint64 blue) {
    qDebug().noquote() << id;
    writeOrLog(config, [&](Realm& realm, QString*) {
        auto hit = exactlyOne(realm.points().filter(QStringLiteral("id = %@"), id));
        if (!hit) return true;
        hit->markerRed = red;
        hit->markerGreen = green;
        hit->markerBlue = blue;
        hit->ptp_description = ptp_description;
        hit->name = name;
        hit->latitude = latitude;
        hit->longitude = longitude;
        realm.update(*hit);
        return true;
    });
}

bool realm_ptp::deletePoint(RealmConfiguration& config, const QString& id) {
    bool deleted = false;
    writeOrLog(config, [&](Realm& realm, QString*) {
        if (auto hit = exactlyOne(realm.points().filter(QStringLiteral("id = %@"), id))) {
            realm.remove(*hit);
            deleted = true;
        }
        return true;
    });
    return deleted;
}

void realmValidation_tracks::addTrack(RealmConfiguration& config, const QString& id, const QString& desc,
                                      qint64 red, qint64 green, qint64 blue) {
    writeOrLog(config, [&](Realm& realm, QString* error) {
        realmValidation_tracks t;
        t.id = id;
        t.desc = desc;
        t.distance = 0.0;
        t.colorRed = red;
        t.colorGreen = green;
        t.colorBlue = blue;
        return realm.add(t, error);
    });
}

void realmValidation_tracks::updateTrack(RealmConfiguration& config, const QString& id, const QString& desc,
                                         qint64 red, qint64 green, qint64 blue) {
    writeOrLog(config, [&](Realm& realm, QString*) {
        auto hit = exactlyOne(realm.tracks().filter(QStringLiteral("id = %@"), id));
        if (!hit) return true;
        hit->colorRed = red;
        hit->colorGreen = green;
        hit->colorBlue = blue;
        hit->desc = desc;
        realm.update(*hit);
        return true;
    });
}

void realmValidation_tracks::finishTrack(RealmConfiguration& config, const QString& id, double distance) {
    writeOrLog(config, [&](Realm& realm, QString*) {
        auto hit = exactlyOne(realm.tracks().filter(QStringLiteral("id = %@"), id));
        if (!hit) return true;
        hit->dateStop = config.clock().now();
        hit->distance = distance;
        realm.update(*hit);
        return true;
    });
}

void realmValidation_tracks::deleteTrack(RealmConfiguration& config, const QString& id) {
    writeOrLog(config, [&](Realm& realm, QString*) {
        if (auto hit = exactlyOne(realm.tracks().filter(QStringLiteral("id = %@"), id))) realm.remove(*hit);
        return true;
    });
}

QList<realmValidation_tracks> realmValidation_tracks::trackById(RealmConfiguration& config, const QString& id) {
    QString error;
    auto realm = config.open(&error);
    if (!realm) {
        logRealmError(error);
        return {};
    }
    return realm->tracks().filter(QStringLiteral("id = %@"), id).toList();
}

void realmValidation_tracksData::addTrackPoint(RealmConfiguration& config, const QString& id, double latitude,
                                               double longitude) {
    writeOrLog(config, [&](Realm& realm, QString*) {
        realmValidation_tracksData d;
        d.id = id;
        d.latitude = latitude;
        d.longitude = longitude;
        realm.add(d);
        return true;
    });
}

QList<realmValidation_tracksData> realmValidation_tracksData::pointsOfTrack(RealmConfiguration& config,
                                                                          const QString& id) {
    QString error;
    auto realm = config.open(&error);
    if (!realm) {
        logRealmError(error);
        return {};
    }
    return realm->trackPoints().filter(QStringLiteral("id = %@"), id).toList();
}
