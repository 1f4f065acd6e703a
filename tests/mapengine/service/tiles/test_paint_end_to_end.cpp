// The paint route against the real map service as a child process: a tile
// service with the route on gets its tiles over a signed POST on loopback,
// marked with mode 3; a wrong key gets nothing but failures.
#include "GMSDASHTileService.h"
#include "GMSPaintService.h"
#include "mapservice_child.h"
#include "mbtiles_writer.h"
#include "testsupport.h"

#include <QTcpServer>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <tuple>

namespace {

const QByteArray kPaintKey("e2e-paint-signing-key");

QByteArray fakePng(int z, int x, int y)
{
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + QStringLiteral("tile %1/%2/%3").arg(z).arg(x).arg(y).toUtf8();
}

class PaintEndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        const QString mbtiles = dir.filePath("paint.mbtiles");
        // Every tile of zooms 0 and 1.
        QString error;
        ASSERT_TRUE(zltest::writeMbtiles(mbtiles, 1, fakePng, &error)) << error.toStdString();
        endpoint = service.start(QStringLiteral(ZL_MAPSERVICE_EXE),
                                 {"--threads", "4", "--tiles", "satellite=" + mbtiles, "--paint-signing-key",
                                  QString::fromLatin1(kPaintKey)});
        ASSERT_TRUE(endpoint.isValid()) << service.error().toStdString();
    }

    std::shared_ptr<GMSDASHTileService> tileService(const QByteArray& key)
    {
        GMSDASHTileServiceOptions o;
        o.tileType.mapTileType = 1;  // satellite
        o.tileType.paintTileType = 1;
        o.dashEndpointURL = endpoint;
        auto s = GMSDASHTileService::create(
            o, &queue, [this](const std::shared_ptr<GMSDASHRequest>&) { ++framedBatches; }, nullptr);
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
    zltest::MapServiceChild service;
    QUrl endpoint;
    QObject queue;
    int framedBatches = 0;
    std::map<std::tuple<int, int, int>, Answer> answers;
    std::vector<zl::RequestHandle> held;
};

}  // namespace

TEST_F(PaintEndToEnd, TilesArriveByThePaintRouteWithMode3)
{
    auto tiles = tileService(kPaintKey);
    ASSERT_TRUE(tiles->usesPaintRoute());
    EXPECT_EQ(tiles->paintService()->paintServerBaseURL().path(), "/glm/paint");
    const std::vector<std::tuple<int, int, int>> wanted = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {1, 0, 1}, {1, 1, 1}};
    for (const auto& [z, x, y] : wanted)
        held.push_back(tiles->requestTile(GMSTileCoords(z, x, y), collect()));
    ASSERT_TRUE(zltest::waitFor([&] { return answers.size() == wanted.size(); }, 20000)) << answers.size();
    for (const auto& [z, x, y] : wanted) {
        const Answer& a = answers.at({z, x, y});
        ASSERT_TRUE(a.tile) << z << "/" << x << "/" << y;
        EXPECT_EQ(std::tuple(a.status, a.tile->mode, a.tile->data, a.tile->versionID.isEmpty()),
                  std::tuple(int(kGMSTileStatusFromNetwork), 3, fakePng(z, x, y), false));
    }
    EXPECT_EQ(framedBatches, 0);

    // A tile the store lacks fails alone.
    answers.clear();
    held.push_back(tiles->requestTile(GMSTileCoords(5, 3, 3), collect()));
    ASSERT_TRUE(zltest::waitFor([&] { return answers.size() == 1; }, 20000));
    EXPECT_EQ(answers.begin()->second.status, kGMSTileStatusFailed);

    // The zooms went in two batches; each POST has its line in the log.
    tiles.reset();
    service.stop();
    const QString log = service.standardError();
    EXPECT_GE(log.count(QRegularExpression(QStringLiteral("POST /glm/paint \\S+ 200 .*tiles=\\d+/\\d+"))), 3) << log.toStdString();
}

// A stalled server times out; posts still running when the transport ends are
// each cancelled once; a closed port fails.
TEST(PaintHttpTransport, StalledCancelledAndRefusedPosts)
{
    QTcpServer silent;  // takes connections and never answers
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost, 0));
    const QUrl url(QStringLiteral("http://127.0.0.1:%1/glm/paint").arg(silent.serverPort()));
    GMSPaintHttpTransport transport;
    std::optional<GMSPaintReply> stalled;
    transport.post(url, "body", {}, 200, [&](GMSPaintReply r) { stalled = std::move(r); });
    ASSERT_TRUE(zltest::waitFor([&] { return stalled.has_value(); }, 20000));
    ASSERT_TRUE(stalled->error);
    EXPECT_EQ(std::pair(stalled->error->domain, stalled->error->code),
              std::pair(QString(kGMSDASHURLErrorDomain), int(kGMSDASHURLErrorTimedOut)));

    std::atomic<int> calls{0};
    std::atomic<int> cancelled{0};
    {
        GMSPaintHttpTransport ending;
        for (int i = 0; i < 3; ++i)
            ending.post(url, "body", {}, 60000, [&](GMSPaintReply r) {
                ++calls;
                cancelled += r.error && r.error->code == kGMSDASHURLErrorCancelled;
            });
    }
    EXPECT_EQ(std::pair(calls.load(), cancelled.load()), std::pair(3, 3));
    GMSPaintHttpTransport unused;  // never started: nothing to stop

    // A port that nobody listens on any more.
    silent.close();
    std::optional<GMSPaintReply> refused;
    transport.post(url, "body", {}, 5000, [&](GMSPaintReply r) { refused = std::move(r); });
    ASSERT_TRUE(zltest::waitFor([&] { return refused.has_value(); }, 20000));
    ASSERT_TRUE(refused->error);
    EXPECT_EQ(refused->error->code, kGMSDASHURLErrorCannotConnectToHost);
}
