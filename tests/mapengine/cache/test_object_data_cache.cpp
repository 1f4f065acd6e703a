#include "CacheTestHelpers.h"
#include "GMSCacheNotificationCenter.h"

using namespace cachetest;

TEST(GMSObjectDataCache, StoresLoadsAndKeepsAcrossRuns) {
    QTemporaryDir root;
    {
        GMSObjectDataCache cache(objectsDescriptor(root.path()));
        ASSERT_TRUE(cache.hasStorage());
        EXPECT_TRUE(QFile::exists(root.filePath("GMSCacheStorage-Objects/Objects.sqlite")));
        ASSERT_TRUE(storeObject(cache, "https://x/style/1", QByteArray("\x00\x01table", 7), "3"));
        ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) {
            cache.storeObjectNamesAndData({{"a", "A"}, {"b", "B"}}, "9", c, fn);
        }));
    }
    GMSObjectDataCache cache(objectsDescriptor(root.path()));
    const auto r = loadObject(cache, "https://x/style/1");
    EXPECT_EQ(std::tuple(r.found, r.data, r.version, r.updatedDate.isValid()),
              std::tuple(true, QByteArray("\x00\x01table", 7), QStringLiteral("3"), true));
    EXPECT_EQ(std::pair(loadObject(cache, "b").version, loadObject(cache, "missing").found),
              std::pair(QStringLiteral("9"), false));

    const auto found = await<QHash<QString, QByteArray>>([&](QObject* c, auto fn) {
        cache.findObjectDataPassingTest([](const QString&, const GMSCachedObjectInfo& i) { return i.version == "9"; },
                                        c, fn);
    });
    EXPECT_EQ(found, (QHash<QString, QByteArray>{{"a", "A"}, {"b", "B"}}));

    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { cache.deleteObjectDataWithNames({"a", "nope"}, c, fn); }));
    EXPECT_FALSE(loadObject(cache, "a").found);
    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { cache.deleteObjectDataWithName("b", c, fn); }));
    EXPECT_EQ(cache.lruOrder(), QStringList{"https://x/style/1"});
}

TEST(GMSObjectDataCache, PrunesTheLeastRecentlyUsedWhenLimited) {
    QTemporaryDir root;
    GMSObjectDataCache cache(objectsDescriptor(root.path()), 2);
    ASSERT_TRUE(storeObject(cache, "one", "1"));
    ASSERT_TRUE(storeObject(cache, "two", "2"));
    EXPECT_TRUE(loadObject(cache, "one").found);  // "two" is now the oldest
    ASSERT_TRUE(storeObject(cache, "three", "3"));
    EXPECT_EQ(cache.lruOrder(), (QStringList{"three", "one"}));
    ASSERT_TRUE(storeObject(cache, "one", "1b"));  // replacing doesn't prune
    EXPECT_EQ(cache.lruOrder(), (QStringList{"one", "three"}));
    EXPECT_EQ(loadObject(cache, "one").data, "1b");
}

// Two object types in one store never meet; the notification empties them.
TEST(GMSObjectDataCache, TypesShareTheStoreWithoutMeetingAndTheDeleteNotificationEmptiesThem) {
    QTemporaryDir root;
    GMSObjectDataCache tables(objectsDescriptor(root.path()), 0, 1);
    GMSObjectDataCache epochs(objectsDescriptor(root.path()), 0, 2);
    ASSERT_TRUE(storeObject(tables, "same-name", "table"));
    ASSERT_TRUE(storeObject(epochs, "same-name", "epoch"));
    const auto both = [&] {
        return std::pair(loadObject(tables, "same-name").data, loadObject(epochs, "same-name").data);
    };
    EXPECT_EQ(both(), std::pair(QByteArray("table"), QByteArray("epoch")));
    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { tables.deleteObjectDataCacheWithCompletionHandler(c, fn); }));
    EXPECT_EQ(both(), std::pair(QByteArray(), QByteArray("epoch")));

    GMSCacheNotificationCenter::instance()->post(kGMSObjectDataCacheDeleteCaches);
    EXPECT_FALSE(loadObject(epochs, "same-name").found);
    EXPECT_TRUE(epochs.lruOrder().isEmpty());
}
