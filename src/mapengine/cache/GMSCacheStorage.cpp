#include "GMSCacheStorage.h"

#include "GMSCacheLog.h"

#include <QDir>
#include <QFile>
#include <QMutex>

static void initCacheResources() { Q_INIT_RESOURCE(mapcache_schema); }

namespace {

// Stores open one at a time: two caches of one store must not both decide
// to rebuild it.
QMutex& storeOpeningLock() {
    static QMutex lock;
    return lock;
}

QString schemaText(const QString& file) {
    initCacheResources();
    QFile f(QStringLiteral(":/mapengine/cache/") + file);
    if (!f.open(QIODevice::ReadOnly)) return QString();
    return QString::fromUtf8(f.readAll());
}

// Version 1: the whole schema.
bool migrateTo1(zl::sqlite::Connection& db, QString* error) {
    const QString sql = schemaText(QStringLiteral("GMSCacheStorage.sql"));
    if (sql.isEmpty()) {
        *error = QStringLiteral("schema resource missing");
        return false;
    }
    if (!db.exec(sql)) {
        *error = db.error();
        return false;
    }
    return true;
}

using Migration = bool (*)(zl::sqlite::Connection&, QString*);
// migrations[i] takes the store from version i to i + 1.
constexpr Migration migrations[] = {migrateTo1};
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
        !migrate(error)) {
        if (error->isEmpty()) *error = m_db.error();
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

bool GMSCacheStorage::migrate(QString* error) {
    int version = m_db.userVersion();
    if (version < 0) {
        *error = m_db.error();
        return false;
    }
    if (version > kSchemaVersion) {
        // Written by a newer engine: not ours to read.
        *error = QStringLiteral("store version %1 is newer than %2").arg(version).arg(kSchemaVersion);
        return false;
    }
    while (version < kSchemaVersion) {
        zl::sqlite::Transaction t(m_db);
        if (!t.isActive() || !migrations[version](m_db, error) || !m_db.setUserVersion(version + 1) || !t.commit()) {
            if (error->isEmpty()) *error = m_db.error();
            return false;
        }
        ++version;
    }
    return true;
}
