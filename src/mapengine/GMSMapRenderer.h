#pragma once

#include <QHash>
#include <QImage>
#include <QSGNode>

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "GMSMapFrame.h"
#include "GMSShapeGeometry.h"
#include "GMSTileSource.h"

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
// the textures it made. It draws from the frame the view hands it at each
// synchronisation and only makes nodes and uploads what the frame holds.
class GMSMapRenderer : public QSGNode {
public:
    GMSMapRenderer();
    ~GMSMapRenderer() override;

    void sync(const GMSMapFrame& frame, QQuickWindow* window);

    // Counters over every map in the process, that tests and benchmarks read.
    struct Stats {
        std::uint64_t geometryBuilds = 0;  // shape geometries made from scratch (when shapes change)
        std::uint64_t tileListBuilds = 0;
        std::uint64_t texturesCreated = 0;
        std::uint64_t stackedTiles = 0;  // tiles drawn with their upper layer in one pass, over all tile lists
    };
    static Stats totals();

private:
    struct ShapeEntry {
        std::uint64_t revision = 0;
        std::int32_t zIndex = 0;
        std::uint64_t order = 0;
        gms_shape::Origin origin;
        QSGTransformNode* transform = nullptr;
        GMSLineMaterial* lineMaterial = nullptr;
        float strokeWidth = 0.0f;
        double bearing = 0.0;  // a picture turned about its anchor
        QPointF anchor;
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
    // One control or the dot: a transform over an image, with its own texture.
    struct ChromeSlot {
        QSGTransformNode* transform = nullptr;
        QSGImageNode* image = nullptr;
        QSGTexture* texture = nullptr;
        qint64 pictureKey = 0;
    };

    void syncTiles(const GMSMapFrame& frame, QQuickWindow* window);
    void syncShapes(const GMSMapFrame& frame, QQuickWindow* window);
    void syncMarkers(const GMSMapFrame& frame, QQuickWindow* window);
    // True when the slot's node came or went.
    bool syncChrome(ChromeSlot& slot, const GMSMapFrame::Chrome& chrome, QQuickWindow* window);
    void uploadShape(ShapeEntry& e, const gms_shape::Mesh& mesh, QQuickWindow* window);
    QSGTexture* iconTexture(const QImage& image, QQuickWindow* window);
    QSGTexture* texture(const QImage& image, QQuickWindow* window);
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

    ChromeSlot dot_, infoWindow_, compass_, locationButton_;
};
