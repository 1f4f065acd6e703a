#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariant>
#include <QtGlobal>

#include <functional>
#include <memory>
#include <span>

struct sqlite3;
struct sqlite3_stmt;

namespace zl::sqlite {

class Connection;

// One prepared statement. Kept by its connection and reused: bind, step,
// read, then reset() before the next use (Reset does that by scope). Its
// failures are reported on its connection.
class Statement {
public:
    Statement(Connection* c, sqlite3_stmt* stmt) : m_c(c), m_stmt(stmt) {}
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bind(int index, qint64 value);
    void bind(int index, int value) { bind(index, qint64(value)); }
    void bind(int index, double value);
    void bind(int index, const QString& value);
    void bindBlob(int index, const QByteArray& value);
    void bindNull(int index);
    // Null, integer (bools too), real, blob or else text. False, with
    // failed() set, when SQLite refuses the value (too big, say).
    bool bindValue(int index, const QVariant& value);

    // SQLITE_ROW: true; SQLITE_DONE: false; anything else: false and
    // failed() is set.
    bool step();
    void reset();

    qint64 int64(int column) const;
    double real(int column) const;
    QString text(int column) const;
    QByteArray blob(int column) const;
    bool isNull(int column) const;
    int columnCount() const;
    // The column as null, qint64, double, QString or QByteArray.
    QVariant value(int column) const;

    // Since the last reset(); the reason is on the connection.
    bool failed() const { return m_failed; }

private:
    bool fail(int rc);

    Connection* m_c;
    sqlite3_stmt* m_stmt;
    bool m_failed = false;
};

// Resets a kept statement when the scope ends, so that no read cursor stays
// open across a transaction boundary.
class Reset {
public:
    explicit Reset(Statement& s) : m_s(s) { m_s.reset(); }
    ~Reset() { m_s.reset(); }
    Reset(const Reset&) = delete;
    Reset& operator=(const Reset&) = delete;

private:
    Statement& m_s;
};

// Runs a kept statement without results once and resets it. False when it
// didn't prepare (nullptr) or failed.
bool run(Statement* s);

// One SQLite connection, used by one thread only. Statements made by
// statement() are prepared once and kept until the connection closes.
//
// Failures are reported one way: the call returns false (or nullptr, or -1
// for a count), and the connection keeps SQLite's code and a message fit to
// show the user in errorCode() and error(), also for its statements' steps.
class Connection {
public:
    enum class Access { ReadWrite, ReadOnly };

    Connection() = default;
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Creates the file when it is missing and the access allows it.
    bool open(const QString& path, Access access = Access::ReadWrite);
    QString path() const { return m_path; }
    // How long a statement waits for another connection's lock.
    void setBusyTimeout(int ms);
    void close();
    bool isOpen() const { return m_db != nullptr; }

    // Runs one or more statements without results.
    bool exec(const QString& sql);
    // The kept statement for this text, prepared on first use; nullptr
    // (with error() set) when the text does not prepare.
    Statement* statement(const char* sql);
    // The same for a text built at run time, kept by its content.
    Statement* statement(const QString& sql);
    // Runs the kept statement for sql with the values bound in order (see
    // Statement::bindValue) and hands each result row to onRow.
    bool query(const QString& sql, const QVariantList& bindings = {},
               const std::function<void(const Statement& row)>& onRow = {});

    // PRAGMA user_version
    int userVersion();
    bool setUserVersion(int version);

    qint64 lastInsertRowId() const;
    // Whether a transaction is open on this connection.
    bool inTransaction() const;
    int changes() const;

    QString error() const { return m_error; }
    int errorCode() const { return m_errorCode; }
    // Records a failure that is not SQLite's own (code SQLITE_ERROR unless
    // given); returns false for the caller to pass on.
    bool fail(const QString& message, int code = 1);
    sqlite3* handle() const { return m_db; }

private:
    void noteError();

    QString m_path;

    sqlite3* m_db = nullptr;
    Statement* prepare(const QByteArray& sql);

    QHash<const char*, Statement*> m_statements;
    QHash<QString, Statement*> m_textStatements;
    QString m_error;
    int m_errorCode = 0;
};

// A write transaction that rolls back unless committed. BEGIN IMMEDIATE
// takes the write lock at once, so two connections to one store wait on the
// busy timeout instead of failing half-way through a batch.
class Transaction {
public:
    explicit Transaction(Connection& c);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    bool isActive() const { return m_active; }
    bool commit();

private:
    Connection& m_c;
    bool m_active = false;
};

// Runs f (returning bool) in a transaction that commits when f returns true,
// or inside the transaction already open on the connection.
template <class F>
bool withTransaction(Connection& c, F f) {
    if (c.inTransaction()) return f();
    Transaction t(c);
    return t.isActive() && f() && t.commit();
}

// One schema step: takes a file from version N-1 to N. Either the text of a
// `.sql` resource, or a function for what SQL alone can't do. Keep the steps
// of a schema in a constexpr table and static_assert its size against the
// schema version, so that no version goes without its step.
struct MigrationStep {
    const char* resource = nullptr;
    bool (*apply)(Connection&) = nullptr;
};

// Brings the file to version steps.size(): every step it hasn't seen yet
// runs in its own transaction together with the new user_version. A file
// newer than the steps is refused untouched. False with the reason on the
// connection.
bool migrate(Connection& c, std::span<const MigrationStep> steps);

}  // namespace zl::sqlite
