#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QThread>

#include "Clock.h"
#include "GMSCoordinateTileSource.h"
#include "GMSMapView.h"
#include "render_fixture.h"
#include "GMSProjection.h"
#include "GMSTileManager.h"
#include "fakes.h"
#include "testsupport.h"

namespace {

class TileManagerTest : public ::testing::Test {
protected:
    void start(GMSTileLayerType layer) {
        tm.setSource(&src);
        tm.setLayers({layer});
    }
    void show(double lat, double lng, float zoom, QSizeF size) {
        tm.update(GMSProjection(GMSCameraPosition(lat, lng, zoom), size));
    }
    ManualSource src;
    GMSTileManager tm;
};

TEST_F(TileManagerTest, KeysHaveParentsAndItAsksForVisibleTilesWrappingColumns) {
    const GMSTileKey k{GMSTileLayerType::Satellite, 5, 13, 22};
    EXPECT_EQ(std::pair(k.parent(), k.parent(3)), std::pair(GMSTileKey{GMSTileLayerType::Satellite, 4, 6, 11},
                                                            GMSTileKey{GMSTileLayerType::Satellite, 2, 1, 2}));
    EXPECT_NE(qHash(k), qHash(GMSTileKey{GMSTileLayerType::Labels, 5, 13, 22}));
    start(GMSTileLayerType::Roadmap);
    // Zoom 2 over the antimeridian: columns wrap into 0..3.
    show(0.0, 179.0, 2.0f, QSizeF(512, 256));
    EXPECT_EQ(std::tuple(tm.tileZoom(), tm.isLoading(), src.asked.isEmpty()), std::tuple(2, true, false));
    for (const GMSTileKey& k : src.asked) EXPECT_TRUE(k.x >= 0 && k.x < 4 && k.y >= 0 && k.y < 4) << k.x << "," << k.y;
    // The same view asks for nothing more.
    const int n = src.asked.size();
    show(0.0, 179.0, 2.0f, QSizeF(512, 256));
    EXPECT_EQ(src.asked.size(), n);
}

TEST_F(TileManagerTest, ParentStandsInWhileAChildLoads) {
    start(GMSTileLayerType::Satellite);
    show(10.0, 10.0, 3.0f, QSizeF(100, 100));
    for (const GMSTileKey& k : QList<GMSTileKey>(src.asked)) src.answer(k);
    EXPECT_FALSE(tm.isLoading());
    src.asked.clear();
    show(10.0, 10.0, 5.0f, QSizeF(100, 100));
    ASSERT_TRUE(!src.asked.isEmpty() && tm.drawList().size() == 1u && !tm.drawList()[0].empty());
    for (const auto& t : tm.drawList()[0])
        EXPECT_EQ(std::tuple(t.key.zoom, t.drawnKey, t.sourceRect.width(), t.sourceRect.x()),
                  std::tuple(5, t.key.parent(2), 64.0, (t.key.x - (t.key.parent(2).x << 2)) * 64.0));
    src.answer(src.asked.first());
    const auto& drawn = tm.drawList()[0];
    EXPECT_TRUE(std::any_of(drawn.begin(), drawn.end(), [](auto& t) { return t.drawnKey == t.key; }));

    // An older copy is drawn while the tile stays pending for the current
    // one; if that fails, the older copy stays and no ancestor is asked for.
    const GMSTileKey last = src.asked.last();
    const QImage older = zltest::filledTile(Qt::red);
    src.reply(last, older, false);
    EXPECT_TRUE(tm.loaded().contains(last) && tm.pending().contains(last));
    const int asked = src.asked.size();
    src.fail(last);
    EXPECT_EQ(std::tuple(tm.pending().contains(last), tm.loaded().value(last).pixel(0, 0), src.asked.size()),
              std::tuple(false, older.pixel(0, 0), asked));
}

TEST_F(TileManagerTest, FailedTilesAreNotStoredAndTilesThatLeftTheViewAreCancelled) {
    QSignalSpy done(&tm, &GMSTileManager::loadingFinished);
    start(GMSTileLayerType::Roadmap);
    show(0.0, 0.0, 2.0f, QSizeF(64, 64));
    // Each failure asks for the next ancestor, down to zoom 0.
    for (int i = 0; i < src.asked.size(); ++i) src.fail(src.asked[i]);
    EXPECT_EQ(std::tuple(tm.loaded().size(), tm.isLoading(), done.count()), std::tuple(0, false, 1));
    EXPECT_TRUE(src.asked.contains(GMSTileKey{GMSTileLayerType::Roadmap, 0, 0, 0}));
    EXPECT_EQ(QSet<GMSTileKey>(src.asked.begin(), src.asked.end()).size(), src.asked.size());  // each once

    src.asked.clear();
    show(0.0, 0.0, 12.0f, QSizeF(256, 256));
    const QList<GMSTileKey> first = src.asked;
    show(40.0, 100.0, 12.0f, QSizeF(256, 256));
    for (const GMSTileKey& k : first) EXPECT_TRUE(src.cancelled.contains(k));
    const quint64 gen = tm.generation();
    src.answer(first.first());  // too late
    EXPECT_TRUE(tm.generation() == gen && !tm.loaded().contains(first.first()));
}

// A source whose data ends at zoom 3, seen at zoom 6: the nearest ancestor
// it has is drawn enlarged, once found, and the failing zooms between are
// not asked again while the view stays over them.
TEST_F(TileManagerTest, DeepestAncestorStandsInWhereTheSourceEnds) {
    start(GMSTileLayerType::Satellite);
    const auto answerAll = [&] {
        for (int i = 0; i < src.asked.size(); ++i) {
            const GMSTileKey k = src.asked[i];
            if (!tm.pending().contains(k)) continue;
            if (k.zoom <= 3) src.answer(k);
            else src.fail(k);
        }
    };
    show(50.0, 20.0, 6.0f, QSizeF(100, 100));
    answerAll();
    EXPECT_FALSE(tm.isLoading());
    for (const GMSTileKey& k : src.asked) EXPECT_GE(k.zoom, 3);  // nothing above the deepest it has
    ASSERT_FALSE(tm.drawList()[0].empty());
    for (const auto& t : tm.drawList()[0])
        EXPECT_EQ(std::tuple(t.drawnKey, t.sourceRect.width()), std::tuple(t.key.parent(3), 32.0));
    // A small move within the same ancestor: the visible tiles are asked
    // again (the source may have them now), the missing zooms 4 and 5 not.
    src.asked.clear();
    show(50.0, 20.05, 6.0f, QSizeF(140, 100));
    answerAll();
    for (const GMSTileKey& k : src.asked) EXPECT_EQ(k.zoom, 6);
    EXPECT_FALSE(tm.isLoading());
    // Moving far away cancels a stand-in still on its way.
    src.asked.clear();
    show(-30.0, -60.0, 6.0f, QSizeF(100, 100));
    for (int i = 0; i < src.asked.size(); ++i)
        if (src.asked[i].zoom == 6) src.fail(src.asked[i]);
    const QList<GMSTileKey> standIns = tm.pending().values();
    ASSERT_FALSE(standIns.isEmpty());
    for (const GMSTileKey& k : standIns) EXPECT_EQ(k.zoom, 5);
    show(10.0, 100.0, 6.0f, QSizeF(100, 100));
    for (const GMSTileKey& k : standIns) EXPECT_TRUE(src.cancelled.contains(k));
}

TEST_F(TileManagerTest, KeepsABoundedNumberOfPictures) {
    start(GMSTileLayerType::Roadmap);
    QList<GMSTileKey> first, beforeLast;
    for (int i = 0; i < 60; ++i) {
        show(0.0, -170.0 + i * 5.0, 10.0f, QSizeF(1024, 1024));
        for (const GMSTileKey& k : QList<GMSTileKey>(src.asked)) src.answer(k);
        if (i == 0) first = src.asked;
        if (i == 58) beforeLast = src.asked;
        src.asked.clear();
    }
    EXPECT_LE(tm.loaded().size(), GMSTileManager::kMaxLoadedTiles);
    // The least recently drawn went.
    for (const GMSTileKey& k : first) EXPECT_FALSE(tm.loaded().contains(k));
    for (const GMSTileKey& k : beforeLast) EXPECT_TRUE(tm.loaded().contains(k));
}

// Tiles arriving while the rest of the screen loads are drawn at the map's
// frame rate; the tile that completes the screen, or the failure that ends
// the load, is drawn at once.
TEST(MapViewTiles, PartialScreensArePacedTheLastTileIsNot) {
    const zltest::ServicesWithKey services;
    ManualSource src;
    zl::ManualClock clock(50.0);
    GMSMapView view(GMSCameraPosition(10.0, 20.0, 10.0f));
    view.setClock(&clock);
    view.setSize(QSizeF(600, 600));
    view.setTileSource(&src);
    src.asked.clear();
    view.setCamera(GMSCameraPosition(30.0, 40.0, 12.0f));  // asks for the frame of the move
    QList<GMSTileKey> asked = src.asked;
    ASSERT_GE(asked.size(), 4);
    // The next tile answered after a while: is the frame it makes waiting?
    const auto pacedAfter = [&](double seconds) {
        clock.advanceSeconds(seconds);
        src.answer(asked.takeFirst());
        return view.isTileFramePaced();
    };
    EXPECT_TRUE(pacedAfter(0.004));
    EXPECT_TRUE(pacedAfter(0.004));
    // Its turn came: the next tile alone is drawn at once.
    ASSERT_TRUE(zltest::waitFor([&] { return !view.isTileFramePaced(); }, 2000));
    EXPECT_FALSE(pacedAfter(0.050));
    EXPECT_EQ(pacedAfter(0.001), !asked.isEmpty());
    while (!asked.isEmpty()) src.answer(asked.takeFirst());
    EXPECT_FALSE(view.tileManager()->isLoading() || view.isTileFramePaced());

    // A load that ends in a failure: the waiting frame is due at once.
    view.setCamera(GMSCameraPosition(-30.0, -40.0, 12.0f));
    asked = view.tileManager()->pending().values();
    ASSERT_GE(asked.size(), 2);
    EXPECT_TRUE(pacedAfter(0.001));
    // Each failure asks for an ancestor to stand in; they fail too.
    for (int round = 0; round < 20 && view.tileManager()->isLoading(); ++round)
        for (const GMSTileKey& k : view.tileManager()->pending().values()) src.fail(k);
    EXPECT_FALSE(view.tileManager()->isLoading() || view.isTileFramePaced());
}

// Answers come on the requester's thread, once each; a request let go
// never answers, even when its worker had answered before it was let go.
TEST(CoordinateTileSource, AnswersOnTheRequestersThreadUnlessLetGo) {
    GMSCoordinateTileSource src;
    QObject requester;
    std::vector<std::pair<GMSTileKey, QImage>> answers;
    std::vector<zl::RequestHandle> handles;
    for (int i = 0; i < 50; ++i) {
        const GMSTileKey k{i % 2 ? GMSTileLayerType::Roadmap : GMSTileLayerType::Labels, 10, i, 7};
        handles.push_back(src.requestTile(k, GMSTileSource::Answer(&requester, [&, k](const QImage& img, bool final) {
            EXPECT_TRUE(QThread::currentThread() == requester.thread() && final);
            answers.emplace_back(k, img);
        })));
    }
    src.waitForDone();  // every answer is on its way
    for (std::size_t i = 0; i < handles.size(); ++i)
        if (i % 5) handles[i].reset();
    QCoreApplication::sendPostedEvents();
    ASSERT_EQ(answers.size(), 10u);
    for (const auto& [k, img] : answers) EXPECT_EQ(std::tuple(k.x % 5, img.size()), std::tuple(0, QSize(256, 256)));
    // Let go while the workers draw, and the requester gone right after:
    // nothing reaches it.
    int late = 0;
    for (int i = 0; i < 200; ++i) {
        auto* gone = new QObject;
        zl::RequestHandle h = src.requestTile({GMSTileLayerType::Roadmap, 4, i % 16, 3},
                                              GMSTileSource::Answer(gone, [&late](const QImage&, bool) { ++late; }));
        if (i % 3) QThread::yieldCurrentThread();
        h.reset();
        delete gone;
    }
    src.waitForDone();
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(late, 0);
    const QImage labels = GMSCoordinateTileSource::renderTile({GMSTileLayerType::Labels, 3, 2, 1});
    EXPECT_EQ(qAlpha(labels.pixel(30, 30)), 0);  // labels are transparent between the lines
}

}  // namespace
