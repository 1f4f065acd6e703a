#pragma once

#include <QHash>
#include <QImage>
#include <QSGNode>
#include <QSizeF>

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "GMSShapeGeometry.h"
#include "GMSTileSource.h"

class GMSMapView;
class GMSOverlay;
class GMSLineMaterial;
class QSGGeometryNode;
class QSGImageNode;
class QSGOpacityNode;
class QSGTexture;
class QSGTransformNode;
class QQuickWindow;

// The map's scene: tiles, shapes in world units under their own transforms,
// markers and controls in view points. It is the root node of the view, so
// the scene graph owns it and deletes it on the render thread together with
// the textures it made. Everything here runs in updatePaintNode, while the
// GUI thread waits, so it may read the view freely.
class GMSMapRenderer : public QSGNode {
public:
    GMSMapRenderer();
    ~GMSMapRenderer() override;

    void sync(GMSMapView* view);

    // Counters that tests and benchmarks read.
    struct Stats {
        std::uint64_t geometryBuilds = 0;  // shape geometries made from scratch
        std::uint64_t tileListBuilds = 0;
        std::uint64_t texturesCreated = 0;
        std::uint64_t stackedTiles = 0;  // tiles drawn with their upper layer in one pass, over all tile lists
    };
    const Stats& stats() const { return stats_; }
    // The same, summed over every map in the process.
    static Stats totals();

    // The info window: its size, and its picture.
    static QSizeF infoWindowSize(const QString& title, const QString& snippet);
    static QImage renderInfoWindow(const QString& title, const QString& snippet);

private:
    struct ShapeEntry {
        std::uint64_t revision = 0;
        std::int32_t zIndex = 0;
        std::uint64_t order = 0;
        gms_shape::Origin origin;
        QSGTransformNode* transform = nullptr;
        GMSLineMaterial* lineMaterial = nullptr;
        float strokeWidth = 0.0f;
        QSGImageNode* image = nullptr;
        QSGOpacityNode* opacity = nullptr;
        double bearing = 0.0;
        double anchorX = 0.0, anchorY = 0.0;
        bool seen = false;
    };
    struct MarkerEntry {
        QSGTransformNode* transform = nullptr;
        QSGOpacityNode* opacity = nullptr;
        QSGImageNode* image = nullptr;
        qint64 iconKey = 0;
        std::uint64_t order = 0;
        bool seen = false;
    };

    void syncTiles(GMSMapView* view, QQuickWindow* window);
    void syncShapes(GMSMapView* view, QQuickWindow* window);
    void syncMarkers(GMSMapView* view, QQuickWindow* window);
    void syncChrome(GMSMapView* view, QQuickWindow* window);
    void buildShape(ShapeEntry& e, GMSOverlay* overlay, QQuickWindow* window);
    QSGTexture* iconTexture(const QImage& image, QQuickWindow* window);
    QSGImageNode* makeImageNode(QQuickWindow* window);

    // Camera of this frame, in world units (2^30 per world, y north).
    double scale_ = 1.0;  // points per world unit
    double cos_ = 1.0, sin_ = 0.0;
    double centerX_ = 0.0, centerY_ = 0.0;
    double targetX_ = 0.0, targetY_ = 0.0;
    bool zoomChanged_ = true;
    float lastZoom_ = -1.0f;

    QSGTransformNode* tileRoot_ = nullptr;
    QSGNode* shapesRoot_ = nullptr;
    QSGNode* markersRoot_ = nullptr;
    QSGNode* chromeRoot_ = nullptr;

    std::vector<QSGImageNode*> tilePool_;
    QHash<GMSTileKey, QSGTexture*> tileTextures_;
    quint64 tileListVersion_ = ~quint64(0);
    quint64 tileGeneration_ = ~quint64(0);
    std::vector<bool> tileNodeOwn_;  // per pool node in use: shows its own tile
    struct StackNode {
        QSGGeometryNode* node = nullptr;
        bool baseOwn = false, overOwn = false;
    };
    std::vector<StackNode> stackPool_;
    std::size_t stacksUsed_ = 0;
    bool tilesPixelExact_ = false;

    std::unordered_map<std::uint64_t, ShapeEntry> shapes_;
    std::unordered_map<std::uint64_t, MarkerEntry> markers_;
    QHash<qint64, QSGTexture*> iconTextures_;
    bool orderDirty_ = true;

    QSGTransformNode* dotNode_ = nullptr;
    QSGImageNode* dotImage_ = nullptr;
    QSGTransformNode* compassNode_ = nullptr;
    QSGImageNode* compassImage_ = nullptr;
    QSGImageNode* locationButton_ = nullptr;
    QSGImageNode* infoWindow_ = nullptr;
    QString infoKey_;
    QSGTexture* infoTexture_ = nullptr;

    Stats stats_;
};
