#include "GMSMapRenderer.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QQuickWindow>
#include <QSGFlatColorMaterial>
#include <QSGGeometryNode>
#include <QSGImageNode>
#include <QSGOpacityNode>
#include <QSGTexture>
#include <QSGTransformNode>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <unordered_set>

#include "GMSGroundOverlay.h"
#include "GMSLineMaterial.h"
#include "GMSMapView.h"
#include "GMSMarker.h"
#include "GMSPolygon.h"
#include "GMSPolyline.h"
#include "GMSSimdState.h"
#include "GMSTileManager.h"
#include "GMSTileStackMaterial.h"
#include "GMSUISettings.h"
#include "geometry/GMSPolylinePrep.h"

using gmscore::model::Point2D;

namespace {
std::atomic<std::uint64_t> g_geometryBuilds{0}, g_tileListBuilds{0}, g_texturesCreated{0}, g_stackedTiles{0};
constexpr double kWorld = 1073741824.0;  // 2^30 units
constexpr double kDegrees = 57.29577951308232;

QFont infoFont(bool bold) {
    QFont f;
    f.setPixelSize(bold ? 15 : 13);
    f.setBold(bold);
    return f;
}

QSGGeometryNode* makeGeometryNode(QSGGeometry* geometry, QSGMaterial* material) {
    auto* node = new QSGGeometryNode();
    node->setGeometry(geometry);
    node->setFlag(QSGNode::OwnsGeometry);
    node->setMaterial(material);
    node->setFlag(QSGNode::OwnsMaterial);
    return node;
}

QSGGeometryNode* strokeNode(const std::vector<gms_shape::LineVertex>& v, const std::vector<std::uint32_t>& idx,
                            GMSLineMaterial* material) {
    auto* g = new QSGGeometry(GMSLineMaterial::attributes(), int(v.size()), int(idx.size()),
                              QSGGeometry::UnsignedIntType);
    g->setDrawingMode(QSGGeometry::DrawTriangles);
    std::memcpy(g->vertexData(), v.data(), v.size() * sizeof(gms_shape::LineVertex));
    std::memcpy(g->indexData(), idx.data(), idx.size() * sizeof(std::uint32_t));
    return makeGeometryNode(g, material);
}

QSGGeometryNode* fillNode(const std::vector<gms_shape::FillVertex>& v, const std::vector<std::uint32_t>& idx,
                          const QColor& color) {
    auto* g = new QSGGeometry(QSGGeometry::defaultAttributes_Point2D(), int(v.size()), int(idx.size()),
                              QSGGeometry::UnsignedIntType);
    g->setDrawingMode(QSGGeometry::DrawTriangles);
    std::memcpy(g->vertexData(), v.data(), v.size() * sizeof(gms_shape::FillVertex));
    std::memcpy(g->indexData(), idx.data(), idx.size() * sizeof(std::uint32_t));
    auto* m = new QSGFlatColorMaterial();
    m->setColor(color);
    return makeGeometryNode(g, m);
}

// A polygon ring in world units. Straight rings need no span or subdivision
// work, only the conversion and the unwrap over the antimeridian.
GMSPreparedVertices ringVertices(const GMSPath& path, bool geodesic) {
    if (geodesic) return GMSPrepareVertices(path, true, nullptr, true);
    GMSPreparedVertices pv;
    if (path.count() < 2) return pv;
    pv.points = GMSWorldPointsUnwrapped(path.coordinates());
    pv.spanVertexCounts = {pv.points.size()};
    return pv;
}

}  // namespace

GMSMapRenderer::GMSMapRenderer() {
    tileRoot_ = new QSGTransformNode();
    shapesRoot_ = new QSGNode();
    markersRoot_ = new QSGNode();
    chromeRoot_ = new QSGNode();
    appendChildNode(tileRoot_);
    appendChildNode(shapesRoot_);
    appendChildNode(markersRoot_);
    appendChildNode(chromeRoot_);
}

GMSMapRenderer::~GMSMapRenderer() {
    // Pool nodes may be out of the tree; they are ours to delete.
    tileRoot_->removeAllChildNodes();
    for (QSGImageNode* n : tilePool_) delete n;
    for (StackNode& s : stackPool_) delete s.node;
    qDeleteAll(tileTextures_);
    qDeleteAll(iconTextures_);
    delete infoTexture_;
}

QSGImageNode* GMSMapRenderer::makeImageNode(QQuickWindow* window) {
    QSGImageNode* n = window->createImageNode();
    n->setFiltering(QSGTexture::Linear);
    n->setOwnsTexture(false);
    return n;
}

QSGTexture* GMSMapRenderer::iconTexture(const QImage& image, QQuickWindow* window) {
    const qint64 key = image.cacheKey();
    auto it = iconTextures_.find(key);
    if (it != iconTextures_.end()) return *it;
    QSGTexture* t = window->createTextureFromImage(image);
    ++stats_.texturesCreated;
    ++g_texturesCreated;
    iconTextures_.insert(key, t);
    return t;
}

GMSMapRenderer::Stats GMSMapRenderer::totals() {
    return {g_geometryBuilds.load(), g_tileListBuilds.load(), g_texturesCreated.load(), g_stackedTiles.load()};
}

void GMSMapRenderer::sync(GMSMapView* view) {
    QQuickWindow* window = view->window();
    if (!window) return;
    gmsClearUpperSimdState();
    const GMSCameraPosition cam = view->camera();
    const GMSProjection proj = view->projection();
    scale_ = proj.worldSize() / kWorld;
    const double b = cam.bearing() / kDegrees;
    cos_ = std::cos(b);
    sin_ = std::sin(b);
    centerX_ = proj.viewCenter().x();
    centerY_ = proj.viewCenter().y();
    targetX_ = (gms_mercator::xForLongitude(cam.target().longitude) - 0.5) * kWorld;
    targetY_ = (0.5 - gms_mercator::yForLatitude(cam.target().latitude)) * kWorld;
    zoomChanged_ = cam.zoom() != lastZoom_;
    lastZoom_ = cam.zoom();

    syncTiles(view, window);
    syncShapes(view, window);
    syncMarkers(view, window);
    syncChrome(view, window);
}

// ---------------------------------------------------------------- tiles

void GMSMapRenderer::syncTiles(GMSMapView* view, QQuickWindow* window) {
    GMSTileManager* tm = view->tileManager();
    const GMSProjection proj = view->projection();
    const int z = tm->tileZoom();
    const double k = proj.worldSize() / (256.0 * std::exp2(z));  // view points per tile-zoom pixel
    const QPointF tw = proj.worldPointForCoordinate(view->camera().target());
    const double ox = tm->firstColumn() * 256.0 * k - tw.x();
    const double oy = tm->firstRow() * 256.0 * k - tw.y();
    QMatrix4x4 m(float(cos_ * k), float(sin_ * k), 0, float(centerX_ + ox * cos_ + oy * sin_),
                 float(-sin_ * k), float(cos_ * k), 0, float(centerY_ - ox * sin_ + oy * cos_),
                 0, 0, 1, 0, 0, 0, 0, 1);
    tileRoot_->setMatrix(m);
    // At a whole zoom with north up, one tile pixel is one screen pixel:
    // sampling the nearest texel is exact there, and cheaper than blending four.
    const bool pixelExact = std::abs(k - 1.0) < 1e-9 && sin_ == 0.0 && cos_ == 1.0 &&
                            window->effectiveDevicePixelRatio() == 1.0;
    const bool filteringChanged = pixelExact != tilesPixelExact_;
    tilesPixelExact_ = pixelExact;
    auto filteringFor = [pixelExact](bool ownTile) {
        return pixelExact && ownTile ? QSGTexture::Nearest : QSGTexture::Linear;
    };

    if (tm->generation() != tileGeneration_) {
        // Textures of pictures the manager has dropped go now.
        tileGeneration_ = tm->generation();
        for (auto it = tileTextures_.begin(); it != tileTextures_.end();) {
            if (!tm->loaded().contains(it.key())) {
                delete it.value();
                it = tileTextures_.erase(it);
            } else {
                ++it;
            }
        }
    }
    auto stackFiltering = [&](StackNode& s) {
        auto* m = static_cast<GMSTileStackMaterial*>(s.node->material());
        m->baseFiltering = filteringFor(s.baseOwn);
        m->overFiltering = filteringFor(s.overOwn);
        s.node->markDirty(QSGNode::DirtyMaterial);
    };
    if (tm->drawListVersion() == tileListVersion_) {
        if (filteringChanged) {
            for (std::size_t i = 0; i < tileNodeOwn_.size(); ++i)
                tilePool_[i]->setFiltering(filteringFor(tileNodeOwn_[i]));
            for (std::size_t i = 0; i < stacksUsed_; ++i) stackFiltering(stackPool_[i]);
        }
        return;
    }
    tileListVersion_ = tm->drawListVersion();
    ++stats_.tileListBuilds;
    ++g_tileListBuilds;
    tileRoot_->removeAllChildNodes();
    tileNodeOwn_.clear();
    stacksUsed_ = 0;

    using DrawTile = GMSTileManager::DrawTile;
    auto textureFor = [&](const DrawTile& t) -> QSGTexture* {
        QSGTexture*& tex = tileTextures_[t.drawnKey];
        if (!tex) {
            const QImage img = tm->loaded().value(t.drawnKey);
            if (img.isNull()) {
                tileTextures_.remove(t.drawnKey);
                return nullptr;
            }
            tex = window->createTextureFromImage(img);
            ++stats_.texturesCreated;
            ++g_texturesCreated;
        }
        return tex;
    };
    auto rectOf = [&](const DrawTile& t) {
        return QRectF((t.column - tm->firstColumn()) * 256.0, (t.row - tm->firstRow()) * 256.0, 256.0, 256.0);
    };
    std::size_t used = 0;
    auto addImage = [&](const DrawTile& t, QSGTexture* tex) {
        if (used == tilePool_.size()) {
            QSGImageNode* n = makeImageNode(window);
            n->setFlag(QSGNode::OwnedByParent, false);
            tilePool_.push_back(n);
        }
        QSGImageNode* n = tilePool_[used++];
        n->setTexture(tex);
        n->setRect(rectOf(t));
        n->setSourceRect(t.sourceRect);
        n->setFiltering(filteringFor(t.drawnKey == t.key));
        tileNodeOwn_.push_back(t.drawnKey == t.key);
        tileRoot_->appendChildNode(n);
    };
    auto addStack = [&](const DrawTile& b, QSGTexture* baseTex, const DrawTile& o, QSGTexture* overTex) {
        if (stacksUsed_ == stackPool_.size()) {
            auto* n = new QSGGeometryNode;
            auto* g = new QSGGeometry(GMSTileStackMaterial::attributes(), 4);
            g->setDrawingMode(QSGGeometry::DrawTriangleStrip);
            n->setGeometry(g);
            n->setMaterial(new GMSTileStackMaterial);
            n->setFlags(QSGNode::OwnsGeometry | QSGNode::OwnsMaterial);
            stackPool_.push_back({n, false, false});
        }
        StackNode& s = stackPool_[stacksUsed_++];
        auto* m = static_cast<GMSTileStackMaterial*>(s.node->material());
        m->base = baseTex;
        m->over = overTex;
        s.baseOwn = b.drawnKey == b.key;
        s.overOwn = o.drawnKey == o.key;
        stackFiltering(s);
        GMSTileStackMaterial::setQuad(s.node->geometry(), rectOf(b), baseTex, b.sourceRect, overTex, o.sourceRect);
        s.node->markDirty(QSGNode::DirtyGeometry);
        tileRoot_->appendChildNode(s.node);
    };

    const auto& layers = tm->drawList();
    // A transparent layer over opaque pictures (labels over imagery) is drawn
    // in the same pass as the picture under it: each screen pixel is filled
    // once, which is most of a frame's cost where drawing is done in software.
    // The software scene graph has no shaders: there every layer is drawn on its own.
    const bool canStack =
        layers.size() > 1 && window->rendererInterface()->graphicsApi() != QSGRendererInterface::Software;
    std::vector<bool> stacked(canStack ? layers[1].size() : 0, false);
    QHash<QPoint, std::size_t> upperAt;
    if (canStack)
        for (std::size_t i = 0; i < layers[1].size(); ++i) upperAt.insert(QPoint(layers[1][i].column, layers[1][i].row), i);
    for (std::size_t li = 0; li < layers.size(); ++li) {
        for (std::size_t i = 0; i < layers[li].size(); ++i) {
            if (li == 1 && canStack && stacked[i]) continue;
            const DrawTile& t = layers[li][i];
            QSGTexture* tex = textureFor(t);
            if (!tex) continue;
            if (li == 0 && canStack && !tex->hasAlphaChannel()) {
                const auto up = upperAt.constFind(QPoint(t.column, t.row));
                if (up != upperAt.constEnd()) {
                    if (QSGTexture* overTex = textureFor(layers[1][*up])) {
                        addStack(t, tex, layers[1][*up], overTex);
                        stacked[*up] = true;
                        continue;
                    }
                }
            }
            addImage(t, tex);
        }
    }
    stats_.stackedTiles += stacksUsed_;
    g_stackedTiles += stacksUsed_;
}

// ---------------------------------------------------------------- shapes

void GMSMapRenderer::buildShape(ShapeEntry& e, GMSOverlay* overlay, QQuickWindow* window) {
    gmsClearUpperSimdState();
    ++stats_.geometryBuilds;
    ++g_geometryBuilds;
    while (QSGNode* c = e.transform->firstChild()) {
        e.transform->removeChildNode(c);
        delete c;
    }
    e.lineMaterial = nullptr;
    e.image = nullptr;
    e.opacity = nullptr;
    e.strokeWidth = 0.0f;

    std::vector<gms_shape::LineVertex> lv;
    std::vector<std::uint32_t> li;
    switch (overlay->type()) {
    case GMSOverlay::Polyline: {
        auto* pl = static_cast<GMSPolyline*>(overlay);
        const GMSPreparedVertices& pv = pl->preparedVertices();
        if (pv.points.size() < 2 || !(pl->strokeWidth() > 0.0f)) return;
        e.origin = gms_shape::originFor(pv.points);
        // Colours per segment from the span that owns it; a gradient span
        // blends along its vertices.
        const std::vector<std::pair<QColor, QColor>> spanColors = pl->spanColorRanges();
        std::vector<QColor> seg(pv.points.size() - 1, spanColors.front().first);
        std::vector<QColor> segEnd(seg);
        for (std::size_t s = 0; s < pv.spanVertexCounts.size() && s < spanColors.size(); ++s) {
            const auto [first, last] = pv.spanVertexRange(s);
            const auto& [from, to] = spanColors[s];
            const double len = last > first ? double(last - first) : 1.0;
            auto at = [&](std::size_t i) {
                if (from == to) return from;
                const double f = double(i - first) / len;
                return QColor::fromRgbF(from.redF() + (to.redF() - from.redF()) * f,
                                        from.greenF() + (to.greenF() - from.greenF()) * f,
                                        from.blueF() + (to.blueF() - from.blueF()) * f,
                                        from.alphaF() + (to.alphaF() - from.alphaF()) * f);
            };
            for (std::size_t i = first; i < last && i < seg.size(); ++i) {
                seg[i] = at(i);
                segEnd[i] = at(i + 1);
            }
        }
        gms_shape::buildStroke(pv.points, e.origin, false, seg, lv, li, &segEnd);
        e.lineMaterial = new GMSLineMaterial();
        e.strokeWidth = pl->strokeWidth();
        e.transform->appendChildNode(strokeNode(lv, li, e.lineMaterial));
        break;
    }
    case GMSOverlay::Polygon: {
        auto* pg = static_cast<GMSPolygon*>(overlay);
        const GMSPreparedVertices outer = ringVertices(pg->path(), pg->geodesic());
        if (outer.points.size() < 2) return;
        e.origin = gms_shape::originFor(outer.points);
        std::vector<std::vector<Point2D>> holes;
        for (const GMSPath& h : pg->holes()) {
            GMSPreparedVertices hv = ringVertices(h, pg->geodesic());
            if (hv.points.size() >= 3) holes.push_back(std::move(hv.points));
        }
        if (pg->fillColor().isValid() && pg->fillColor().alpha() > 0 && outer.points.size() >= 3) {
            std::vector<gms_shape::FillVertex> fv;
            std::vector<std::uint32_t> fi;
            gms_shape::buildFill(outer.points, holes, e.origin, fv, fi);
            if (!fi.empty()) e.transform->appendChildNode(fillNode(fv, fi, pg->fillColor()));
        }
        if (pg->strokeColor().isValid() && pg->strokeWidth() > 0.0f) {
            const std::vector<QColor> colors{pg->strokeColor()};
            gms_shape::buildStroke(outer.points, e.origin, true, colors, lv, li);
            for (const auto& h : holes) gms_shape::buildStroke(h, e.origin, true, colors, lv, li);
            e.lineMaterial = new GMSLineMaterial();
            e.strokeWidth = pg->strokeWidth();
            e.transform->appendChildNode(strokeNode(lv, li, e.lineMaterial));
        }
        break;
    }
    case GMSOverlay::GroundOverlay: {
        auto* go = static_cast<GMSGroundOverlay*>(overlay);
        if (!go->bounds() || !go->bounds()->isValid() || go->icon().isNull()) return;
        const Point2D sw = Point2D::fromCoordinate(go->bounds()->southWest());
        const Point2D ne = Point2D::fromCoordinate(go->bounds()->northEast());
        double w = double(ne.x) - sw.x;
        if (w < 0) w += kWorld;
        const double h = double(ne.y) - sw.y;
        e.origin = {sw.x, sw.y};
        e.bearing = go->bearing();
        e.anchorX = go->anchor().x() * w;
        e.anchorY = (1.0 - go->anchor().y()) * h;
        e.opacity = new QSGOpacityNode();
        e.opacity->setOpacity(std::clamp(double(go->opacity()), 0.0, 1.0));
        e.image = makeImageNode(window);
        e.image->setTexture(iconTexture(go->icon(), window));
        e.image->setRect(QRectF(0, 0, w, h));
        // World y grows north; the picture's top is its north edge.
        e.image->setTextureCoordinatesTransform(QSGImageNode::MirrorVertically);
        e.opacity->appendChildNode(e.image);
        e.transform->appendChildNode(e.opacity);
        break;
    }
    default:
        break;
    }
}

void GMSMapRenderer::syncShapes(GMSMapView* view, QQuickWindow* window) {
    for (auto& [id, e] : shapes_) e.seen = false;
    std::uint64_t order = 0;
    for (const GMSOverlayPtr& o : view->overlays()) {
        ++order;
        if (o->type() == GMSOverlay::Marker) continue;
        const std::uint64_t id = o->overlayID();
        auto [it, inserted] = shapes_.try_emplace(id);
        ShapeEntry& e = it->second;
        e.seen = true;
        if (inserted) {
            e.transform = new QSGTransformNode();
            shapesRoot_->appendChildNode(e.transform);
            orderDirty_ = true;
        }
        if (e.order != order || e.zIndex != o->zIndex()) orderDirty_ = true;
        e.order = order;
        e.zIndex = o->zIndex();
        if (inserted || e.revision != o->revision()) {
            e.revision = o->revision();
            buildShape(e, o.get(), window);
            zoomChanged_ = true;
        }
    }
    for (auto it = shapes_.begin(); it != shapes_.end();) {
        if (!it->second.seen) {
            shapesRoot_->removeChildNode(it->second.transform);
            delete it->second.transform;
            it = shapes_.erase(it);
        } else {
            ++it;
        }
    }
    if (orderDirty_) {
        // Draw order: zIndex with the top bit flipped, as unsigned; ties by age.
        std::vector<ShapeEntry*> sorted;
        sorted.reserve(shapes_.size());
        for (auto& [id, e] : shapes_) sorted.push_back(&e);
        std::sort(sorted.begin(), sorted.end(), [](const ShapeEntry* a, const ShapeEntry* b) {
            const std::uint32_t pa = std::uint32_t(a->zIndex) ^ 0x80000000u;
            const std::uint32_t pb = std::uint32_t(b->zIndex) ^ 0x80000000u;
            return pa != pb ? pa < pb : a->order < b->order;
        });
        shapesRoot_->removeAllChildNodes();
        for (ShapeEntry* e : sorted) shapesRoot_->appendChildNode(e->transform);
        orderDirty_ = false;
    }
    // The camera: one matrix per shape, and the stroke width in local units.
    for (auto& [id, e] : shapes_) {
        double dx = double(e.origin.x) - targetX_;
        dx -= std::round(dx / kWorld) * kWorld;  // the copy of the world nearest the camera
        const double dy = double(e.origin.y) - targetY_;
        const double ux = dx * scale_, uy = -dy * scale_;
        const double tx = centerX_ + ux * cos_ + uy * sin_;
        const double ty = centerY_ - ux * sin_ + uy * cos_;
        QMatrix4x4 m(float(scale_ * cos_), float(-scale_ * sin_), 0, float(tx),
                     float(-scale_ * sin_), float(-scale_ * cos_), 0, float(ty),
                     0, 0, 1, 0, 0, 0, 0, 1);
        if (e.image && e.bearing != 0.0) {
            m.translate(float(e.anchorX), float(e.anchorY));
            m.rotate(float(-e.bearing), 0, 0, 1);
            m.translate(float(-e.anchorX), float(-e.anchorY));
        }
        e.transform->setMatrix(m);
        if (e.lineMaterial && zoomChanged_) {
            e.lineMaterial->halfWidth = float(e.strokeWidth / 2.0 / scale_);
            for (QSGNode* c = e.transform->firstChild(); c; c = c->nextSibling())
                if (c->type() == QSGNode::GeometryNodeType &&
                    static_cast<QSGGeometryNode*>(c)->material() == e.lineMaterial)
                    c->markDirty(QSGNode::DirtyMaterial);
        }
    }
}

// ---------------------------------------------------------------- markers

void GMSMapRenderer::syncMarkers(GMSMapView* view, QQuickWindow* window) {
    const GMSProjection proj = view->projection();
    const double bearing = view->camera().bearing();
    for (auto& [id, e] : markers_) e.seen = false;
    std::unordered_set<qint64> usedIcons;
    std::vector<std::pair<std::pair<std::uint32_t, std::uint64_t>, MarkerEntry*>> order;
    std::uint64_t n = 0;
    bool membershipChanged = false;
    for (const GMSOverlayPtr& o : view->overlays()) {
        ++n;
        if (o->type() == GMSOverlay::GroundOverlay) usedIcons.insert(static_cast<GMSGroundOverlay*>(o.get())->icon().cacheKey());
        if (o->type() != GMSOverlay::Marker) continue;
        auto* m = static_cast<GMSMarker*>(o.get());
        if (!CLLocationCoordinate2DIsValid(m->position())) continue;
        auto [it, inserted] = markers_.try_emplace(o->overlayID());
        MarkerEntry& e = it->second;
        e.seen = true;
        if (inserted) {
            e.transform = new QSGTransformNode();
            e.opacity = new QSGOpacityNode();
            e.image = makeImageNode(window);
            e.opacity->appendChildNode(e.image);
            e.transform->appendChildNode(e.opacity);
            membershipChanged = true;
        }
        const QImage icon = m->effectiveIcon();
        usedIcons.insert(icon.cacheKey());
        if (icon.isNull()) {
            e.opacity->setOpacity(0.0);
        } else {
            if (e.iconKey != icon.cacheKey()) {
                e.image->setTexture(iconTexture(icon, window));
                e.iconKey = icon.cacheKey();
            }
            const QSizeF s = icon.deviceIndependentSize();
            const QPointF a = m->groundAnchor();
            e.image->setRect(QRectF(-a.x() * s.width(), -a.y() * s.height(), s.width(), s.height()));
            e.opacity->setOpacity(std::clamp(double(m->opacity()), 0.0, 1.0));
        }
        const QPointF p = proj.pointForCoordinate(m->position());
        QMatrix4x4 mat;
        mat.translate(float(p.x()), float(p.y()));
        // A flat marker turns with the map; an upright one with the screen.
        const double rotation = m->isFlat() ? m->rotation() - bearing : m->rotation();
        if (rotation != 0.0) mat.rotate(float(rotation), 0, 0, 1);
        e.transform->setMatrix(mat);
        if (e.order != n) membershipChanged = true;
        e.order = n;
        order.push_back({{std::uint32_t(m->zIndex()) ^ 0x80000000u, n}, &e});
    }
    for (auto it = markers_.begin(); it != markers_.end();) {
        if (!it->second.seen) {
            if (it->second.transform->parent()) markersRoot_->removeChildNode(it->second.transform);
            delete it->second.transform;
            it = markers_.erase(it);
            membershipChanged = true;
        } else {
            ++it;
        }
    }
    if (membershipChanged || order.size() != std::size_t(markersRoot_->childCount())) {
        std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        markersRoot_->removeAllChildNodes();
        for (auto& [key, e] : order) markersRoot_->appendChildNode(e->transform);
    }
    // Icons nobody shows any more.
    if (iconTextures_.size() > int(usedIcons.size()) + 8) {
        for (auto it = iconTextures_.begin(); it != iconTextures_.end();) {
            if (!usedIcons.count(it.key())) {
                bool chrome = (compassImage_ && compassImage_->texture() == it.value()) ||
                              (dotImage_ && dotImage_->texture() == it.value()) ||
                              (locationButton_ && locationButton_->texture() == it.value());
                if (!chrome) {
                    delete it.value();
                    it = iconTextures_.erase(it);
                    continue;
                }
            }
            ++it;
        }
    }
}

// ---------------------------------------------------------------- controls

QSizeF GMSMapRenderer::infoWindowSize(const QString& title, const QString& snippet) {
    const QFontMetricsF bold(infoFont(true)), plain(infoFont(false));
    double w = 0, h = 16;
    if (!title.isEmpty()) {
        w = std::max(w, bold.horizontalAdvance(title));
        h += bold.height();
    }
    if (!snippet.isEmpty()) {
        w = std::max(w, plain.horizontalAdvance(snippet));
        h += plain.height();
    }
    return QSizeF(std::min(w + 24, 300.0), h + 10);  // 10: the pointer under the bubble
}

QImage GMSMapRenderer::renderInfoWindow(const QString& title, const QString& snippet) {
    const QSizeF s = infoWindowSize(title, snippet);
    QImage img(s.toSize(), QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath bubble;
    const QRectF body(0.5, 0.5, s.width() - 1, s.height() - 11);
    bubble.addRoundedRect(body, 6, 6);
    QPainterPath tip;
    tip.moveTo(s.width() / 2 - 8, body.bottom() - 1);
    tip.lineTo(s.width() / 2, s.height() - 1);
    tip.lineTo(s.width() / 2 + 8, body.bottom() - 1);
    tip.closeSubpath();
    bubble = bubble.united(tip);
    p.setPen(QPen(QColor(0, 0, 0, 70), 1));
    p.setBrush(Qt::white);
    p.drawPath(bubble);
    double y = 8;
    if (!title.isEmpty()) {
        p.setFont(infoFont(true));
        p.setPen(Qt::black);
        const QFontMetricsF fm(p.font());
        p.drawText(QRectF(12, y, s.width() - 24, fm.height()), Qt::AlignHCenter | Qt::AlignVCenter,
                   fm.elidedText(title, Qt::ElideRight, s.width() - 24));
        y += fm.height();
    }
    if (!snippet.isEmpty()) {
        p.setFont(infoFont(false));
        p.setPen(QColor(90, 90, 90));
        const QFontMetricsF fm(p.font());
        p.drawText(QRectF(12, y, s.width() - 24, fm.height()), Qt::AlignHCenter | Qt::AlignVCenter,
                   fm.elidedText(snippet, Qt::ElideRight, s.width() - 24));
    }
    return img;
}

void GMSMapRenderer::syncChrome(GMSMapView* view, QQuickWindow* window) {
    static const QImage dot(QStringLiteral(":/map/my_location_dot.png"));
    static const QImage compass(QStringLiteral(":/map/new_compass_indicator.png"));
    static const QImage button(QStringLiteral(":/map/my_location_button.png"));
    const GMSProjection proj = view->projection();

    // My location.
    const CLLocationCoordinate2D user = view->rendererUserPosition();
    const bool showDot = user.latitude != GMSMapView::kUnknownUserPosition && !dot.isNull();
    if (showDot && !dotNode_) {
        dotNode_ = new QSGTransformNode();
        dotImage_ = makeImageNode(window);
        dotImage_->setTexture(iconTexture(dot, window));
        const QSizeF s = dot.deviceIndependentSize();
        dotImage_->setRect(QRectF(-s.width() / 2, -s.height() / 2, s.width(), s.height()));
        dotNode_->appendChildNode(dotImage_);
        chromeRoot_->prependChildNode(dotNode_);
    } else if (!showDot && dotNode_) {
        chromeRoot_->removeChildNode(dotNode_);
        delete dotNode_;
        dotNode_ = nullptr;
        dotImage_ = nullptr;
    }
    if (dotNode_) {
        QMatrix4x4 m;
        const QPointF p = proj.pointForCoordinate(user);
        m.translate(float(p.x()), float(p.y()));
        dotNode_->setMatrix(m);
    }

    // Info window of the selected marker.
    const QRectF info = view->infoWindowRect();
    GMSMarker* sel = view->selectedMarker();
    if (!info.isEmpty() && sel) {
        const QString key = sel->title() + QChar(0) + sel->snippet();
        if (key != infoKey_ || !infoTexture_) {
            delete infoTexture_;
            infoTexture_ = window->createTextureFromImage(renderInfoWindow(sel->title(), sel->snippet()));
            infoKey_ = key;
        }
        if (!infoWindow_) {
            infoWindow_ = makeImageNode(window);
            chromeRoot_->appendChildNode(infoWindow_);
        }
        infoWindow_->setTexture(infoTexture_);
        infoWindow_->setRect(info);
    } else if (infoWindow_) {
        chromeRoot_->removeChildNode(infoWindow_);
        delete infoWindow_;
        infoWindow_ = nullptr;
    }

    // Compass, turned with the map.
    const QRectF cr = view->compassRect();
    if (!cr.isEmpty() && !compass.isNull()) {
        if (!compassNode_) {
            compassNode_ = new QSGTransformNode();
            compassImage_ = makeImageNode(window);
            compassImage_->setTexture(iconTexture(compass, window));
            compassNode_->appendChildNode(compassImage_);
            chromeRoot_->appendChildNode(compassNode_);
        }
        compassImage_->setRect(QRectF(-cr.width() / 2, -cr.height() / 2, cr.width(), cr.height()));
        QMatrix4x4 m;
        m.translate(float(cr.center().x()), float(cr.center().y()));
        m.rotate(float(-view->camera().bearing()), 0, 0, 1);
        compassNode_->setMatrix(m);
    } else if (compassNode_) {
        chromeRoot_->removeChildNode(compassNode_);
        delete compassNode_;
        compassNode_ = nullptr;
        compassImage_ = nullptr;
    }

    // My-location button.
    const QRectF br = view->myLocationButtonRect();
    if (!br.isEmpty() && !button.isNull()) {
        if (!locationButton_) {
            locationButton_ = makeImageNode(window);
            locationButton_->setTexture(iconTexture(button, window));
            chromeRoot_->appendChildNode(locationButton_);
        }
        locationButton_->setRect(br);
    } else if (locationButton_) {
        chromeRoot_->removeChildNode(locationButton_);
        delete locationButton_;
        locationButton_ = nullptr;
    }
}
