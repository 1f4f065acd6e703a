#pragma once

// Render tests draw the map in a real window with OpenGL under X; without a
// display they are skipped. The map's shared services are reset around each.

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QTimer>

#include <functional>

#include "GMSServices.h"
#include "GMSTileSource.h"

namespace zltest {

// Tiles drawn by a function, answered on the next turn of the event loop.
struct GeneratedTileSource : GMSTileSource {
    explicit GeneratedTileSource(std::function<QImage()> make) : make_(std::move(make)) {}
    void requestTile(const GMSTileKey& k) override {
        QTimer::singleShot(0, this, [this, k] { emit tileReady(k, make_()); });
    }
    void cancelTile(const GMSTileKey&) override {}

private:
    std::function<QImage()> make_;
};

class RenderTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (QGuiApplication::platformName() != QLatin1String("xcb"))
            GTEST_SKIP() << "no X display for OpenGL rendering";
        GMSServices::resetForTests();
        GMSServices::provideAPIKey(QString(39, QChar('R')));
    }
    void TearDown() override { GMSServices::resetForTests(); }
};

}  // namespace zltest
