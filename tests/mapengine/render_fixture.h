#pragma once

// Render tests draw the map in a real window with OpenGL under X; without a
// display they fail, so that a machine without one can't pass them silently.
// The map's shared services are reset around each.

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QQuickWindow>

#include <cmath>
#include <functional>
#include <initializer_list>
#include <utility>

#include "CLLocationCoordinate2D.h"

#include "GMSMapRenderer.h"
#include "GMSMapView.h"
#include "GMSServices.h"
#include "GMSTileManager.h"
#include "GMSTileSource.h"
#include "testsupport.h"

namespace zltest {

inline QImage filledTile(QColor colour, QImage::Format format = QImage::Format_ARGB32_Premultiplied) {
    QImage img(256, 256, format);
    img.fill(colour);
    return img;
}

// Tiles drawn by a function, answered on the next turn of the event loop.
struct GeneratedTileSource : GMSTileSource {
    explicit GeneratedTileSource(std::function<QImage(const GMSTileKey&)> make) : make_(std::move(make)) {}
    explicit GeneratedTileSource(std::function<QImage()> make)
        : make_([make = std::move(make)](const GMSTileKey&) { return make(); }) {}
    zl::RequestHandle requestTile(const GMSTileKey& k, Answer answer) override {
        answer(make_(k), true);
        return answer.handle();
    }

private:
    std::function<QImage(const GMSTileKey&)> make_;
};

// Imagery of one blue and labels whose tiles are half-transparent red on
// their western half and clear on the eastern; labels end at `labelsUpTo`.
struct HybridSource : GeneratedTileSource {
    explicit HybridSource(int labelsUpTo)
        : GeneratedTileSource([labelsUpTo](const GMSTileKey& k) -> QImage {
              if (k.type == GMSTileLayerType::Satellite) return filledTile(QColor(0, 0, 255), QImage::Format_RGB32);
              if (k.zoom > labelsUpTo) return {};
              QImage img = filledTile(Qt::transparent);
              for (int y = 0; y < 256; ++y)
                  for (int x = 0; x < 128; ++x) img.setPixel(x, y, qRgba(128, 0, 0, 128));
              return img;
          }) {}
};

// The middle of tile (x, y) at a zoom.
inline CLLocationCoordinate2D tileMiddle(int zoom, int x, int y) {
    const double n = double(1 << zoom);
    const double lon = (x + 0.5) / n * 360.0 - 180.0;
    const double lat = std::atan(std::sinh(M_PI * (1.0 - 2.0 * (y + 0.5) / n))) * 180.0 / M_PI;
    return {lat, lon};
}

inline bool near(QRgb a, QRgb b, int tolerance = 3) {
    return std::abs(qRed(a) - qRed(b)) <= tolerance && std::abs(qGreen(a) - qGreen(b)) <= tolerance &&
           std::abs(qBlue(a) - qBlue(b)) <= tolerance;
}

// What those tiles show: labels at half opacity over the imagery, and the imagery.
inline const QRgb kLabelledPixel = qRgb(128, 0, 127);
inline const QRgb kImageryPixel = qRgb(0, 0, 255);

// Checks a row through the middle of a shot centred on tile (32, 20) at
// zoom 6 of HybridSource's tiles: at each offset from the middle, labels
// over imagery or imagery alone.
inline void expectHybridRow(const QImage& shot, std::initializer_list<std::pair<int, bool>> labelledAt) {
    const QPoint mid(shot.width() / 2, shot.height() / 2);
    for (auto [dx, labelled] : labelledAt) {
        const QRgb got = shot.pixel(mid.x() + dx, mid.y());
        EXPECT_TRUE(near(got, labelled ? kLabelledPixel : kImageryPixel)) << dx << ": " << std::hex << got;
    }
}

// The overlay, shown on the map.
template <typename O>
std::shared_ptr<O> onMap(GMSMapView& map, std::shared_ptr<O> overlay) {
    overlay->setMap(&map);
    return overlay;
}

inline void placeMap(QQuickWindow& window, GMSMapView& map, GMSTileSource& source, QSize size) {
    window.resize(size);
    map.setSize(QSizeF(size));
    map.setTileSource(&source);
}

inline bool showWindow(QQuickWindow& window) {
    window.show();
    return waitFor([&] { return window.isExposed(); });
}

inline bool showHybrid(QQuickWindow& window, GMSMapView& map, GMSTileSource& source) {
    map.setMapType(GMSMapView::kGMSTypeHybrid);
    placeMap(window, map, source, QSize(600, 300));
    return showWindow(window);
}

// The map's shared services, with a key, for as long as this lives.
struct ServicesWithKey {
    ServicesWithKey() {
        GMSServices::resetForTests();
        GMSServices::provideAPIKey(QString(39, QChar('K')));
    }
    ~ServicesWithKey() { GMSServices::resetForTests(); }
};

class RenderTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(QGuiApplication::platformName(), QLatin1String("xcb"))
            << "render tests need an X display with OpenGL (run them under xvfb-run)";
    }
    ServicesWithKey services;
};

}  // namespace zltest
