#include "SqliteDatabase.h"

#include "SqliteConnection.h"

#include <QFileInfo>
#include <sqlite3.h>

namespace zl::store {

namespace {

const QString kNotOpen = QStringLiteral("database is not open");

void setError(QString* error, const QString& text) {
    if (error) *error = text;
}

}  // namespace

SqliteDatabase::SqliteDatabase() : conn_(std::make_unique<zl::sqlite::Connection>()) {}

SqliteDatabase::~SqliteDatabase() { close(); }

bool SqliteDatabase::isOpen() const { return conn_->isOpen(); }

bool SqliteDatabase::open(const QString& path, QString* error) {
    close();
    if (!conn_->open(path)) {
        setError(error, QStringLiteral("%1: %2").arg(path, conn_->error()));
        return false;
    }
    path_ = path;
    conn_->setBusyTimeout(2000);
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

void SqliteDatabase::close() { conn_->close(); }

QString SqliteDatabase::lastError() const {
    return conn_->isOpen() ? QString::fromUtf8(sqlite3_errmsg(conn_->handle())) : kNotOpen;
}

bool SqliteDatabase::exec(const QString& sql, QString* error) {
    if (!conn_->isOpen()) {
        setError(error, kNotOpen);
        return false;
    }
    if (conn_->exec(sql)) return true;
    setError(error, conn_->error());
    return false;
}

bool SqliteDatabase::run(const QString& sql, const QVariantList& bindings,
                         const std::function<void(const QVariantList& row)>& onRow, QString* error) {
    if (!conn_->isOpen()) {
        setError(error, kNotOpen);
        return false;
    }
    zl::sqlite::Statement* stmt = conn_->statement(sql);
    if (!stmt) {
        setError(error, conn_->error());
        return false;
    }
    zl::sqlite::Reset reset(*stmt);
    for (int i = 0; i < bindings.size(); ++i) {
        if (!stmt->bindValue(i + 1, bindings.at(i))) {
            setError(error, stmt->error());
            return false;
        }
    }
    while (stmt->step()) {
        if (!onRow) continue;
        const int n = stmt->columnCount();
        QVariantList row;
        row.reserve(n);
        for (int c = 0; c < n; ++c) row << stmt->value(c);
        onRow(row);
    }
    if (stmt->failed()) {
        setError(error, stmt->error());
        return false;
    }
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

qint64 SqliteDatabase::lastInsertRowId() const { return conn_->lastInsertRowId(); }

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
