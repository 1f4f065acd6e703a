#include "StyleTableFakes.h"
#include "GMSNetworkStyleTableFetcher.h"
#include "GMSRawDeflate.h"

#include <QRandomGenerator>

#include <httplib.h>

#include <thread>

using namespace cachetest;
using GMSStyleTableServiceTest = StyleTableTest;

TEST(GMSRawDeflate, RoundTripsAndRefusesDamage) {
    QRandomGenerator rng(42);
    for (int round = 0; round < 50; ++round) {
        QByteArray data(int(rng.bounded(5000)) + 1, Qt::Uninitialized);
        for (auto& c : data) c = char(rng.bounded(round % 2 ? 256 : 4));
        const QByteArray packed = gmsRawDeflate(data);
        ASSERT_FALSE(packed.isEmpty());
        EXPECT_EQ(gmsRawInflate(packed), data);
        // Truncated: refused. Random bytes: no crash, whatever comes out.
        EXPECT_TRUE(gmsRawInflate(packed.left(packed.size() / 2)).isEmpty() || packed.size() < 4);
        QByteArray noise(int(rng.bounded(300)), Qt::Uninitialized);
        for (auto& c : noise) c = char(rng.bounded(256));
        gmsRawInflate(noise);
    }
    EXPECT_TRUE(gmsRawDeflate({}).isEmpty());
    EXPECT_TRUE(gmsRawInflate({}).isEmpty());
    // Raw: no zlib header in front.
    EXPECT_NE(quint8(gmsRawDeflate(QByteArray(100, 'a')).at(0)), 0x78);
}

TEST_F(GMSStyleTableServiceTest, TwoRequestsForOneUrlMakeOneFetchAndFailuresAreTriedThreeTimes) {
    fetcher->script[kUrlA] = {{"table-A", {}}};
    fetcher->held.insert(kUrlA);
    GMSStyleTableService& service = make({0, 1});

    QObject ctx;
    std::optional<QByteArray> plain, packed;
    service.fetchStyleTableData(kUrlA, true, 1, &ctx, [&](QByteArray d) { plain = d; });
    service.fetchStyleTableData(kUrlA, false, 1, &ctx, [&](QByteArray d) { packed = d; });
    ASSERT_TRUE(zltest::waitFor([&] { return fetcher->fetches(kUrlA) == 1; }));
    fetcher->release(kUrlA);
    ASSERT_TRUE(zltest::waitFor([&] { return plain && packed; }));
    EXPECT_EQ(std::tuple(fetcher->fetches(kUrlA), *plain, gmsRawInflate(*packed), fetcher->lastTimeoutMs.load()),
              std::tuple(1, QByteArray("table-A"), QByteArray("table-A"), 90000));

    // On disk as raw deflate under the URL, with version "0"; the next
    // request is served from there.
    const auto stored = loadObject(service.styleTableDiskCache(), kUrlA);
    EXPECT_EQ(std::pair(stored.data, stored.version), std::pair(*packed, QStringLiteral("0")));
    const auto again = await<QByteArray>([&](QObject* c, auto fn) { service.fetchStyleTableData(kUrlA, true, 1, c, fn); });
    EXPECT_EQ(again, "table-A");
    EXPECT_EQ(fetcher->fetches(kUrlA), 1);

    // Up to three tries, each failure logged.
    fetcher->script[kUrlB] = {{{}, "timed out"}, {{}, "reset"}, {"third time", {}}};
    zltest::LogCapture log;
    EXPECT_EQ(dataOf(loadTable(service, kUrlB)), "third time");
    EXPECT_EQ(fetcher->fetches(kUrlB), 3);
    EXPECT_TRUE(log.contains(QStringLiteral("Error requesting StyleTable (%1): timed out").arg(kUrlB)));
}

// A table stored broken removes itself and is fetched the next time; one the
// application bundles is stored without a fetch.
TEST_F(GMSStyleTableServiceTest, BrokenTableOnDiskRemovesItselfABundledOneIsStoredAndTheActiveEpochIsKept) {
    struct Loader : GMSStyleTableServiceResourceLoader {
        QByteArray styleTableForURLString(const QString& url) override { return url == kUrlB ? "bundled" : ""; }
    };
    fetcher->script[kUrlA] = {{"GOOD", {}}};
    auto decoder = [](const QByteArray& data, int format) -> GMSStyleTableService::Table {
        if (data == "BROKEN") throw std::runtime_error("bad style table");
        return GMSLazyMultiZoomStyleTable::tableFromData(data, format);
    };
    GMSStyleTableService& service = make({0}, std::make_shared<Loader>(), decoder);
    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) {
        service.styleTableDiskCache().storeObjectDataWithName(kUrlA, "0", gmsRawDeflate("BROKEN"), c, fn);
    }));
    EXPECT_FALSE(loadTable(service, kUrlA));
    EXPECT_EQ(fetcher->fetches(kUrlA), 0);
    EXPECT_FALSE(loadObject(service.styleTableDiskCache(), kUrlA).found) << "gone after the first try";
    EXPECT_EQ(dataOf(loadTable(service, kUrlA)) + "+" + dataOf(loadTable(service, kUrlB)), "GOOD+bundled");
    EXPECT_EQ(std::pair(fetcher->fetches(kUrlA), fetcher->fetches(kUrlB)), std::pair(1, 0));
    EXPECT_EQ(gmsRawInflate(loadObject(service.styleTableDiskCache(), kUrlB).data), "bundled");

    // The active epoch is kept; setting the same value again writes nothing.
    service.setActiveEpoch(7);
    EXPECT_EQ(loadObject(service.epochResourcesDiskCache(), "ActiveEpochKey").data, "7");
    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) {
        service.epochResourcesDiskCache().deleteObjectDataWithName("ActiveEpochKey", c, fn);
    }));
    service.setActiveEpoch(7);
    EXPECT_FALSE(loadObject(service.epochResourcesDiskCache(), "ActiveEpochKey").found);
    service.setActiveEpoch(8);
    close();
    GMSStyleTableService& reopened = make();
    EXPECT_TRUE(zltest::waitFor([&] { return reopened.activeEpoch() == 8; }));
}

// The real fetcher against a loopback server: an HTTP error is an error
// (the end to end test fetches a table through it).
TEST(GMSNetworkStyleTableFetcher, AnHttpErrorIsAnError) {
    httplib::Server server;
    server.Get("/gone", [&](const httplib::Request&, httplib::Response& res) { res.status = 404; });
    const int port = server.bind_to_any_port("127.0.0.1");
    ASSERT_GT(port, 0);
    std::thread serving([&] { server.listen_after_bind(); });
    auto fetcher = std::make_shared<GMSNetworkStyleTableFetcher>();
    std::optional<QPair<QByteArray, QString>> gone;
    fetcher->fetch(QStringLiteral("http://127.0.0.1:%1/gone").arg(port), 5000,
                   [&](const QByteArray& d, const QString& e) { gone = {{d, e}}; });
    ASSERT_TRUE(zltest::waitFor([&] { return gone.has_value(); }, 20000));
    EXPECT_TRUE(gone->first.isEmpty() && !gone->second.isEmpty());
    fetcher.reset();
    server.stop();
    serving.join();
}
