#include "SqliteDatabase.h"

#include <QFileInfo>
#include <sqlite3.h>

namespace zl::store {

namespace {

void setError(QString* error, const QString& text) {
    if (error) *error = text;
}

}  // namespace

SqliteDatabase::~SqliteDatabase() { close(); }

bool SqliteDatabase::open(const QString& path, QString* error) {
    close();
    sqlite3* db = nullptr;
    const QByteArray file = path.toUtf8();
    int rc = sqlite3_open_v2(file.constData(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                             nullptr);
    if (rc != SQLITE_OK) {
        setError(error, QStringLiteral("%1: %2").arg(path, db ? QString::fromUtf8(sqlite3_errmsg(db))
                                                              : QString::fromUtf8(sqlite3_errstr(rc))));
        if (db) sqlite3_close(db);
        return false;
    }
    db_ = db;
    path_ = path;
    sqlite3_busy_timeout(db_, 2000);
    sqlite3_extended_result_codes(db_, 1);
    // A file that isn't a database only shows itself on the first read.
    QString err;
    bool ok = run(QStringLiteral("PRAGMA journal_mode=WAL"), {}, &err) &&
              run(QStringLiteral("PRAGMA synchronous=NORMAL"), {}, &err) &&
              run(QStringLiteral("SELECT count(*) FROM sqlite_master"), {}, &err);
    if (!ok) {
        setError(error, QStringLiteral("%1: %2").arg(path, err));
        close();
        return false;
    }
    return true;
}

void SqliteDatabase::close() {
    for (auto& [sql, stmt] : statements_) sqlite3_finalize(stmt);
    statements_.clear();
    if (db_) sqlite3_close(db_);
    db_ = nullptr;
}

QString SqliteDatabase::lastError() const {
    return db_ ? QString::fromUtf8(sqlite3_errmsg(db_)) : QStringLiteral("database is not open");
}

sqlite3_stmt* SqliteDatabase::prepared(const QString& sql, QString* error) {
    if (!db_) {
        setError(error, QStringLiteral("database is not open"));
        return nullptr;
    }
    auto it = statements_.find(sql);
    if (it != statements_.end()) {
        sqlite3_reset(it->second);
        sqlite3_clear_bindings(it->second);
        return it->second;
    }
    sqlite3_stmt* stmt = nullptr;
    const QByteArray text = sql.toUtf8();
    if (sqlite3_prepare_v3(db_, text.constData(), int(text.size()), SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) !=
        SQLITE_OK) {
        setError(error, lastError());
        return nullptr;
    }
    statements_.emplace(sql, stmt);
    return stmt;
}

bool SqliteDatabase::exec(const QString& sql, QString* error) {
    if (!db_) {
        setError(error, QStringLiteral("database is not open"));
        return false;
    }
    char* msg = nullptr;
    if (sqlite3_exec(db_, sql.toUtf8().constData(), nullptr, nullptr, &msg) != SQLITE_OK) {
        setError(error, msg ? QString::fromUtf8(msg) : lastError());
        sqlite3_free(msg);
        return false;
    }
    return true;
}

bool SqliteDatabase::run(const QString& sql, const QVariantList& bindings,
                         const std::function<void(const QVariantList& row)>& onRow, QString* error) {
    sqlite3_stmt* stmt = prepared(sql, error);
    if (!stmt) return false;
    for (int i = 0; i < bindings.size(); ++i) {
        const QVariant& v = bindings.at(i);
        const int idx = i + 1;
        int rc = SQLITE_OK;
        if (!v.isValid() || v.isNull()) {
            rc = sqlite3_bind_null(stmt, idx);
        } else {
            switch (v.typeId()) {
            case QMetaType::Bool:
            case QMetaType::Int:
            case QMetaType::UInt:
            case QMetaType::LongLong:
            case QMetaType::ULongLong:
                rc = sqlite3_bind_int64(stmt, idx, v.toLongLong());
                break;
            case QMetaType::Double:
            case QMetaType::Float:
                rc = sqlite3_bind_double(stmt, idx, v.toDouble());
                break;
            case QMetaType::QByteArray: {
                const QByteArray b = v.toByteArray();
                rc = sqlite3_bind_blob64(stmt, idx, b.constData(), sqlite3_uint64(b.size()), SQLITE_TRANSIENT);
                break;
            }
            default: {
                const QByteArray t = v.toString().toUtf8();
                rc = sqlite3_bind_text64(stmt, idx, t.constData(), sqlite3_uint64(t.size()), SQLITE_TRANSIENT,
                                         SQLITE_UTF8);
            }
            }
        }
        if (rc != SQLITE_OK) {
            setError(error, lastError());
            sqlite3_reset(stmt);
            return false;
        }
    }
    for (;;) {
        const int rc = sqlite3_step(stmt);
        if (rc == SQLITE_DONE) break;
        if (rc != SQLITE_ROW) {
            setError(error, lastError());
            sqlite3_reset(stmt);
            return false;
        }
        if (!onRow) continue;
        const int n = sqlite3_column_count(stmt);
        QVariantList row;
        row.reserve(n);
        for (int c = 0; c < n; ++c) {
            switch (sqlite3_column_type(stmt, c)) {
            case SQLITE_INTEGER:
                row << QVariant(qint64(sqlite3_column_int64(stmt, c)));
                break;
            case SQLITE_FLOAT:
                row << QVariant(sqlite3_column_double(stmt, c));
                break;
            case SQLITE_TEXT:
                row << QVariant(QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt, c)),
                                                  sqlite3_column_bytes(stmt, c)));
                break;
            case SQLITE_BLOB:
                row << QVariant(QByteArray(static_cast<const char*>(sqlite3_column_blob(stmt, c)),
                                           sqlite3_column_bytes(stmt, c)));
                break;
            default:
                row << QVariant();
            }
        }
        onRow(row);
    }
    sqlite3_reset(stmt);
    return true;
}

int SqliteDatabase::userVersion(QString* error) {
    int version = -1;
    run(QStringLiteral("PRAGMA user_version"), {}, [&](const QVariantList& row) { version = row.value(0).toInt(); },
        error);
    return version;
}

bool SqliteDatabase::setUserVersion(int version, QString* error) {
    return exec(QStringLiteral("PRAGMA user_version = %1").arg(version), error);
}

qint64 SqliteDatabase::lastInsertRowId() const { return db_ ? sqlite3_last_insert_rowid(db_) : 0; }

Transaction::Transaction(SqliteDatabase& db, QString* error) : db_(db) {
    active_ = db_.exec(QStringLiteral("BEGIN IMMEDIATE"), error);
}

Transaction::~Transaction() {
    if (active_) db_.exec(QStringLiteral("ROLLBACK"), nullptr);
}

bool Transaction::commit(QString* error) {
    if (!active_) return false;
    if (!db_.exec(QStringLiteral("COMMIT"), error)) return false;
    active_ = false;
    return true;
}

bool migrate(SqliteDatabase& db, const std::vector<Migration>& migrations, QString* error) {
    const int current = db.userVersion(error);
    if (current < 0) return false;
    if (current > int(migrations.size())) {
        setError(error, QStringLiteral("%1 was written by a newer version of Zenloft (schema %2)")
                            .arg(QFileInfo(db.path()).fileName())
                            .arg(current));
        return false;
    }
    for (int v = current; v < int(migrations.size()); ++v) {
        Transaction tx(db, error);
        if (!tx.ok()) return false;
        if (!migrations[size_t(v)](db, error)) return false;
        if (!db.setUserVersion(v + 1, error)) return false;
        if (!tx.commit(error)) return false;
    }
    return true;
}

}  // namespace zl::store
