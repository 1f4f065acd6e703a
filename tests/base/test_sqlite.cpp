// The SQLite layer: values, transactions, migrations and injected disk faults.
#include "SqliteConnection.h"
#include "SqliteFaults.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sqlite3.h>

using namespace zl::sqlite;

namespace {

int count(Connection& c, const QString& sql) {
    qint64 n = -1;
    EXPECT_TRUE(c.query(sql, {}, [&](const Statement& row) { n = row.int64(0); })) << c.error().toStdString();
    return int(n);
}

}  // namespace

TEST(SqliteConnection, ValuesKeepTheirKindFailuresComeBackAsTextAndTransactionsRollBack) {
    QTemporaryDir dir;
    Connection db;
    EXPECT_FALSE(db.exec("SELECT 1"));
    EXPECT_EQ(db.error(), "database is not open");
    ASSERT_TRUE(db.open(QDir(dir.path()).filePath("t.sqlite"))) << db.error().toStdString();
    ASSERT_TRUE(db.exec("CREATE TABLE t (v)"));

    // Booleans come back as integers; an empty blob is not NULL.
    const QByteArray blob("\0\x01\xff", 3);
    const QVariantList values = {QVariant(), QVariant(true), QVariant(qint64(1) << 40), QVariant(-2.5),
                                 QVariant(QStringLiteral("żółw \"x\"")), QVariant(blob), QVariant(QByteArray())};
    QVariantList expected = values;
    expected[1] = QVariant(qint64(1));
    for (const QVariant& v : values) ASSERT_TRUE(db.query("INSERT INTO t (v) VALUES (?)", {v})) << db.error().toStdString();
    QVariantList read;
    ASSERT_TRUE(db.query("SELECT v FROM t ORDER BY rowid", {}, [&](const Statement& row) { read << row.value(0); }));
    ASSERT_EQ(read.size(), values.size());
    for (qsizetype i = 0; i < read.size(); ++i) {
        EXPECT_EQ(read[i].typeId(), expected[i].typeId()) << i;
        EXPECT_EQ(read[i], expected[i]) << i;
    }

    // The same text twice is one kept statement; a bad one is refused with SQLite's words.
    EXPECT_EQ(count(db, "SELECT count(*) FROM t WHERE v = -2.5"), 1);
    EXPECT_EQ(count(db, "SELECT count(*) FROM t WHERE v = -2.5"), 1);
    EXPECT_FALSE(db.query("SELEKT nonsense"));
    EXPECT_TRUE(db.error().contains("syntax error")) << db.error().toStdString();
    EXPECT_FALSE(db.query("INSERT INTO nowhere VALUES (?)", {1}));
    EXPECT_TRUE(db.error().contains("no such table")) << db.error().toStdString();
    // A failed step leaves the statement ready for the next run.
    ASSERT_TRUE(db.exec("CREATE TABLE u (v UNIQUE)"));
    ASSERT_TRUE(db.query("INSERT INTO u (v) VALUES (?)", {1}));
    EXPECT_FALSE(db.query("INSERT INTO u (v) VALUES (?)", {1}));
    EXPECT_TRUE(db.error().contains("UNIQUE")) << db.error().toStdString();
    EXPECT_EQ(db.errorCode(), SQLITE_CONSTRAINT_UNIQUE);
    EXPECT_TRUE(db.query("INSERT INTO u (v) VALUES (?)", {2})) << db.error().toStdString();
    EXPECT_GT(db.lastInsertRowId(), 0);

    // A transaction rolls back unless committed.
    ASSERT_TRUE(db.exec("CREATE TABLE x (v)"));
    {
        Transaction t(db);
        ASSERT_TRUE(t.isActive());
        ASSERT_TRUE(db.exec("INSERT INTO x VALUES ('a')"));
    }
    EXPECT_FALSE(withTransaction(db, [&] { return db.exec("INSERT INTO x VALUES ('c')") && false; }));
    {
        Transaction t(db);
        ASSERT_TRUE(withTransaction(db, [&] { return db.exec("INSERT INTO x VALUES ('b')"); })) << "joins the open one";
        // Braced lists run left to right: the second commit finds nothing open.
        EXPECT_EQ(QList<bool>({db.inTransaction(), t.commit(), t.commit()}), QList<bool>({true, true, false}));
    }
    EXPECT_FALSE(db.inTransaction());
    EXPECT_EQ(count(db, "SELECT group_concat(v) = 'b' FROM x"), 1);
}

namespace {
bool addTwo(Connection& c) { return c.exec("CREATE TABLE two (v)"); }
bool refuse(Connection& c) { return c.fail("step refused"); }
constexpr MigrationStep kSchema[] = {{":/base-test/schema_v1.sql"}, {nullptr, addTwo}};
static_assert(std::size(kSchema) == 2);
}  // namespace

TEST(SqliteMigrate, StepsRunOnceInOrderAndNewerOrFailingFilesStayAsTheyWere) {
    struct Case {
        const char* what;
        int startVersion;  // -1: a new file
        std::vector<MigrationStep> steps;
        bool ok;
        int endVersion;
        QString errorPart;
    };
    const std::vector<Case> cases = {
        {"new file", -1, {kSchema[0], kSchema[1]}, true, 2, {}},
        {"one step behind", 1, {kSchema[0], kSchema[1]}, true, 2, {}},
        {"up to date", 2, {kSchema[0], kSchema[1]}, true, 2, {}},
        {"newer file", 5, {kSchema[0], kSchema[1]}, false, 5, "t.sqlite was written by a newer version"},
        {"failing step", 1, {kSchema[0], {nullptr, refuse}}, false, 1, "step refused"},
        {"missing resource", -1, {{":/base-test/none.sql"}}, false, 0, "none.sql missing"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        QTemporaryDir dir;
        Connection db;
        ASSERT_TRUE(db.open(QDir(dir.path()).filePath("t.sqlite")));
        if (c.startVersion >= 0) {
            // The file as the earlier program left it.
            ASSERT_TRUE(db.exec("CREATE TABLE one (v); INSERT INTO one VALUES (7)"));
            ASSERT_TRUE(c.startVersion < 2 || db.exec("CREATE TABLE two (v)"));
            ASSERT_TRUE(db.setUserVersion(c.startVersion));
        }
        EXPECT_EQ(migrate(db, c.steps), c.ok);
        EXPECT_TRUE(c.ok || db.error().contains(c.errorPart)) << db.error().toStdString();
        EXPECT_EQ(std::tuple(db.userVersion(), db.inTransaction(),
                             count(db, "SELECT count(*) FROM sqlite_master WHERE name = 'two'")),
                  std::tuple(c.endVersion, false, c.endVersion >= 2 ? 1 : 0));
        EXPECT_TRUE(c.startVersion < 0 || count(db, "SELECT count(*) FROM one") == 1) << "rows stay";
    }
}

// The fault layer fails writes on demand; what was committed stays, and the
// connection works again once the disk does.
TEST(SqliteFaults, AFailedWriteReportsTheFaultAndLosesNothing) {
    using namespace zl::sqlite::faults;
    install();
    const struct {
        Fault fault;
        int code;
        const char* words;
    } cases[] = {{Fault::DiskFull, SQLITE_FULL, "full"}, {Fault::IoError, SQLITE_IOERR, "I/O error"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.words);
        QTemporaryDir dir;
        Connection db;
        ASSERT_TRUE(db.open(QDir(dir.path()).filePath("t.sqlite")));
        ASSERT_TRUE(db.exec("PRAGMA journal_mode=WAL; CREATE TABLE t (v); INSERT INTO t VALUES (1)"));
        {
            FailingWrites failing(c.fault);
            EXPECT_FALSE(withTransaction(db, [&] { return db.query("INSERT INTO t VALUES (?)", {QByteArray(100000, 'x')}); }));
            EXPECT_EQ(db.errorCode() & 0xff, c.code);
            EXPECT_TRUE(db.error().contains(c.words)) << db.error().toStdString();
            EXPECT_FALSE(db.inTransaction());
            EXPECT_EQ(count(db, "SELECT count(*) FROM t"), 1) << "reads go on";
        }
        EXPECT_TRUE(db.query("INSERT INTO t VALUES (2)")) << db.error().toStdString();
        Connection other;
        ASSERT_TRUE(other.open(db.path()));
        EXPECT_EQ(count(other, "SELECT count(*) FROM t"), 2);
    }
}
