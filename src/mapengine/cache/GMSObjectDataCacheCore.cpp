#include "GMSObjectDataCacheCore.h"

#include "GMSCacheLog.h"

using zl::sqlite::Reset;
using zl::sqlite::Statement;
using zl::sqlite::Transaction;

namespace {
const char* const kSelectIndex =
    "SELECT id, name, type, updatedDate, version, touched FROM GMSCachedObject WHERE type = ? "
    "ORDER BY touched DESC, id DESC";
const char* const kSelectBlob = "SELECT data FROM GMSCachedObjectBlob WHERE parent = ?";
const char* const kInsertObject =
    "INSERT INTO GMSCachedObject (name, updatedDate, version, touched, type) VALUES (?, ?, ?, ?, ?)";
const char* const kUpdateObject = "UPDATE GMSCachedObject SET updatedDate = ?, version = ?, touched = ? WHERE id = ?";
const char* const kUpdateTouched = "UPDATE GMSCachedObject SET touched = ? WHERE id = ?";
const char* const kReplaceBlob = "INSERT OR REPLACE INTO GMSCachedObjectBlob (parent, data) VALUES (?, ?)";
const char* const kDeleteBlob = "DELETE FROM GMSCachedObjectBlob WHERE parent = ?";
const char* const kDeleteObject = "DELETE FROM GMSCachedObject WHERE id = ?";

double toSeconds(const QDateTime& d) { return d.isValid() ? d.toMSecsSinceEpoch() / 1000.0 : 0.0; }
QDateTime fromSeconds(double s) { return QDateTime::fromMSecsSinceEpoch(qint64(s * 1000.0), Qt::UTC); }
}  // namespace

GMSObjectDataCacheCore::GMSObjectDataCacheCore(int objectType, qint64 maxCount)
    : m_objectType(objectType), m_maxCount(maxCount) {}
GMSObjectDataCacheCore::~GMSObjectDataCacheCore() = default;

bool GMSObjectDataCacheCore::start(std::unique_ptr<GMSCacheStorage> storage) {
    m_storage = std::move(storage);
    if (!m_storage) return false;
    if (!readIndex()) {
        m_storage.reset();
        m_objects.clear();
        return false;
    }
    return true;
}

bool GMSObjectDataCacheCore::readIndex() {
    m_objects.clear();
    Statement* s = db().statement(kSelectIndex);
    if (!s) return false;
    Reset r(*s);
    s->bind(1, m_objectType);
    qint64 maxTouched = 0;
    while (s->step()) {
        Row row;
        row.id = s->int64(0);
        row.info.type = qint32(s->int64(2));
        row.info.updatedDate = fromSeconds(s->real(3));
        row.info.version = s->text(4);
        row.touched = s->int64(5);
        maxTouched = std::max(maxTouched, row.touched);
        m_objects.putOldest(s->text(1), std::move(row));
    }
    if (s->failed()) {
        qCWarning(lcMapCache, "Core Data fetch failed: %s", qUtf8Printable(db().error()));
        return false;
    }
    m_nextTouched = maxTouched + 1;
    return true;
}

std::optional<GMSCachedObjectData> GMSObjectDataCacheCore::load(const QString& name) {
    if (!m_storage) return std::nullopt;
    Row* row = m_objects.find(name);
    if (!row) return std::nullopt;
    Statement* s = db().statement(kSelectBlob);
    if (!s) return std::nullopt;
    GMSCachedObjectData out;
    {
        Reset r(*s);
        s->bind(1, row->id);
        if (!s->step()) return std::nullopt;
        out.data = s->blob(0);
    }
    out.found = true;
    out.version = row->info.version;
    out.updatedDate = row->info.updatedDate;
    // Objects are few and read seldom: the touch is written at once.
    row->touched = m_nextTouched++;
    m_objects.touch(name);
    Statement* t = db().statement(kUpdateTouched);
    if (t) {
        t->bind(1, row->touched);
        t->bind(2, row->id);
        zl::sqlite::run(t);
    }
    return out;
}

bool GMSObjectDataCacheCore::store(const QList<QPair<QString, QByteArray>>& objects, const QString& version,
                                   const QDateTime& now) {
    if (!m_storage) return false;
    Transaction t(db());
    if (!t.isActive()) {
        qCWarning(lcMapCache, "could not save: %s", qUtf8Printable(db().error()));
        return false;
    }
    for (const auto& [name, data] : objects) {
        Row* row = m_objects.find(name);
        const qint64 touched = m_nextTouched++;
        if (row) {
            Statement* s = db().statement(kUpdateObject);
            if (!s) {
                recover("could not save");
                return false;
            }
            s->bind(1, toSeconds(now));
            s->bind(2, version);
            s->bind(3, touched);
            s->bind(4, row->id);
            if (!zl::sqlite::run(s)) {
                recover("could not save");
                return false;
            }
            row->info.updatedDate = now;
            row->info.version = version;
            row->touched = touched;
            m_objects.touch(name);
        } else {
            Statement* s = db().statement(kInsertObject);
            if (!s) {
                recover("could not save");
                return false;
            }
            s->bind(1, name);
            s->bind(2, toSeconds(now));
            s->bind(3, version);
            s->bind(4, touched);
            s->bind(5, m_objectType);
            if (!zl::sqlite::run(s)) {
                recover("could not save");
                return false;
            }
            Row fresh;
            fresh.id = db().lastInsertRowId();
            fresh.touched = touched;
            fresh.info.updatedDate = now;
            fresh.info.version = version;
            row = &m_objects.put(name, std::move(fresh));
        }
        Statement* b = db().statement(kReplaceBlob);
        if (!b) {
            recover("could not save");
            return false;
        }
        b->bind(1, row->id);
        b->bindBlob(2, data);
        if (!zl::sqlite::run(b)) {
            recover("could not save");
            return false;
        }
    }
    pruneCache();
    if (!t.commit()) {
        recover("could not save");
        return false;
    }
    return true;
}

bool GMSObjectDataCacheCore::deleteRow(qint64 id) {
    for (const char* sql : {kDeleteBlob, kDeleteObject}) {
        Statement* s = db().statement(sql);
        if (!s) return false;
        s->bind(1, id);
        if (!zl::sqlite::run(s)) return false;
    }
    return true;
}

bool GMSObjectDataCacheCore::remove(const QStringList& names) {
    if (!m_storage) return false;
    Transaction t(db());
    bool ok = t.isActive();
    for (const QString& name : names) {
        if (!ok) break;
        const Row* row = m_objects.find(name);
        if (!row) continue;
        ok = deleteRow(row->id);
        if (ok) m_objects.remove(name);
    }
    if (!ok || !t.commit()) {
        recover("could not remove");
        return false;
    }
    return true;
}

bool GMSObjectDataCacheCore::removeAll() {
    if (!m_storage) return false;
    Transaction t(db());
    const QString sql = QStringLiteral("DELETE FROM GMSCachedObjectBlob WHERE parent IN "
                                       "(SELECT id FROM GMSCachedObject WHERE type = %1);"
                                       "DELETE FROM GMSCachedObject WHERE type = %1;")
                            .arg(m_objectType);
    if (!t.isActive() || !db().exec(sql) || !t.commit()) {
        recover("could not remove");
        return false;
    }
    m_objects.clear();
    return true;
}

QHash<QString, QByteArray> GMSObjectDataCacheCore::find(
    const std::function<bool(const QString&, const GMSCachedObjectInfo&)>& test) {
    QHash<QString, QByteArray> out;
    if (!m_storage) return out;
    QList<QPair<QString, qint64>> hits;
    for (const auto& [name, row] : m_objects)
        if (!test || test(name, row.info)) hits.append({name, row.id});
    Statement* s = db().statement(kSelectBlob);
    if (!s) return out;
    for (const auto& [name, id] : hits) {
        Reset r(*s);
        s->bind(1, id);
        if (s->step()) out.insert(name, s->blob(0));
    }
    return out;
}

bool GMSObjectDataCacheCore::pruneCache() {
    if (m_maxCount <= 0 || count() <= m_maxCount) return false;
    bool any = false;
    while (count() > m_maxCount) {
        const QString oldest = m_objects.rbegin()->key;
        if (!deleteRow(m_objects.rbegin()->value.id)) return any;
        m_objects.remove(oldest);
        any = true;
    }
    return any;
}

QStringList GMSObjectDataCacheCore::lruOrder() const { return m_objects.keys<QStringList>(); }

void GMSObjectDataCacheCore::recover(const char* what) {
    qCWarning(lcMapCache, "%s: %s", what, qUtf8Printable(db().error()));
    if (db().inTransaction()) db().exec(QStringLiteral("ROLLBACK"));
    if (!readIndex()) {
        m_storage.reset();
        m_objects.clear();
    }
}
