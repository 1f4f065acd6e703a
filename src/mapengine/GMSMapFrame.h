#pragma once

#include <QHash>
#include <QImage>
#include <QPointF>
#include <QRectF>

#include <cstdint>
#include <memory>
#include <vector>

#include "GMSShapeGeometry.h"
#include "GMSTileManager.h"

// What one frame of the map shows, taken from the view when the scene is
// synchronised: numbers, lists and pictures that are already made, so that
// the renderer only makes nodes and uploads textures and vertices. Pictures
// are implicitly shared and meshes are shared and never changed: taking a
// frame copies no pixels and no vertices.
struct GMSMapFrame {
    // The camera: points round the world at this zoom, the bearing in
    // degrees, the target's point on the view, and the target in world
    // points at this zoom and in world units (2^30 a world, y north).
    double worldSize = 256.0;
    double bearing = 0.0;
    float zoom = 0.0f;
    QPointF viewCenter;
    QPointF targetPoint;
    double targetX = 0.0, targetY = 0.0;

    struct Tiles {
        int zoom = 0;
        int firstColumn = 0, firstRow = 0;
        std::vector<std::vector<GMSTileManager::DrawTile>> drawList;  // per layer, lowest first
        QHash<GMSTileKey, QImage> pictures;  // every picture held; textures of others go
        quint64 drawListVersion = 0;  // tile nodes are rebuilt when this moves,
        quint64 generation = 0;       // textures of dropped pictures go when this does
    } tiles;

    // Overlays in the order they were placed (`order` counts over shapes and
    // markers alike); each kind is drawn by zIndex, then by that order.
    struct Shape {
        std::uint64_t id = 0, order = 0;
        std::int32_t zIndex = 0;
        std::shared_ptr<const gms_shape::Mesh> mesh;
    };
    std::vector<Shape> shapes;

    struct Marker {
        std::uint64_t id = 0, order = 0;
        std::int32_t zIndex = 0;
        QImage icon;  // null: nothing shows
        QRectF rect;  // the icon about its ground anchor, in points
        double opacity = 1.0;
        QPointF point;          // the position on the view
        double rotation = 0.0;  // degrees on the screen
    };
    std::vector<Marker> markers;

    // The my-location dot and the controls over the map: `picture` over
    // `rect` about `at` (view points), turned by `rotation` degrees. A null
    // picture is not drawn.
    struct Chrome {
        QImage picture;
        QPointF at;
        QRectF rect;
        double rotation = 0.0;
    };
    Chrome myLocation, infoWindow, compass, locationButton;
};
