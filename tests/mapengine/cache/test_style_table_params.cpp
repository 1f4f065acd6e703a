#include "GMSRawDeflate.h"
#include "StyleTableFakes.h"

#include <QRandomGenerator>

using namespace cachetest;
using GMSStyleTableServiceParameters = StyleTableTest;

namespace {

GMSStyleTableService::Table tableFor(GMSStyleTableService& s, int mapStyle, qint32 epoch) {
    return await<GMSStyleTableService::Table>(
        [&](QObject* c, auto fn) { s.loadStyleTableForMapStyle(mapStyle, epoch, c, fn); });
}

}  // namespace

TEST_F(GMSStyleTableServiceParameters, StyleTablesGroupLoadsEachTableOnceAndSwitchesWhenTheLastIsIn) {
    fetcher->script[kUrlA] = {{"A", {}}};
    fetcher->script[kUrlB] = {{"B", {}}};
    fetcher->held.insert(kUrlB);
    // Two map styles share table A: it is still fetched once.
    const GMSStyleTableEpochResources epoch2{2, {{kUrlA, 1, 0}, {kUrlB, 1, 1}, {kUrlA, 1, 2}}};
    params->set(epoch2);
    GMSStyleTableService& service = make({0, 1, 2});
    service.setClientParameters(params);
    service.setActiveEpoch(1);
    QList<qint32> updates;
    QObject receiver;
    QObject::connect(&service, &GMSStyleTableService::activeEpochUpdate, &receiver,
                     [&](qint32 e) { updates.append(e); });

    service.clientParametersNotification({1, 38});  // other groups: nothing to load
    service.clientParametersNotification({1, 37});
    ASSERT_TRUE(zltest::waitFor([&] { return fetcher->fetches(kUrlA) == 1 && fetcher->fetches(kUrlB) == 1; }));
    EXPECT_EQ(params->reads.load(), 1) << "only the notification with the style tables group reads the parameters";
    EXPECT_EQ(dataOf(tableFor(service, 0, 2)) + dataOf(tableFor(service, 2, 2)), "AA");
    // A is in, B is pending: the old epoch stays in force, and none is stable.
    EXPECT_EQ(epochs(service), QList<int>({1, 0, false, false}));
    EXPECT_TRUE(updates.isEmpty());

    fetcher->release(kUrlB);
    ASSERT_TRUE(zltest::waitFor([&] { return !updates.isEmpty(); }));
    EXPECT_EQ(updates, QList<qint32>{2});
    EXPECT_EQ(epochs(service), QList<int>({2, 2, true, false}));
    EXPECT_FALSE(service.isTileEpochStale(false, 1)) << "tiles without global styles are never stale";
    EXPECT_EQ(std::pair(fetcher->fetches(kUrlA), fetcher->fetches(kUrlB)), std::pair(1, 1));
    EXPECT_EQ(gmsRawInflate(loadObject(service.styleTableDiskCache(), kUrlB).data), "B") << "raw deflate on disk";
    EXPECT_EQ(loadObject(service.epochResourcesDiskCache(), "ActiveEpochKey").data, "2");
    const auto stored = GMSStyleTableEpochResources::parse(
        loadObject(service.epochResourcesDiskCache(), GMSStyleTableEpochResources::cacheNameForEpoch(2)).data);
    ASSERT_TRUE(stored);
    EXPECT_EQ(*stored, epoch2);

    // The same group again: everything is in memory, nothing is fetched and
    // the epoch does not change again.
    service.clientParametersNotification({37});
    ASSERT_TRUE(zltest::waitFor([&] { return params->reads.load() == 2; }));
    EXPECT_EQ(std::tuple(dataOf(tableFor(service, 1, 2)), fetcher->fetches(kUrlB), updates),
              std::tuple(QByteArray("B"), 1, QList<qint32>{2}));
}

TEST_F(GMSStyleTableServiceParameters, FailedFetchIsLoggedAndTheNextNotificationTriesAgain) {
    fetcher->script[kUrlA] = {{{}, "refused"}, {{}, "refused"}, {{}, "refused"}, {"A", {}}};
    fetcher->script[kUrlB] = {{"B", {}}};
    params->set({4, {{kUrlA, 1, 0}, {kUrlB, 1, 1}}});
    GMSStyleTableService& service = make({0, 1});
    service.setClientParameters(params);
    zltest::LogCapture log;
    EXPECT_EQ(std::pair(service.hasActiveEpoch(), service.isTileEpochStale(true, 99)), std::pair(false, false));

    service.clientParametersNotification({37});
    const QString failed = QStringLiteral("A StyleTable fetch/validation failed for epoch 4, %1").arg(kUrlA);
    ASSERT_TRUE(zltest::waitFor([&] { return log.contains(failed); })) << log.messages().join('\n').toStdString();
    EXPECT_EQ(fetcher->fetches(kUrlA), 3);
    // With no epoch in force the first table makes the loading one active.
    ASSERT_TRUE(zltest::waitFor([&] { return service.activeEpoch() == 4; }));

    service.clientParametersNotification({37});
    ASSERT_TRUE(zltest::waitFor([&] { return fetcher->fetches(kUrlA) == 4; }));
    EXPECT_EQ(std::pair(dataOf(tableFor(service, 0, 4)), fetcher->fetches(kUrlB)), std::pair(QByteArray("A"), 1));
}

TEST_F(GMSStyleTableServiceParameters, EpochUnknownToTheParametersAsksForThemAgain) {
    fetcher->script[kUrlA] = {{"A", {}}};
    fetcher->script[kUrlC] = {{"C", {}}};
    params->set({2, {{kUrlA, 1, 0}}});
    GMSStyleTableService& first = make();
    first.setClientParameters(params);
    EXPECT_FALSE(tableFor(first, 0, 3)) << "a tile of epoch 3 met before the parameters name it";
    EXPECT_EQ(std::pair(params->refetches, fetcher->fetches(kUrlA)), std::pair(std::pair(1, 3), 0));
    // The parameters' epoch, and a map style without a table.
    EXPECT_EQ(dataOf(tableFor(first, 0, 2)) + dataOf(tableFor(first, 7, 2)), "Anone");
    EXPECT_EQ(params->refetches.first, 1);

    first.clientParametersNotification({37});
    ASSERT_TRUE(zltest::waitFor([&] {
        return loadObject(first.epochResourcesDiskCache(), GMSStyleTableEpochResources::cacheNameForEpoch(2)).found;
    }));
    close();
    // A later run whose parameters name epoch 5: tiles of epoch 2 still find
    // their table through the stored resources, without the network.
    params->set({5, {{kUrlC, 1, 0}}});
    GMSStyleTableService& service = make();
    service.setClientParameters(params);
    EXPECT_EQ(dataOf(tableFor(service, 0, 2)), "A");
    EXPECT_EQ(std::pair(fetcher->fetches(kUrlA), params->refetches.first), std::pair(1, 1));
}

// No parameters, epoch 0 or an epoch without tables load nothing; a real
// epoch loads even when its resources cannot be stored.
TEST_F(GMSStyleTableServiceParameters, NothingToLoadAndAFailedStoreOfTheEpochResources) {
    // The caches folder is a file: no store can open, the tables still come.
    const QString blocked = zltest::writeFile(root.filePath("blocked"), "file");
    fetcher->script[kUrlA] = {{"A", {}}};
    zltest::LogCapture log;
    make().clientParametersNotification({37});  // no parameters set: nothing to read
    GMSStyleTableService service(fetcher, objectsDescriptor(blocked), {0});
    params->set({0, {{kUrlB, 1, 0}}});
    service.setClientParameters(params);
    service.clientParametersNotification({37});
    params->set({6, {}});
    service.clientParametersNotification({37});
    ASSERT_TRUE(zltest::waitFor([&] { return params->reads.load() == 2; }));
    EXPECT_FALSE(service.hasActiveEpoch());

    params->set({3, {{kUrlA, 1, 0}}});
    service.clientParametersNotification({37});
    ASSERT_TRUE(zltest::waitFor([&] { return log.contains(QStringLiteral("Failed to store EpochResources 3")); }));
    ASSERT_TRUE(zltest::waitFor([&] { return service.activeEpoch() == 3; }));
    EXPECT_EQ(std::pair(fetcher->fetches(kUrlA), fetcher->fetches(kUrlB)), std::pair(1, 0));
}

TEST(GMSStyleTableEpochResources, RoundTripsAndRefusesGarbage) {
    const GMSStyleTableEpochResources r{12, {{kUrlA, 3, 0}, {QStringLiteral("/styles/\"q\" é"), 0, 9}}};
    EXPECT_EQ(r.serialized(),
              QByteArray(R"({"epoch":12,"styleTables":[{"mapStyle":0,"styleTableFormat":3,"url":")") +
                  kUrlA.toUtf8() + R"("},{"mapStyle":9,"styleTableFormat":0,"url":"/styles/\"q\" é"}]})");
    EXPECT_EQ(GMSStyleTableEpochResources::parse(r.serialized()), r);
    EXPECT_EQ(r.mappingForMapStyle(9)->styleTableFormat, 0);
    EXPECT_FALSE(r.mappingForMapStyle(1));
    for (const char* bad : {"", "[]", R"({"epoch":"1","styleTables":[]})", R"({"epoch":1,"styleTables":[{"url":5}]})"})
        EXPECT_FALSE(GMSStyleTableEpochResources::parse(bad)) << bad;
    // Truncations and random bytes: refused or read, never a crash.
    const QByteArray good = r.serialized();
    for (int n = 0; n < good.size(); ++n) EXPECT_FALSE(GMSStyleTableEpochResources::parse(good.left(n)));
    QRandomGenerator rng(7);
    for (int round = 0; round < 200; ++round) {
        QByteArray noisy = good;
        for (int k = 0; k < 3; ++k) noisy[int(rng.bounded(noisy.size()))] = char(rng.bounded(256));
        GMSStyleTableEpochResources::parse(noisy);
    }
}
