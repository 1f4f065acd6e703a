// The one LRU container: order, bounds, replacing, reading back and trimming.
#include "LruCache.h"

#include <gtest/gtest.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

using zl::LruCache;
using Cache = LruCache<QString, int>;

namespace {

// Runs a script of space-separated steps on the cache: "a1" puts 1 under a,
// "<a1" puts it as the oldest, "?a" gets, ".a" finds, "-a" removes, "#2"
// trims to 2, "*" clears. Steps that answer append their answer to the log:
// a value or "-" for nothing, "y"/"n" for a removal, "x" for a refused
// oldest, the number dropped by a trim.
QString run(Cache& cache, const QString& script) {
    QStringList log;
    auto value = [](const int* v) { return v ? QString::number(*v) : QStringLiteral("-"); };
    for (const QString& step : script.split(u' ', Qt::SkipEmptyParts)) {
        const QChar op = step.front();
        const QString key = step.mid(1, 1);
        if (op == u'<') {
            if (!cache.putOldest(key, step.mid(2).toInt())) log << "x";
        } else if (op == u'?') {
            log << value(cache.get(key));
        } else if (op == u'.') {
            log << value(cache.find(key));
        } else if (op == u'-') {
            log << (cache.remove(key) ? "y" : "n");
        } else if (op == u'#') {
            log << QString::number(cache.trimTo(step.mid(1).toUInt()));
        } else if (op == u'*') {
            cache.clear();
        } else {
            cache.put(step.left(1), step.mid(1).toInt());
        }
    }
    return log.join(u' ');
}

// "c3 b2 a1": youngest first.
QString contents(const Cache& cache) {
    QStringList out;
    for (const auto& [key, value] : cache) out << key + QString::number(value);
    return out.join(u' ');
}

}  // namespace

TEST(LruCache, ScriptsTrimmingAroundWhatIsKeptWalkingBothWaysAndValuesThatOnlyMove) {
    struct Case {
        const char* what;
        std::size_t capacity;
        const char* script;
        const char* contents;
        const char* log;
    };
    const std::size_t kNone = Cache::kUnbounded;
    const Case cases[] = {
        {"a new key in a full cache drops the oldest", 3, "a1 b2 c3 d4", "d4 c3 b2", ""},
        {"a get makes the entry youngest, a find does not", 3, "a1 b2 c3 ?a .b d4 ?b ?z", "d4 a1 c3", "1 2 - -"},
        {"replacing makes no room and moves to the front", 2, "a1 b2 a9 ?b a7", "a7 b2", "2"},
        {"unbounded by default", kNone, "a1 b2 c3 d4 e5", "e5 d4 c3 b2 a1", ""},
        {"a capacity of 0 holds the last", 0, "a1 b2 ?a", "b2", "-"},
        {"rows read youngest first go in at the old end", kNone, "<a1 <b2 <c3 ?c", "c3 a1 b2", "3"},
        {"a full cache refuses an oldest; one replaced moves", 2, "a1 b2 <c3 <a5", "b2 a5", "x"},
        {"remove and clear", kNone, "a1 b2 -a -a * c3 -b", "c3", "y n n"},
        {"trimming drops from the old end", kNone, "a1 b2 c3 d4 #2 #5 #0", "", "2 0 2"},
        {"a used oldest outlives the next new keys", 3, "a1 b2 c3 ?a .b d4 e5 ?a", "a1 e5 d4", "1 2 1"},
        {"an oldest replaced in a full cache is not refused", 2, "a1 b2 <b7 c3", "c3 a1", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Cache cache(c.capacity);
        EXPECT_EQ(run(cache, c.script), c.log);
        EXPECT_EQ(contents(cache), c.contents);
        EXPECT_EQ(cache.size(), std::size_t(cache.keys().size()));
    }

    // Owners that must keep some entries (tiles on screen) trim around them.
    Cache kept;
    run(kept, "a1 b2 c3 d4 e5");
    const auto even = [](const Cache::Entry& e) { return e.value % 2 == 0; };
    EXPECT_EQ(kept.trimTo(1, even), 3u);
    EXPECT_EQ(contents(kept), "d4 b2") << "above the target: all that is left is kept";
    EXPECT_EQ(kept.keys<QList<QString>>(), (QList<QString>{"d", "b"}));
    QStringList oldestFirst;
    for (auto it = kept.rbegin(); it != kept.rend(); ++it) oldestFirst << it->key;
    EXPECT_EQ(oldestFirst, (QStringList{"b", "d"}));
    // Values may be changed in place; keys are const.
    for (auto& [key, value] : kept) value *= 10;
    EXPECT_EQ(contents(kept), "d40 b20");

    // Values that only move.
    LruCache<int, std::unique_ptr<int>> moving(2);
    moving.put(1, std::make_unique<int>(10));
    *moving.put(1, std::make_unique<int>(11)) += 1;
    moving.putOldest(2, std::make_unique<int>(20));
    moving.put(3, std::make_unique<int>(30));
    EXPECT_EQ(moving.keys(), (std::vector<int>{3, 1}));
    EXPECT_EQ(**moving.find(1), 12);
}
