#include <gtest/gtest.h>

#include <QQuickWindow>
#include <QTest>
#include <QWheelEvent>

#include "Clock.h"
#include "fakes.h"
#include "geometry/near.h"
#include "render_fixture.h"

namespace {

// Real Qt input events reach the gesture logic: mouse for desktop users,
// touch for phones and tablets.
class InputTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Deliver every touch move at once instead of once a frame.
        qputenv("QML_NO_TOUCH_COMPRESSION", "1");
        window.resize(400, 300);
        map = new GMSMapView(GMSCameraPosition(10.0, 20.0, 10.0f), window.contentItem());
        map->setSize(QSizeF(400, 300));
        map->setTileSource(&tiles);
        map->setClock(&clock);
        map->setDisplayLink(&link);
        window.show();
        ASSERT_TRUE(zltest::waitFor([&] { return window.isExposed(); }));
    }
    void TearDown() override { delete map; }
    zltest::ServicesWithKey services;
    ManualSource tiles;
    zl::ManualClock clock{50.0};
    GMSDisplayLink link{ManualFrameTimer::factory()};
    QQuickWindow window;
    GMSMapView* map = nullptr;
};

TEST_F(InputTest, MouseDragPansWheelZoomsAboutThePointerAndDoubleClickZoomsIn) {
    const CLLocationCoordinate2D start = map->camera().target();
    QTest::mousePress(&window, Qt::LeftButton, {}, QPoint(100, 100));
    for (int i = 1; i <= 10; ++i) {
        clock.advanceSeconds(0.05);
        QTest::mouseMove(&window, QPoint(100 + 10 * i, 100));
    }
    clock.advanceSeconds(0.05);
    QTest::mouseRelease(&window, Qt::LeftButton, {}, QPoint(200, 100));
    EXPECT_LT(map->camera().target().longitude, start.longitude);
    EXPECT_NEAR(map->camera().target().latitude, start.latitude, 1e-9);

    const CLLocationCoordinate2D under = map->projection().coordinateForPoint({300, 200});
    QWheelEvent wheel(QPointF(300, 200), window.mapToGlobal(QPointF(300, 200)), QPoint(), QPoint(0, 240),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&window, &wheel);
    EXPECT_NEAR(map->camera().zoom(), 11.0f, 1e-5);
    EXPECT_TRUE(near(map->projection().pointForCoordinate(under), {300, 200}, 1e-3));

    // A double click zooms in by one more.
    QTest::mouseDClick(&window, Qt::LeftButton, {}, QPoint(200, 150));
    ASSERT_TRUE(map->isAnimating());
    runFrames(clock, 1.0);
    EXPECT_NEAR(map->camera().zoom(), 12.0f, 1e-5);
}

TEST_F(InputTest, TouchPinchZooms) {
    QPointingDevice* device = QTest::createTouchDevice();
    QTest::touchEvent(&window, device).press(1, QPoint(150, 150)).press(2, QPoint(250, 150));
    for (int i = 1; i <= 10; ++i) {
        clock.advanceSeconds(0.03);
        QTest::touchEvent(&window, device).move(1, QPoint(150 - 5 * i, 150)).move(2, QPoint(250 + 5 * i, 150));
    }
    EXPECT_NEAR(map->camera().zoom(), 10.0f + std::log2(200.0 / 100.0 / 1.1), 0.05);
    clock.advanceSeconds(1.0);
    QTest::touchEvent(&window, device).release(1, QPoint(100, 150)).release(2, QPoint(300, 150));
    EXPECT_EQ(map->gestureHandler().gestureState(), 0);
}

}  // namespace
