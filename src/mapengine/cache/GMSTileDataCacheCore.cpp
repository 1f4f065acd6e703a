#include "GMSTileDataCacheCore.h"

#include "Clock.h"

#include "GMSCacheLog.h"

#include <algorithm>
#include <vector>

using zl::sqlite::Reset;
using zl::sqlite::Statement;
using zl::sqlite::Transaction;

namespace {
// Touches are kept in memory and written with the next save; this many
// unsaved touches are written on their own.
constexpr qint64 kMaxUnsavedTouches = 8192;

const char* const kSelectIndex =
    "SELECT id, zoom, xCoord, yCoord, touched, validationTime, perTileEpoch, serverPerTileEpoch, size, versionID "
    "FROM GMSCachedTile WHERE type = ? ORDER BY touched DESC, id DESC";
const char* const kSelectProto = "SELECT data FROM GMSCachedTileProtoBlob WHERE tile = ?";
const char* const kSelectBlob = "SELECT data FROM GMSCachedTileBlob WHERE tile = ?";
const char* const kInsertTile =
    "INSERT INTO GMSCachedTile (type, zoom, xCoord, yCoord, touched, validationTime, perTileEpoch, "
    "serverPerTileEpoch, size, versionID) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
const char* const kUpdateTile =
    "UPDATE GMSCachedTile SET touched = ?, validationTime = ?, perTileEpoch = ?, serverPerTileEpoch = ?, "
    "size = ?, versionID = ? WHERE id = ?";
const char* const kUpdateValidation = "UPDATE GMSCachedTile SET validationTime = ? WHERE id = ?";
const char* const kUpdateTouched = "UPDATE GMSCachedTile SET touched = ? WHERE id = ?";
const char* const kReplaceProto = "INSERT OR REPLACE INTO GMSCachedTileProtoBlob (tile, data) VALUES (?, ?)";
const char* const kReplaceBlob = "INSERT OR REPLACE INTO GMSCachedTileBlob (tile, data) VALUES (?, ?)";
const char* const kDeleteTile = "DELETE FROM GMSCachedTile WHERE id = ?";
const char* const kDeleteProto = "DELETE FROM GMSCachedTileProtoBlob WHERE tile = ?";
const char* const kDeleteBlob = "DELETE FROM GMSCachedTileBlob WHERE tile = ?";
const char* const kSelectProperties = "SELECT key, value FROM GMSCacheProperty";
const char* const kReplaceProperty = "INSERT OR REPLACE INTO GMSCacheProperty (key, value) VALUES (?, ?)";
const char* const kDeleteProperty = "DELETE FROM GMSCacheProperty WHERE key = ?";

}  // namespace

GMSTileDataCacheCore::GMSTileDataCacheCore(int tileType, qint64 maxCount, qint64 maxSize, const zl::Clock* clock)
    : m_tileType(tileType), m_maxCount(maxCount), m_maxSize(maxSize), m_clock(clock) {}

GMSTileDataCacheCore::~GMSTileDataCacheCore() {
    if (m_storage) flushTouched();
}

bool GMSTileDataCacheCore::start(std::unique_ptr<GMSCacheStorage> storage) {
    m_storage = std::move(storage);
    if (!m_storage) return false;
    if (!readIndex() || !readProperties()) {
        m_storage.reset();
        m_tiles.clear();
        m_cacheSize = 0;
        return false;
    }
    removeExpiredTilesIfNecessary();
    return true;
}

bool GMSTileDataCacheCore::readIndex() {
    m_tiles.clear();
    m_cacheSize = 0;
    m_dirtyTouches = 0;
    m_nextValidationTimeMS = -1;
    Statement* s = db().statement(kSelectIndex);
    if (!s) {
        qCWarning(lcMapCache, "Core Data fetch failed: %s", qUtf8Printable(db().error()));
        return false;
    }
    Reset r(*s);
    s->bind(1, m_tileType);
    qint64 maxTouched = 0;
    // Youngest first, so each row goes in at the old end.
    while (s->step()) {
        Row row;
        row.id = s->int64(0);
        const GMSCacheTileKey key{qint32(s->int64(1)), qint32(s->int64(2)), qint32(s->int64(3))};
        row.touched = s->int64(4);
        row.validationTime = s->int64(5);
        row.perTileEpoch = qint32(s->int64(6));
        row.serverPerTileEpoch = qint32(s->int64(7));
        row.size = s->int64(8);
        row.versionID = s->text(9);
        maxTouched = std::max(maxTouched, row.touched);
        m_cacheSize += row.size;
        m_tiles.putOldest(key, std::move(row));
    }
    if (s->failed()) {
        qCWarning(lcMapCache, "Core Data fetch failed: %s", qUtf8Printable(db().error()));
        return false;
    }
    m_nextTouched = maxTouched + 1;
    return true;
}

bool GMSTileDataCacheCore::readProperties() {
    m_properties.clear();
    Statement* s = db().statement(kSelectProperties);
    if (!s) return false;
    Reset r(*s);
    while (s->step()) {
        m_properties.insert(s->text(0), s->value(1));
    }
    return !s->failed();
}

std::optional<GMSCachedTileData> GMSTileDataCacheCore::loadTile(const GMSCacheTileKey& key) {
    return loadTiles({key}).value(0);
}

QList<std::optional<GMSCachedTileData>> GMSTileDataCacheCore::loadTiles(const QList<GMSCacheTileKey>& keys) {
    QList<std::optional<GMSCachedTileData>> out(keys.size());
    if (!m_storage) return out;
    removeExpiredTilesIfNecessary();
    // One snapshot for the lot: the store's locks are taken once.
    const bool batch = keys.size() > 1 && db().exec(QStringLiteral("BEGIN"));
    for (qsizetype i = 0; i < keys.size() && m_storage; ++i) out[i] = readTile(keys[i]);
    if (batch) db().exec(QStringLiteral("COMMIT"));
    if (m_dirtyTouches >= kMaxUnsavedTouches) flushTouched();
    return out;
}

std::optional<GMSCachedTileData> GMSTileDataCacheCore::readTile(const GMSCacheTileKey& key) {
    Row* row = m_tiles.find(key);
    if (!row) {
        ++missCounter;
        return std::nullopt;
    }
    const bool proto = !row->versionID.isEmpty();
    Statement* s = db().statement(proto ? kSelectProto : kSelectBlob);
    GMSCachedTileData out;
    bool haveBytes = false;
    if (s) {
        Reset r(*s);
        s->bind(1, row->id);
        if (s->step()) {
            out.data = s->blob(0);
            haveBytes = true;
        }
    }
    if (!haveBytes) {
        // The row lost its bytes (another cache cleared the store under us):
        // forget it, as a miss.
        m_cacheSize -= row->size;
        dropFromIndex(key);
        ++missCounter;
        return std::nullopt;
    }
    touch(key, *row);
    ++hitCounter;
    out.found = true;
    out.validationTime = row->validationTime;
    out.versionID = row->versionID;
    out.perTileEpoch = row->perTileEpoch;
    out.serverPerTileEpoch = row->serverPerTileEpoch;
    return out;
}

void GMSTileDataCacheCore::touch(const GMSCacheTileKey& key, Row& row) {
    m_tiles.touch(key);
    row.touched = m_nextTouched++;
    if (!row.touchDirty) {
        row.touchDirty = true;
        ++m_dirtyTouches;
    }
}

void GMSTileDataCacheCore::touchTile(const GMSCacheTileKey& key) {
    if (Row* row = m_tiles.find(key)) touch(key, *row);
    if (m_dirtyTouches >= kMaxUnsavedTouches) flushTouched();
}

bool GMSTileDataCacheCore::writeDirtyTouches() {
    if (m_dirtyTouches == 0) return true;
    Statement* s = db().statement(kUpdateTouched);
    if (!s) return false;
    // Only rows touched since the last save carry the flag; they sit at the
    // young end of the order, so the walk stops once all are found.
    qint64 left = m_dirtyTouches;
    for (const auto& [key, row] : m_tiles) {
        if (left == 0) break;
        if (!row.touchDirty) continue;
        s->bind(1, row.touched);
        s->bind(2, row.id);
        if (!zl::sqlite::run(s)) return false;
        --left;
    }
    return true;
}

bool GMSTileDataCacheCore::flushTouched() {
    if (!m_storage || m_dirtyTouches == 0) return true;
    Transaction t(db());
    if (!t.isActive() || !writeDirtyTouches() || !t.commit()) {
        // Touches only order the LRU: losing them costs nothing but order.
        qCDebug(lcMapCache) << "could not save touches:" << db().error();
        return false;
    }
    clearDirtyTouches();
    return true;
}

void GMSTileDataCacheCore::clearDirtyTouches() {
    for (auto& [key, row] : m_tiles) {
        if (m_dirtyTouches == 0) break;
        if (row.touchDirty) {
            row.touchDirty = false;
            --m_dirtyTouches;
        }
    }
    m_dirtyTouches = 0;
}

bool GMSTileDataCacheCore::storeCacheableTileDatas(const QList<GMSCacheableTileData>& items) {
    if (!m_storage) return false;
    Transaction t(db());
    if (!t.isActive()) {
        qCWarning(lcMapCache, "could not save tiles: %s", qUtf8Printable(db().error()));
        return false;
    }
    for (const GMSCacheableTileData& item : items) {
        if (!storeOne(item)) {
            recover("could not save tiles");
            return false;
        }
    }
    removeExpiredTilesIfNecessary();
    pruneCache();
    if (!writeDirtyTouches() || !t.commit()) {
        recover("could not save tiles");
        return false;
    }
    clearDirtyTouches();
    return true;
}

bool GMSTileDataCacheCore::storeOne(const GMSCacheableTileData& item) {
    Row* row = m_tiles.find(item.coords);
    if (item.isEmptyCacheMarker) {
        if (!row) return true;
        Statement* s = db().statement(kUpdateValidation);
        if (!s) return false;
        s->bind(1, item.validationTime);
        s->bind(2, row->id);
        if (!zl::sqlite::run(s)) return false;
        row->validationTime = item.validationTime;
        return true;
    }
    const bool proto = !item.versionID.isEmpty();
    if (row && row->versionID.isEmpty() == proto) {
        // Stored in the other form: that row goes, a new one comes.
        if (!deleteRowFromStore(row->id)) return false;
        m_cacheSize -= row->size;
        dropFromIndex(item.coords);
        row = nullptr;
    }
    if (!row) return insertRow(item);

    Statement* s = db().statement(kUpdateTile);
    if (!s) return false;
    const qint64 touched = m_nextTouched++;
    s->bind(1, touched);
    s->bind(2, item.validationTime);
    s->bind(3, item.perTileEpoch);
    s->bind(4, item.serverPerTileEpoch);
    s->bind(5, qint64(item.data.size()));
    if (proto) s->bind(6, item.versionID); else s->bindNull(6);
    s->bind(7, row->id);
    if (!zl::sqlite::run(s) || !writeBlob(row->id, proto, item.data)) return false;
    m_cacheSize += item.data.size() - row->size;
    row->size = item.data.size();
    row->validationTime = item.validationTime;
    row->perTileEpoch = item.perTileEpoch;
    row->serverPerTileEpoch = item.serverPerTileEpoch;
    row->versionID = item.versionID;
    m_tiles.touch(item.coords);
    row->touched = touched;
    if (m_nextValidationTimeMS >= 0) m_nextValidationTimeMS = std::min(m_nextValidationTimeMS, item.validationTime);
    return true;
}

bool GMSTileDataCacheCore::insertRow(const GMSCacheableTileData& item) {
    Statement* s = db().statement(kInsertTile);
    if (!s) return false;
    const bool proto = !item.versionID.isEmpty();
    Row row;
    row.touched = m_nextTouched++;
    row.validationTime = item.validationTime;
    row.perTileEpoch = item.perTileEpoch;
    row.serverPerTileEpoch = item.serverPerTileEpoch;
    row.size = item.data.size();
    row.versionID = proto ? item.versionID : QString();
    s->bind(1, m_tileType);
    s->bind(2, item.coords.zoom);
    s->bind(3, item.coords.x);
    s->bind(4, item.coords.y);
    s->bind(5, row.touched);
    s->bind(6, row.validationTime);
    s->bind(7, row.perTileEpoch);
    s->bind(8, row.serverPerTileEpoch);
    s->bind(9, row.size);
    if (proto) s->bind(10, row.versionID); else s->bindNull(10);
    if (!zl::sqlite::run(s)) return false;
    row.id = db().lastInsertRowId();
    if (!writeBlob(row.id, proto, item.data)) return false;
    m_cacheSize += row.size;
    if (m_nextValidationTimeMS >= 0) m_nextValidationTimeMS = std::min(m_nextValidationTimeMS, row.validationTime);
    m_tiles.put(item.coords, std::move(row));
    return true;
}

bool GMSTileDataCacheCore::writeBlob(qint64 id, bool proto, const QByteArray& data) {
    // The other form's bytes, if any, go: a row has bytes in one form only.
    Statement* other = db().statement(proto ? kDeleteBlob : kDeleteProto);
    if (!other) return false;
    other->bind(1, id);
    if (!zl::sqlite::run(other)) return false;
    Statement* s = db().statement(proto ? kReplaceProto : kReplaceBlob);
    if (!s) return false;
    s->bind(1, id);
    s->bindBlob(2, data);
    return zl::sqlite::run(s);
}

bool GMSTileDataCacheCore::deleteRowFromStore(qint64 id) {
    for (const char* sql : {kDeleteProto, kDeleteBlob, kDeleteTile}) {
        Statement* s = db().statement(sql);
        if (!s) return false;
        s->bind(1, id);
        if (!zl::sqlite::run(s)) return false;
    }
    return true;
}

void GMSTileDataCacheCore::dropFromIndex(const GMSCacheTileKey& key) {
    if (const Row* row = m_tiles.find(key); row && row->touchDirty) --m_dirtyTouches;
    m_tiles.remove(key);
}

void GMSTileDataCacheCore::recover(const char* what) {
    qCWarning(lcMapCache, "%s: %s", what, qUtf8Printable(db().error()));
    if (db().inTransaction()) db().exec(QStringLiteral("ROLLBACK"));
    if (!readIndex()) {
        qCWarning(lcMapCache, "Failed to initialize tile cache storage, can't use disk caching.");
        m_storage.reset();
        m_tiles.clear();
        m_cacheSize = 0;
    }
}

bool GMSTileDataCacheCore::deleteTiles(const QList<GMSCacheTileKey>& keys) {
    if (!m_storage) return false;
    const bool ok = zl::sqlite::withTransaction(db(), [&] {
        for (const GMSCacheTileKey& key : keys) {
            const Row* row = m_tiles.find(key);
            if (!row) continue;
            if (!deleteRowFromStore(row->id)) return false;
            m_cacheSize -= row->size;
            dropFromIndex(key);
        }
        return writeDirtyTouches();
    });
    if (!ok) {
        recover("could not remove tiles");
        return false;
    }
    clearDirtyTouches();
    return true;
}

QSet<GMSCacheTileKey> GMSTileDataCacheCore::checkTileCoordsSet(
    const QSet<GMSCacheTileKey>& keys,
    const std::function<bool(const GMSCacheTileKey&, const GMSCachedTileInfo&)>& predicate) const {
    QSet<GMSCacheTileKey> out;
    for (const GMSCacheTileKey& key : keys) {
        const Row* row = m_tiles.find(key);
        if (!row) continue;
        const GMSCachedTileInfo info{row->touched, row->validationTime, row->perTileEpoch, row->serverPerTileEpoch,
                                     row->size, row->versionID};
        if (!predicate || predicate(key, info)) out.insert(key);
    }
    return out;
}

bool GMSTileDataCacheCore::deleteAll() {
    if (!m_storage) return false;
    const bool ok = zl::sqlite::withTransaction(db(), [&] {
        const QString type = QString::number(m_tileType);
        return db().exec(QStringLiteral("DELETE FROM GMSCachedTileProtoBlob WHERE tile IN "
                                        "(SELECT id FROM GMSCachedTile WHERE type = %1);"
                                        "DELETE FROM GMSCachedTileBlob WHERE tile IN "
                                        "(SELECT id FROM GMSCachedTile WHERE type = %1);"
                                        "DELETE FROM GMSCachedTile WHERE type = %1;")
                             .arg(type));
    });
    if (!ok) {
        recover("could not remove tiles");
        return false;
    }
    m_tiles.clear();
    m_cacheSize = 0;
    m_dirtyTouches = 0;
    m_nextValidationTimeMS = -1;
    return true;
}

bool GMSTileDataCacheCore::deleteAllExceptTypes(const QSet<int>& keptTypes) {
    if (!m_storage) return false;
    QStringList kept;
    for (int t : keptTypes) kept << QString::number(t);
    const QString where = kept.isEmpty() ? QStringLiteral("1") : QStringLiteral("type NOT IN (%1)").arg(kept.join(u','));
    const bool ok = zl::sqlite::withTransaction(db(), [&] {
        return db().exec(QStringLiteral("DELETE FROM GMSCachedTileProtoBlob WHERE tile IN "
                                        "(SELECT id FROM GMSCachedTile WHERE %1);"
                                        "DELETE FROM GMSCachedTileBlob WHERE tile IN "
                                        "(SELECT id FROM GMSCachedTile WHERE %1);"
                                        "DELETE FROM GMSCachedTile WHERE %1;")
                             .arg(where));
    });
    if (!ok) {
        recover("could not remove tiles");
        return false;
    }
    if (!keptTypes.contains(m_tileType)) {
        m_tiles.clear();
        m_cacheSize = 0;
        m_dirtyTouches = 0;
        m_nextValidationTimeMS = -1;
    }
    return true;
}

bool GMSTileDataCacheCore::invalidateTileEpochs() {
    if (!m_storage) return false;
    const bool ok = zl::sqlite::withTransaction(db(), [&] {
        return db().exec(QStringLiteral("UPDATE GMSCachedTile SET perTileEpoch = -1, serverPerTileEpoch = -1 "
                                        "WHERE type = %1")
                             .arg(m_tileType));
    });
    if (!ok) {
        recover("could not save tiles");
        return false;
    }
    for (auto& [key, row] : m_tiles) {
        row.perTileEpoch = -1;
        row.serverPerTileEpoch = -1;
    }
    return true;
}

bool GMSTileDataCacheCore::setProperty(const QString& key, const QVariant& value) {
    if (value.isValid()) m_properties.insert(key, value); else m_properties.remove(key);
    if (!m_storage) return false;
    Statement* s = db().statement(value.isValid() ? kReplaceProperty : kDeleteProperty);
    if (!s) return false;
    s->bind(1, key);
    if ((value.isValid() && !s->bindValue(2, value)) || !zl::sqlite::run(s)) {
        qCWarning(lcMapCache, "could not save: %s", qUtf8Printable(db().error()));
        return false;
    }
    return true;
}

void GMSTileDataCacheCore::setExpirationPeriodMS(qint64 periodMS) {
    if (periodMS == m_expirationPeriodMS) return;
    m_expirationPeriodMS = periodMS;
    // The bound found by the last scan was for the old period.
    m_nextValidationTimeMS = -1;
}

bool GMSTileDataCacheCore::removeExpiredTilesIfNecessary() {
    if (!m_storage || !m_clock || m_tiles.empty() || m_expirationPeriodMS < 0) return false;
    const qint64 t = m_clock->wallMs() - m_expirationPeriodMS;
    if (m_nextValidationTimeMS >= 0 && m_nextValidationTimeMS > t) return false;  // nothing can be old yet
    ++m_expirationScans;
    QList<GMSCacheTileKey> expired;
    qint64 oldest = -1;
    for (const auto& [key, row] : m_tiles) {
        if (row.validationTime < t)
            expired.append(key);
        else if (oldest < 0 || row.validationTime < oldest)
            oldest = row.validationTime;
    }
    m_nextValidationTimeMS = oldest;
    if (expired.isEmpty()) return false;
    const bool ok = zl::sqlite::withTransaction(db(), [&] {
        for (const GMSCacheTileKey& key : expired) {
            const Row* row = m_tiles.find(key);
            if (!deleteRowFromStore(row->id)) return false;
            m_cacheSize -= row->size;
            dropFromIndex(key);
        }
        return true;
    });
    if (!ok) recover("could not remove expired tiles");
    return ok;
}

bool GMSTileDataCacheCore::pruneCache() {
    if (!m_storage) return false;
    auto over = [&] {
        return (m_maxCount > 0 && qint64(m_tiles.size()) > m_maxCount) || (m_maxSize > 0 && m_cacheSize > m_maxSize);
    };
    if (!over()) return false;
    QList<GMSCacheTileKey> victims;
    qint64 count = qint64(m_tiles.size());
    qint64 size = m_cacheSize;
    for (auto it = m_tiles.rbegin(); it != m_tiles.rend(); ++it) {
        if (!((m_maxCount > 0 && count > m_maxCount) || (m_maxSize > 0 && size > m_maxSize))) break;
        victims.append(it->key);
        --count;
        size -= it->value.size;
    }
    if (victims.isEmpty()) return false;
    const bool ok = zl::sqlite::withTransaction(db(), [&] {
        for (const GMSCacheTileKey& key : victims) {
            const Row* row = m_tiles.find(key);
            if (!deleteRowFromStore(row->id)) return false;
            m_cacheSize -= row->size;
            dropFromIndex(key);
            ++ejectCounter;
        }
        return true;
    });
    if (!ok) recover("could not prune tiles");
    return ok;
}

GMSTileDataCacheStats GMSTileDataCacheCore::stats() const {
    GMSTileDataCacheStats s;
    s.count = qint64(m_tiles.size());
    s.cacheSize = m_cacheSize;
    s.nextValidationTimeMS = m_nextValidationTimeMS;
    s.expirationScans = m_expirationScans;
    s.hits = hitCounter;
    s.misses = missCounter;
    s.ejects = ejectCounter;
    s.hasStorage = m_storage != nullptr;
    return s;
}

QList<GMSCacheTileKey> GMSTileDataCacheCore::lruOrder() const { return m_tiles.keys<QList<GMSCacheTileKey>>(); }
