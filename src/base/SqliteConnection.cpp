#include "SqliteConnection.h"

#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

namespace zl::sqlite {

Statement::~Statement() { sqlite3_finalize(m_stmt); }

void Statement::bind(int index, qint64 value) { sqlite3_bind_int64(m_stmt, index, value); }
void Statement::bind(int index, double value) { sqlite3_bind_double(m_stmt, index, value); }

void Statement::bind(int index, const QString& value) {
    const QByteArray utf8 = value.toUtf8();
    sqlite3_bind_text(m_stmt, index, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
}

void Statement::bindBlob(int index, const QByteArray& value) {
    // A zero-length blob, not NULL: an empty tile is still a stored tile.
    sqlite3_bind_blob(m_stmt, index, value.isEmpty() ? "" : value.constData(), int(value.size()),
                      SQLITE_TRANSIENT);
}

void Statement::bindNull(int index) { sqlite3_bind_null(m_stmt, index); }

bool Statement::bindValue(int index, const QVariant& v) {
    int rc = SQLITE_OK;
    if (!v.isValid() || v.isNull()) {
        rc = sqlite3_bind_null(m_stmt, index);
    } else {
        switch (v.typeId()) {
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
            rc = sqlite3_bind_int64(m_stmt, index, v.toLongLong());
            break;
        case QMetaType::Double:
        case QMetaType::Float:
            rc = sqlite3_bind_double(m_stmt, index, v.toDouble());
            break;
        case QMetaType::QByteArray: {
            const QByteArray b = v.toByteArray();
            rc = sqlite3_bind_blob64(m_stmt, index, b.isEmpty() ? "" : b.constData(), sqlite3_uint64(b.size()),
                                     SQLITE_TRANSIENT);
            break;
        }
        default: {
            const QByteArray t = v.toString().toUtf8();
            rc = sqlite3_bind_text64(m_stmt, index, t.constData(), sqlite3_uint64(t.size()), SQLITE_TRANSIENT,
                                     SQLITE_UTF8);
        }
        }
    }
    return rc == SQLITE_OK || fail(rc);
}

bool Statement::fail(int rc) {
    m_failed = true;
    return m_c->fail(QString::fromUtf8(sqlite3_errmsg(m_c->handle())), rc);
}

bool Statement::step() {
    const int rc = sqlite3_step(m_stmt);
    if (rc == SQLITE_ROW) return true;
    if (rc != SQLITE_DONE) fail(rc);
    return false;
}

void Statement::reset() {
    sqlite3_reset(m_stmt);
    sqlite3_clear_bindings(m_stmt);
    m_failed = false;
}

qint64 Statement::int64(int column) const { return sqlite3_column_int64(m_stmt, column); }
double Statement::real(int column) const { return sqlite3_column_double(m_stmt, column); }

QString Statement::text(int column) const {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(m_stmt, column));
    return p ? QString::fromUtf8(p, sqlite3_column_bytes(m_stmt, column)) : QString();
}

QByteArray Statement::blob(int column) const {
    const void* p = sqlite3_column_blob(m_stmt, column);
    const int n = sqlite3_column_bytes(m_stmt, column);
    return p && n > 0 ? QByteArray(static_cast<const char*>(p), n) : QByteArray();
}

bool Statement::isNull(int column) const { return sqlite3_column_type(m_stmt, column) == SQLITE_NULL; }
int Statement::columnCount() const { return sqlite3_column_count(m_stmt); }

QVariant Statement::value(int column) const {
    switch (sqlite3_column_type(m_stmt, column)) {
    case SQLITE_INTEGER: return QVariant(int64(column));
    case SQLITE_FLOAT: return QVariant(real(column));
    case SQLITE_TEXT: return QVariant(text(column));
    case SQLITE_BLOB: {
        const void* p = sqlite3_column_blob(m_stmt, column);
        return QVariant(QByteArray(static_cast<const char*>(p), sqlite3_column_bytes(m_stmt, column)));
    }
    default: return QVariant();
    }
}

Connection::~Connection() { close(); }

bool Connection::open(const QString& path, Access access) {
    close();
    m_path = path;
    const int mode = access == Access::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int rc = sqlite3_open_v2(path.toUtf8().constData(), &m_db, mode | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        noteError();
        if (m_errorCode == 0) m_errorCode = rc;
        close();
        return false;
    }
    sqlite3_extended_result_codes(m_db, 1);
    // Several caches share one store file, each with its own connection.
    sqlite3_busy_timeout(m_db, 10000);
    return true;
}

void Connection::setBusyTimeout(int ms) {
    if (m_db) sqlite3_busy_timeout(m_db, ms);
}

void Connection::close() {
    qDeleteAll(m_statements);
    m_statements.clear();
    qDeleteAll(m_textStatements);
    m_textStatements.clear();
    if (m_db) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
    }
}

bool Connection::fail(const QString& message, int code) {
    m_errorCode = code;
    m_error = message;
    return false;
}

bool Connection::exec(const QString& sql) {
    if (!m_db) return fail(QStringLiteral("database is not open"));
    char* msg = nullptr;
    const int rc = sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &msg);
    if (rc != SQLITE_OK) {
        m_errorCode = rc;
        m_error = msg ? QString::fromUtf8(msg) : QString::fromUtf8(sqlite3_errstr(rc));
        sqlite3_free(msg);
        return false;
    }
    return true;
}

Statement* Connection::statement(const char* sql) {
    if (Statement* s = m_statements.value(sql)) return s;
    Statement* s = prepare(QByteArray(sql));
    if (s) m_statements.insert(sql, s);
    return s;
}

Statement* Connection::statement(const QString& sql) {
    if (Statement* s = m_textStatements.value(sql)) return s;
    Statement* s = prepare(sql.toUtf8());
    if (s) m_textStatements.insert(sql, s);
    return s;
}

bool Connection::query(const QString& sql, const QVariantList& bindings,
                       const std::function<void(const Statement& row)>& onRow) {
    Statement* s = statement(sql);
    if (!s) return false;
    Reset reset(*s);
    for (int i = 0; i < bindings.size(); ++i)
        if (!s->bindValue(i + 1, bindings.at(i))) return false;
    while (s->step())
        if (onRow) onRow(*s);
    return !s->failed();
}

Statement* Connection::prepare(const QByteArray& sql) {
    if (!m_db) {
        fail(QStringLiteral("database is not open"));
        return nullptr;
    }
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v3(m_db, sql.constData(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) !=
        SQLITE_OK) {
        noteError();
        sqlite3_finalize(stmt);
        return nullptr;
    }
    return new Statement(this, stmt);
}

int Connection::userVersion() {
    Statement* s = statement("PRAGMA user_version");
    if (!s) return -1;
    Reset r(*s);
    if (!s->step()) return -1;
    return int(s->int64(0));
}

bool Connection::setUserVersion(int version) {
    return exec(QStringLiteral("PRAGMA user_version = %1").arg(version));
}

qint64 Connection::lastInsertRowId() const { return m_db ? sqlite3_last_insert_rowid(m_db) : 0; }
bool Connection::inTransaction() const { return m_db && sqlite3_get_autocommit(m_db) == 0; }
int Connection::changes() const { return m_db ? sqlite3_changes(m_db) : 0; }

void Connection::noteError() {
    m_errorCode = m_db ? sqlite3_extended_errcode(m_db) : 0;
    m_error = m_db ? QString::fromUtf8(sqlite3_errmsg(m_db)) : QStringLiteral("out of memory");
}

Transaction::Transaction(Connection& c) : m_c(c) { m_active = m_c.exec(QStringLiteral("BEGIN IMMEDIATE")); }

Transaction::~Transaction() {
    // SQLite may have rolled back already (after an I/O error, say). The
    // failure that ended the transaction is what the caller reports.
    if (!m_active || !m_c.inTransaction()) return;
    const QString error = m_c.error();
    const int code = m_c.errorCode();
    m_c.exec(QStringLiteral("ROLLBACK"));
    m_c.fail(error, code);
}

bool Transaction::commit() {
    if (!m_active) return false;
    if (!m_c.exec(QStringLiteral("COMMIT"))) {
        // A failed COMMIT may leave the transaction open; the destructor
        // rolls it back.
        return false;
    }
    m_active = false;
    return true;
}

bool migrate(Connection& c, std::span<const MigrationStep> steps) {
    const int current = c.userVersion();
    if (current < 0) return false;
    if (current > int(steps.size()))
        return c.fail(QStringLiteral("%1 was written by a newer version of Zenloft (schema %2, this one knows %3)")
                          .arg(QFileInfo(c.path()).fileName())
                          .arg(current)
                          .arg(steps.size()));
    for (int v = current; v < int(steps.size()); ++v) {
        const MigrationStep& step = steps[size_t(v)];
        Transaction t(c);
        if (!t.isActive()) return false;
        if (step.resource) {
            QFile f(QString::fromUtf8(step.resource));
            if (!f.open(QIODevice::ReadOnly))
                return c.fail(QStringLiteral("schema resource %1 missing").arg(f.fileName()));
            if (!c.exec(QString::fromUtf8(f.readAll()))) return false;
        }
        if (step.apply && !step.apply(c)) return false;
        if (!c.setUserVersion(v + 1) || !t.commit()) return false;
    }
    return true;
}

bool run(Statement* s) {
    if (!s) return false;
    s->step();
    const bool ok = !s->failed();
    s->reset();
    return ok;
}

}  // namespace zl::sqlite
