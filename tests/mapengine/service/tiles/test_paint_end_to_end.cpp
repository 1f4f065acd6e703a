// The paint route against the real map service as a child process: a tile
// service with the route on gets its tiles over a signed POST on loopback,
// marked with mode 3; a wrong key gets nothing but failures.
#include "GMSDASHTileService.h"
#include "GMSPaintService.h"
#include "testsupport.h"

#include <QProcess>
#include <QTcpServer>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <atomic>
#include <map>
#include <tuple>

namespace {

const QByteArray kPaintKey("e2e-paint-signing-key");

QByteArray fakePng(int z, int x, int y)
{
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + QStringLiteral("tile %1/%2/%3").arg(z).arg(x).arg(y).toUtf8();
}

// Every tile of zooms 0 and 1, in TMS rows as MBTiles keeps them.
bool writeMbtiles(const QString& path)
{
    sqlite3* db = nullptr;
    if (sqlite3_open(path.toUtf8().constData(), &db) != SQLITE_OK)
        return false;
    sqlite3_exec(db,
                 "CREATE TABLE metadata (name TEXT, value TEXT);"
                 "CREATE TABLE tiles (zoom_level INTEGER, tile_column INTEGER, tile_row INTEGER, tile_data BLOB);"
                 "CREATE UNIQUE INDEX tile_index ON tiles (zoom_level, tile_column, tile_row);",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO tiles VALUES (?,?,?,?)", -1, &st, nullptr);
    for (int z = 0; z <= 1; ++z)
        for (int x = 0; x < (1 << z); ++x)
            for (int y = 0; y < (1 << z); ++y) {
                const QByteArray data = fakePng(z, x, y);
                sqlite3_bind_int(st, 1, z);
                sqlite3_bind_int(st, 2, x);
                sqlite3_bind_int(st, 3, (1 << z) - 1 - y);
                sqlite3_bind_blob(st, 4, data.constData(), int(data.size()), SQLITE_TRANSIENT);
                sqlite3_step(st);
                sqlite3_reset(st);
            }
    sqlite3_finalize(st);
    return sqlite3_close(db) == SQLITE_OK;
}

class PaintEndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        const QString mbtiles = dir.filePath("paint.mbtiles");
        ASSERT_TRUE(writeMbtiles(mbtiles));
        service.setProgram(QStringLiteral(ZL_MAPSERVICE_EXE));
        service.setArguments({"--address", "127.0.0.1", "--port", "0", "--threads", "4", "--tiles",
                              "satellite=" + mbtiles, "--paint-signing-key", QString::fromLatin1(kPaintKey)});
        service.start();
        ASSERT_TRUE(service.waitForStarted(10000)) << service.errorString().toStdString();
        QByteArray out;
        const QRegularExpression re(QStringLiteral("endpoint (\\S+)"));
        while (!re.match(QString::fromUtf8(out)).hasMatch() && service.waitForReadyRead(10000))
            out += service.readAllStandardOutput();
        const auto m = re.match(QString::fromUtf8(out));
        ASSERT_TRUE(m.hasMatch()) << out.toStdString() << service.readAllStandardError().toStdString();
        endpoint = QUrl(m.captured(1));
    }
    void TearDown() override
    {
        if (service.state() == QProcess::NotRunning)
            return;
        service.terminate();
        if (!service.waitForFinished(10000))
            service.kill();
        service.waitForFinished(5000);
    }

    std::shared_ptr<GMSDASHTileService> tileService(const QByteArray& key)
    {
        GMSDASHTileServiceOptions o;
        o.tileType.mapTileType = 1;  // satellite
        o.tileType.paintTileType = 1;
        o.dashEndpointURL = endpoint;
        auto s = GMSDASHTileService::create(
            o, &queue, [this](const std::shared_ptr<GMSDASHRequest>&) { ++framedBatches; }, [] { return qint64(1000); });
        s->setDirectToPaint(true);
        // The client parameters name the paint server relative to the endpoint.
        s->setPaintServer(QUrl(QStringLiteral("/glm/paint")), key);
        s->startRequestQueue();
        return s;
    }

    struct Answer {
        int status;
        GMSTilePtr tile;
    };
    GMSTileCallback collect()
    {
        return [this](const GMSTileCoords& c, int status, const GMSTilePtr& tile) {
            answers[{c.zoom(), c.x(), c.y()}] = {status, tile};
        };
    }

    QTemporaryDir dir;
    QProcess service;
    QUrl endpoint;
    QObject queue;
    int framedBatches = 0;
    std::map<std::tuple<int, int, int>, Answer> answers;
};

}  // namespace

TEST_F(PaintEndToEnd, TilesArriveByThePaintRouteWithMode3)
{
    auto tiles = tileService(kPaintKey);
    ASSERT_TRUE(tiles->usesPaintRoute());
    EXPECT_EQ(tiles->paintService()->paintServerBaseURL().path(), "/glm/paint");
    const std::vector<std::tuple<int, int, int>> wanted = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {1, 0, 1}, {1, 1, 1}};
    for (const auto& [z, x, y] : wanted)
        tiles->requestTile(GMSTileCoords(z, x, y), this, collect());
    ASSERT_TRUE(zltest::waitFor([&] { return answers.size() == wanted.size(); }, 20000)) << answers.size();
    for (const auto& [z, x, y] : wanted) {
        const Answer& a = answers.at({z, x, y});
        EXPECT_EQ(a.status, kGMSTileStatusFromNetwork) << z << "/" << x << "/" << y;
        ASSERT_TRUE(a.tile);
        EXPECT_EQ(a.tile->mode, 3);
        EXPECT_EQ(a.tile->data, fakePng(z, x, y));
        EXPECT_FALSE(a.tile->versionID.isEmpty());
    }
    EXPECT_EQ(framedBatches, 0);

    // A tile the store lacks fails alone.
    answers.clear();
    tiles->requestTile(GMSTileCoords(5, 3, 3), this, collect());
    ASSERT_TRUE(zltest::waitFor([&] { return answers.size() == 1; }, 20000));
    EXPECT_EQ(answers.begin()->second.status, kGMSTileStatusFailed);

    // The zooms went in two batches; each POST has its line in the log.
    tiles.reset();
    TearDown();
    const QString log = QString::fromUtf8(service.readAllStandardError());
    EXPECT_GE(log.count(QRegularExpression(QStringLiteral("POST /glm/paint \\S+ 200 .*tiles=\\d+/\\d+"))), 3) << log.toStdString();
}

TEST_F(PaintEndToEnd, AWrongKeyGetsFailuresNotTiles)
{
    zltest::LogCapture capture;
    auto tiles = tileService("not-the-key");
    tiles->requestTile(GMSTileCoords(0, 0, 0), this, collect());
    ASSERT_TRUE(zltest::waitFor([&] { return answers.size() == 1; }, 20000));
    EXPECT_EQ(answers.begin()->second.status, kGMSTileStatusFailed);
    EXPECT_TRUE(capture.contains("403"));
    EXPECT_FALSE(tiles->hasRequestsInFlight());
}

namespace {

// A loopback socket that takes connections and never answers.
struct SilentServer {
    SilentServer() { listening = server.listen(QHostAddress::LocalHost, 0); }
    QUrl url() const { return QUrl(QStringLiteral("http://127.0.0.1:%1/glm/paint").arg(server.serverPort())); }
    QTcpServer server;
    bool listening = false;
};

}  // namespace

TEST(PaintHttpTransport, AStalledServerTimesOutAndAClosedPortFails)
{
    SilentServer silent;
    ASSERT_TRUE(silent.listening);
    GMSPaintHttpTransport transport;
    std::optional<GMSPaintReply> stalled;
    transport.post(silent.url(), "body", {}, 200, [&](GMSPaintReply r) { stalled = std::move(r); });
    ASSERT_TRUE(zltest::waitFor([&] { return stalled.has_value(); }, 20000));
    ASSERT_TRUE(stalled->error);
    EXPECT_EQ(stalled->error->domain, kGMSDASHURLErrorDomain);
    EXPECT_EQ(stalled->error->code, kGMSDASHURLErrorTimedOut);

    // A port that nobody listens on any more.
    const QUrl closed = silent.url();
    silent.server.close();
    std::optional<GMSPaintReply> refused;
    transport.post(closed, "body", {}, 5000, [&](GMSPaintReply r) { refused = std::move(r); });
    ASSERT_TRUE(zltest::waitFor([&] { return refused.has_value(); }, 20000));
    ASSERT_TRUE(refused->error);
    EXPECT_EQ(refused->error->code, kGMSDASHURLErrorCannotConnectToHost);
}

TEST(PaintHttpTransport, PostsStillRunningAtTheEndAreCancelledOnce)
{
    SilentServer silent;
    ASSERT_TRUE(silent.listening);
    std::atomic<int> calls{0};
    std::atomic<int> cancelled{0};
    {
        GMSPaintHttpTransport transport;
        for (int i = 0; i < 3; ++i)
            transport.post(silent.url(), "body", {}, 60000, [&](GMSPaintReply r) {
                ++calls;
                if (r.error && r.error->code == kGMSDASHURLErrorCancelled)
                    ++cancelled;
            });
    }
    EXPECT_EQ(calls.load(), 3);
    EXPECT_EQ(cancelled.load(), 3);
    GMSPaintHttpTransport unused;  // never started: nothing to stop
}

TEST_F(PaintEndToEnd, AStalledPaintServerFailsTheBatchInItsTimeout)
{
    SilentServer silent;
    ASSERT_TRUE(silent.listening);
    auto tiles = tileService(kPaintKey);
    tiles->setPaintServer(silent.url(), kPaintKey);
    tiles->paintService()->setTimeoutMs(200);
    tiles->requestTile(GMSTileCoords(0, 0, 0), this, collect());
    ASSERT_TRUE(zltest::waitFor([&] { return answers.size() == 1; }, 20000));
    EXPECT_EQ(answers.begin()->second.status, kGMSTileStatusFailed);
    EXPECT_FALSE(tiles->hasRequestsInFlight());
}
