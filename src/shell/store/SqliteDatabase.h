#pragma once

#include <QString>
#include <QVariant>
#include <QVariantList>

#include <functional>
#include <memory>
#include <vector>

namespace zl::sqlite {
class Connection;
}

namespace zl::store {

// One SQLite connection for the stores, used by one thread at a time, on the
// map caches' connection. Statements are prepared once and kept; values
// travel as QVariant (null, integer, double, text, blob), and every failure
// comes back as text for the user.
class SqliteDatabase {
public:
    SqliteDatabase();
    ~SqliteDatabase();
    SqliteDatabase(const SqliteDatabase&) = delete;
    SqliteDatabase& operator=(const SqliteDatabase&) = delete;

    // Opens (creating if needed) the file in WAL mode. On failure returns
    // false and leaves the file as it was.
    bool open(const QString& path, QString* error);
    void close();
    bool isOpen() const;
    QString path() const { return path_; }

    bool exec(const QString& sql, QString* error);
    // Runs a prepared statement with its bindings; each result row is handed
    // to onRow (may be empty for statements without results).
    bool run(const QString& sql, const QVariantList& bindings,
             const std::function<void(const QVariantList& row)>& onRow, QString* error);
    bool run(const QString& sql, const QVariantList& bindings, QString* error) {
        return run(sql, bindings, {}, error);
    }

    int userVersion(QString* error);
    bool setUserVersion(int version, QString* error);
    qint64 lastInsertRowId() const;
    QString lastError() const;

private:
    std::unique_ptr<zl::sqlite::Connection> conn_;
    QString path_;
};

// Begins a transaction; rolls it back unless commit() succeeded.
class Transaction {
public:
    Transaction(SqliteDatabase& db, QString* error);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    bool ok() const { return active_; }
    bool commit(QString* error);

private:
    SqliteDatabase& db_;
    bool active_ = false;
};

// A schema step: brings the file from version N-1 to N.
using Migration = std::function<bool(SqliteDatabase&, QString* error)>;

// Runs every migration the file hasn't seen yet, each in its own
// transaction together with the new user_version. A file newer than this
// program is refused rather than touched.
bool migrate(SqliteDatabase& db, const std::vector<Migration>& migrations, QString* error);

}  // namespace zl::store
