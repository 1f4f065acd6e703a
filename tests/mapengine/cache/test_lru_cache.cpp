#include "GMSCacheTileKey.h"
#include "GMSLRUCache.h"
#include "GMSTileMemCache.h"
#include "testsupport.h"

#include <gtest/gtest.h>

using Lru = GMSLRUCache<QString, int>;

TEST(GMSLRUCache, RefusesZeroEntries) {
    zltest::LogCapture log;
    EXPECT_EQ(Lru::create(0, QStringLiteral("x")), nullptr);
    EXPECT_FALSE(log.warnings().isEmpty());
    EXPECT_NE(Lru::create(1, QStringLiteral("x")), nullptr);
}

TEST(GMSLRUCache, EvictsLeastRecentlyUsedAndCountsHits) {
    auto lru = Lru::create(3, QStringLiteral("t"));
    lru->setObject(1, "a");
    lru->setObject(2, "b");
    lru->setObject(3, "c");
    EXPECT_EQ(lru->keysYoungestFirst(), (QList<QString>{"c", "b", "a"}));

    ASSERT_EQ(lru->objectForKey("a"), 1);  // a becomes the youngest
    EXPECT_EQ(lru->keysYoungestFirst(), (QList<QString>{"a", "c", "b"}));
    EXPECT_EQ(lru->findObjectForKey("b"), 2);  // no touch
    EXPECT_EQ(lru->keysYoungestFirst(), (QList<QString>{"a", "c", "b"}));

    lru->setObject(4, "d");  // b is the oldest and goes
    EXPECT_EQ(lru->keysYoungestFirst(), (QList<QString>{"d", "a", "c"}));
    EXPECT_FALSE(lru->objectForKey("b").has_value());
    EXPECT_EQ(lru->ejectCounter(), 1u);
    EXPECT_EQ(lru->hitCounter(), 1u);
    EXPECT_EQ(lru->missCounter(), 1u);
    EXPECT_DOUBLE_EQ(lru->hitRatio(), 0.5);
}

TEST(GMSLRUCache, ReplacingTellsTheDelegateAndDoesNotEvict) {
    auto lru = Lru::create(2, QStringLiteral("t"));
    QList<QPair<QString, int>> removed;
    lru->setDelegate([&](const QString& k, int v) { removed.append({k, v}); });
    lru->setObject(1, "a");
    lru->setObject(2, "b");
    lru->setObject(10, "a");
    EXPECT_EQ(removed, (QList<QPair<QString, int>>{{"a", 1}}));
    EXPECT_EQ(lru->count(), 2u);
    EXPECT_EQ(lru->keysYoungestFirst(), (QList<QString>{"a", "b"}));
    EXPECT_EQ(lru->findObjectForKey("a"), 10);
    EXPECT_EQ(lru->ejectCounter(), 0u);
}

TEST(GMSLRUCache, ReservedEntriesAreSteppedOverSoTheCacheMayOverflow) {
    auto lru = Lru::create(2, QStringLiteral("t"));
    lru->setObject(1, "a");
    lru->setObject(2, "b");
    lru->reserveSet({"a", "b"}, "client");
    lru->setObject(3, "c");
    EXPECT_EQ(lru->count(), 3u);
    lru->trimToTargetSize(0);
    EXPECT_EQ(lru->keysYoungestFirst(), (QList<QString>{"b", "a"}));

    lru->reserveSet({"a"}, "client");  // replaces the client's set
    lru->trimToTargetSize(1);
    EXPECT_EQ(lru->keysYoungestFirst(), (QList<QString>{"a"}));
    lru->cancelReservationForClient("client");
    lru->trimToTargetSize(0);
    EXPECT_EQ(lru->count(), 0u);
}

TEST(GMSLRUCache, RemovesAtBothEnds) {
    auto lru = Lru::create(5, QStringLiteral("t"));
    for (int i = 0; i < 4; ++i) lru->setObject(i, QString::number(i));
    EXPECT_TRUE(lru->removeOldestObject());
    EXPECT_TRUE(lru->removeYoungestObject());
    EXPECT_EQ(lru->keysYoungestFirst(), (QList<QString>{"2", "1"}));
    EXPECT_TRUE(lru->removeObjectForKey("2"));
    EXPECT_FALSE(lru->removeObjectForKey("2"));
    lru->removeAllObjects();
    EXPECT_FALSE(lru->removeOldestObject());
    EXPECT_FALSE(lru->removeYoungestObject());
    EXPECT_GT(lru->mutationsCounter(), 0u);
}

using MemCache = GMSTileMemCache<GMSCacheTileKey, int>;
constexpr int kNotFound = -1;

TEST(GMSTileMemCache, NotFoundSetAnswersWithTheMarkerWithoutTouching) {
    auto mem = MemCache::create(2, kNotFound);
    mem->setObject(7, {1, 0, 0});
    mem->setObject(8, {1, 1, 0});
    mem->markKeyAsNotFound({1, 0, 0});
    EXPECT_EQ(mem->objectForKey({1, 0, 0}), kNotFound);
    EXPECT_TRUE(mem->isNotFoundMarker(*mem->objectForKey({1, 0, 0})));
    // The not-found answer didn't make (1,0,0) young: it is still the oldest.
    mem->setObject(9, {1, 2, 0});
    mem->removeObjectForKey({1, 0, 0});
    EXPECT_FALSE(mem->objectForKey({1, 0, 0}).has_value());
    EXPECT_EQ(mem->objectForKey({1, 1, 0}), 8);
    EXPECT_EQ(mem->objectForKey({1, 2, 0}), 9);

    mem->markKeyAsNotFound({5, 5, 5});
    EXPECT_EQ(mem->objectForKey({5, 5, 5}), kNotFound);
    EXPECT_EQ(mem->count(), 2u);
}

TEST(GMSTileMemCache, UpdatePredicateMayKeepTheOldTile) {
    auto mem = MemCache::create(4, kNotFound, [](int existing, int incoming) { return incoming > existing; });
    mem->setObject(5, {0, 0, 0});
    mem->setObject(3, {0, 0, 0});
    EXPECT_EQ(mem->objectForKey({0, 0, 0}), 5);
    mem->setObject(6, {0, 0, 0});
    EXPECT_EQ(mem->objectForKey({0, 0, 0}), 6);
}

TEST(GMSTileMemCache, MemoryWarningShedsAllButReserved) {
    auto mem = MemCache::create(8, kNotFound);
    for (int i = 0; i < 5; ++i) mem->setObject(i, {2, i, 0});
    mem->reserveSet({{2, 1, 0}, {2, 3, 0}}, "screen");
    mem->didReceiveMemoryWarning();
    EXPECT_EQ(mem->count(), 2u);
    EXPECT_EQ(mem->objectForKey({2, 1, 0}), 1);
    EXPECT_EQ(mem->objectForKey({2, 3, 0}), 3);
    mem->cancelReservationForClient("screen");
    mem->didReceiveMemoryWarning();
    EXPECT_EQ(mem->count(), 0u);
    EXPECT_EQ(MemCache::create(0, kNotFound), nullptr);
}
