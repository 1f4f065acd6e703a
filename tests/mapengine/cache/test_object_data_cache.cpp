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

// A limited cache prunes the least recently used; two object types in one
// store never meet; the notification empties them.
TEST(GMSObjectDataCache, PruningAndTypesThatShareTheStore) {
    QTemporaryDir root;
    GMSObjectDataCache tables(objectsDescriptor(root.path()), 2, 1);
    GMSObjectDataCache epochs(objectsDescriptor(root.path()), 0, 2);
    ASSERT_TRUE(storeObject(tables, "one", "1"));
    ASSERT_TRUE(storeObject(tables, "two", "2"));
    EXPECT_TRUE(loadObject(tables, "one").found);  // "two" is now the oldest
    ASSERT_TRUE(storeObject(tables, "three", "3"));
    EXPECT_EQ(tables.lruOrder(), (QStringList{"three", "one"}));
    ASSERT_TRUE(storeObject(tables, "one", "table"));  // replacing doesn't prune
    EXPECT_EQ(tables.lruOrder(), (QStringList{"one", "three"}));

    ASSERT_TRUE(storeObject(epochs, "one", "epoch"));
    const auto both = [&] { return std::pair(loadObject(tables, "one").data, loadObject(epochs, "one").data); };
    EXPECT_EQ(both(), std::pair(QByteArray("table"), QByteArray("epoch")));
    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { tables.deleteObjectDataCacheWithCompletionHandler(c, fn); }));
    EXPECT_EQ(both(), std::pair(QByteArray(), QByteArray("epoch")));

    GMSCacheNotificationCenter::instance()->post(kGMSObjectDataCacheDeleteCaches);
    EXPECT_EQ(std::pair(loadObject(epochs, "one").found, epochs.lruOrder()), std::pair(false, QStringList()));
}
