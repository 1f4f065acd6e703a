#include "GMSCacheStorage.h"

#include "GMSCacheLog.h"

#include <QDir>
#include <QMutex>

static void initCacheResources() { Q_INIT_RESOURCE(mapcache_schema); }

namespace {

// Stores open one at a time: two caches of one store must not both decide
// to rebuild it.
QMutex& storeOpeningLock() {
    static QMutex lock;
    return lock;
}

// migrations[i] takes the store from version i to i + 1.
constexpr zl::sqlite::MigrationStep migrations[] = {
    {":/mapengine/cache/GMSCacheStorage.sql"},  // 1: the whole schema
};
static_assert(std::size(migrations) == GMSCacheStorage::kSchemaVersion);

}  // namespace

std::unique_ptr<GMSCacheStorage> GMSCacheStorage::open(const GMSCacheStorageDescriptor& descriptor, bool* didReset) {
    QMutexLocker locker(&storeOpeningLock());
    if (didReset) *didReset = false;
    std::unique_ptr<GMSCacheStorage> s(new GMSCacheStorage(descriptor));
    QString error;
    if (s->openOnce(&error)) return s;

    // A cache may be dropped at any time: start it again empty.
    qCDebug(lcMapCache) << "rebuilding cache store" << descriptor.storePath() << "--" << error;
    s->m_db.close();
    QDir(descriptor.directoryPath()).removeRecursively();
    if (didReset) *didReset = true;
    error.clear();
    if (!s->openOnce(&error)) {
        qCWarning(lcMapCache, "Failed to create persistent store for %s -- %s",
                  qUtf8Printable(descriptor.storePath()), qUtf8Printable(error));
        return nullptr;
    }
    if (descriptor.resetHandler) descriptor.resetHandler();
    return s;
}

bool GMSCacheStorage::openOnce(QString* error) {
    initCacheResources();
    const QString dir = m_descriptor.directoryPath();
    if (!QDir().mkpath(dir)) {
        *error = QStringLiteral("cannot create folder");
        qCWarning(lcMapCache, "GMSCacheStorage failed to create directory %s -- %s", qUtf8Printable(dir),
                  qUtf8Printable(*error));
        return false;
    }
    if (!m_db.open(m_descriptor.storePath())) {
        *error = m_db.error();
        return false;
    }
    // WAL: readers of one store don't wait for a writer, and a commit is one
    // append. NORMAL sync keeps every committed batch across a crash of the
    // process (not across a power cut, which a cache may lose).
    if (!m_db.exec(QStringLiteral("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; "
                                  "PRAGMA foreign_keys = ON;")) ||
        !zl::sqlite::migrate(m_db, migrations)) {
        *error = m_db.error();
        m_db.close();
        return false;
    }
    // Walk the metadata tables once, so that a store damaged where the index
    // lives is rebuilt now rather than failing every later read.
    if (!m_db.exec(QStringLiteral("SELECT count(*) FROM GMSCachedTile; SELECT count(*) FROM GMSCachedObject; "
                                  "SELECT count(*) FROM GMSCacheProperty;"))) {
        *error = m_db.error();
        m_db.close();
        return false;
    }
    return true;
}
