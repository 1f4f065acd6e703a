#include "GMSMapRenderer.h"

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

#include "GMSLineMaterial.h"
#include "GMSSimdState.h"
#include "GMSTileStackMaterial.h"

namespace {
std::atomic<std::uint64_t> g_tileListBuilds{0}, g_texturesCreated{0}, g_stackedTiles{0};
constexpr double kWorld = double(gmscore::model::kWorldSize);
constexpr double kDegrees = 57.29577951308232;

// Something drawn in view points about `at`, turned by `degrees`.
QMatrix4x4 placedAt(QPointF at, double degrees) {
    QMatrix4x4 m;
    m.translate(float(at.x()), float(at.y()));
    if (degrees != 0.0) m.rotate(float(degrees), 0, 0, 1);
    return m;
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
    for (ChromeSlot* c : {&dot_, &infoWindow_, &compass_, &locationButton_}) delete c->texture;
}

QSGImageNode* GMSMapRenderer::makeImageNode(QQuickWindow* window) {
    QSGImageNode* n = window->createImageNode();
    n->setFiltering(QSGTexture::Linear);
    n->setOwnsTexture(false);
    return n;
}

QSGTexture* GMSMapRenderer::texture(const QImage& image, QQuickWindow* window) {
    ++g_texturesCreated;
    return window->createTextureFromImage(image);
}

QSGTexture* GMSMapRenderer::iconTexture(const QImage& image, QQuickWindow* window) {
    const qint64 key = image.cacheKey();
    auto it = iconTextures_.find(key);
    if (it != iconTextures_.end()) return *it;
    QSGTexture* t = texture(image, window);
    iconTextures_.insert(key, t);
    return t;
}

GMSMapRenderer::Stats GMSMapRenderer::totals() {
    return {gms_shape::meshesMade(), g_tileListBuilds.load(), g_texturesCreated.load(), g_stackedTiles.load()};
}

void GMSMapRenderer::sync(const GMSMapFrame& frame, QQuickWindow* window) {
    gmsClearUpperSimdState();
    scale_ = frame.worldSize / kWorld;
    const double b = frame.bearing / kDegrees;
    cos_ = std::cos(b);
    sin_ = std::sin(b);
    centerX_ = frame.viewCenter.x();
    centerY_ = frame.viewCenter.y();
    targetX_ = frame.targetX;
    targetY_ = frame.targetY;
    zoomChanged_ = frame.zoom != lastZoom_;
    lastZoom_ = frame.zoom;

    syncTiles(frame, window);
    syncShapes(frame, window);
    syncMarkers(frame, window);
    // The dot under the info window under the controls.
    const std::pair<ChromeSlot*, const GMSMapFrame::Chrome*> chrome[] = {
        {&dot_, &frame.myLocation}, {&infoWindow_, &frame.infoWindow},
        {&compass_, &frame.compass}, {&locationButton_, &frame.locationButton}};
    bool chromeChanged = false;
    for (auto [slot, c] : chrome) chromeChanged |= syncChrome(*slot, *c, window);
    if (chromeChanged) {
        chromeRoot_->removeAllChildNodes();
        for (auto [slot, c] : chrome)
            if (slot->transform) chromeRoot_->appendChildNode(slot->transform);
    }
}

// ---------------------------------------------------------------- tiles

void GMSMapRenderer::syncTiles(const GMSMapFrame& frame, QQuickWindow* window) {
    const GMSMapFrame::Tiles& tm = frame.tiles;
    const double k = frame.worldSize / (256.0 * std::exp2(tm.zoom));  // view points per tile-zoom pixel
    const QPointF tw = frame.targetPoint;
    const double ox = tm.firstColumn * 256.0 * k - tw.x();
    const double oy = tm.firstRow * 256.0 * k - tw.y();
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

    if (tm.generation != tileGeneration_) {
        // Textures of pictures the manager has dropped go now.
        tileGeneration_ = tm.generation;
        for (auto it = tileTextures_.begin(); it != tileTextures_.end();) {
            if (!tm.pictures.contains(it.key())) {
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
    if (tm.drawListVersion == tileListVersion_) {
        if (filteringChanged) {
            for (std::size_t i = 0; i < tileNodeOwn_.size(); ++i)
                tilePool_[i]->setFiltering(filteringFor(tileNodeOwn_[i]));
            for (std::size_t i = 0; i < stacksUsed_; ++i) stackFiltering(stackPool_[i]);
        }
        return;
    }
    tileListVersion_ = tm.drawListVersion;
    ++g_tileListBuilds;
    tileRoot_->removeAllChildNodes();
    tileNodeOwn_.clear();
    stacksUsed_ = 0;

    using DrawTile = GMSTileManager::DrawTile;
    auto textureFor = [&](const DrawTile& t) -> QSGTexture* {
        QSGTexture*& tex = tileTextures_[t.drawnKey];
        if (!tex) {
            const QImage img = tm.pictures.value(t.drawnKey);
            if (img.isNull()) {
                tileTextures_.remove(t.drawnKey);
                return nullptr;
            }
            tex = texture(img, window);
        }
        return tex;
    };
    auto rectOf = [&](const DrawTile& t) {
        return QRectF((t.column - tm.firstColumn) * 256.0, (t.row - tm.firstRow) * 256.0, 256.0, 256.0);
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

    const auto& layers = tm.drawList;
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
    g_stackedTiles += stacksUsed_;
}

// ---------------------------------------------------------------- shapes

void GMSMapRenderer::uploadShape(ShapeEntry& e, const gms_shape::Mesh& mesh, QQuickWindow* window) {
    while (QSGNode* c = e.transform->firstChild()) {
        e.transform->removeChildNode(c);
        delete c;
    }
    e.origin = mesh.origin;
    e.lineMaterial = nullptr;
    e.strokeWidth = mesh.strokeWidth;
    e.bearing = mesh.image.isNull() ? 0.0 : mesh.bearing;
    e.anchor = mesh.anchor;
    if (!mesh.fillIndices.empty()) e.transform->appendChildNode(fillNode(mesh.fill, mesh.fillIndices, mesh.fillColor));
    if (!mesh.strokeIndices.empty()) {
        e.lineMaterial = new GMSLineMaterial();
        e.transform->appendChildNode(strokeNode(mesh.stroke, mesh.strokeIndices, e.lineMaterial));
    }
    if (!mesh.image.isNull()) {
        auto* opacity = new QSGOpacityNode();
        opacity->setOpacity(mesh.opacity);
        QSGImageNode* image = makeImageNode(window);
        image->setTexture(iconTexture(mesh.image, window));
        image->setRect(QRectF(QPointF(0, 0), mesh.imageSize));
        // World y grows north; the picture's top is its north edge.
        image->setTextureCoordinatesTransform(QSGImageNode::MirrorVertically);
        opacity->appendChildNode(image);
        e.transform->appendChildNode(opacity);
    }
}

void GMSMapRenderer::syncShapes(const GMSMapFrame& frame, QQuickWindow* window) {
    for (auto& [id, e] : shapes_) e.seen = false;
    for (const GMSMapFrame::Shape& s : frame.shapes) {
        auto [it, inserted] = shapes_.try_emplace(s.id);
        ShapeEntry& e = it->second;
        e.seen = true;
        if (inserted) {
            e.transform = new QSGTransformNode();
            shapesRoot_->appendChildNode(e.transform);
            orderDirty_ = true;
        }
        if (e.order != s.order || e.zIndex != s.zIndex) orderDirty_ = true;
        e.order = s.order;
        e.zIndex = s.zIndex;
        if (inserted || e.revision != s.mesh->revision) {
            e.revision = s.mesh->revision;
            uploadShape(e, *s.mesh, window);
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
        if (e.bearing != 0.0) {
            m.translate(float(e.anchor.x()), float(e.anchor.y()));
            m.rotate(float(-e.bearing), 0, 0, 1);
            m.translate(float(-e.anchor.x()), float(-e.anchor.y()));
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

void GMSMapRenderer::syncMarkers(const GMSMapFrame& frame, QQuickWindow* window) {
    for (auto& [id, e] : markers_) e.seen = false;
    std::unordered_set<qint64> usedIcons;
    for (const GMSMapFrame::Shape& s : frame.shapes)
        if (!s.mesh->image.isNull()) usedIcons.insert(s.mesh->image.cacheKey());
    std::vector<std::pair<std::pair<std::uint32_t, std::uint64_t>, MarkerEntry*>> order;
    bool membershipChanged = false;
    for (const GMSMapFrame::Marker& m : frame.markers) {
        auto [it, inserted] = markers_.try_emplace(m.id);
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
        usedIcons.insert(m.icon.cacheKey());
        if (m.icon.isNull()) {
            e.opacity->setOpacity(0.0);
        } else {
            if (e.iconKey != m.icon.cacheKey()) {
                e.image->setTexture(iconTexture(m.icon, window));
                e.iconKey = m.icon.cacheKey();
            }
            e.image->setRect(m.rect);
            e.opacity->setOpacity(m.opacity);
        }
        e.transform->setMatrix(placedAt(m.point, m.rotation));
        if (e.order != m.order) membershipChanged = true;
        e.order = m.order;
        order.push_back({{std::uint32_t(m.zIndex) ^ 0x80000000u, m.order}, &e});
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
                delete it.value();
                it = iconTextures_.erase(it);
            } else {
                ++it;
            }
        }
    }
}

// ---------------------------------------------------------------- controls

bool GMSMapRenderer::syncChrome(ChromeSlot& slot, const GMSMapFrame::Chrome& chrome, QQuickWindow* window) {
    if (chrome.picture.isNull()) {
        if (!slot.transform) return false;
        chromeRoot_->removeChildNode(slot.transform);
        delete slot.transform;
        slot.transform = nullptr;
        slot.image = nullptr;
        return true;
    }
    const bool made = !slot.transform;
    if (made) {
        slot.transform = new QSGTransformNode();
        slot.image = makeImageNode(window);
        slot.transform->appendChildNode(slot.image);
    }
    if (chrome.picture.cacheKey() != slot.pictureKey || !slot.texture) {
        delete slot.texture;
        slot.texture = texture(chrome.picture, window);
        slot.pictureKey = chrome.picture.cacheKey();
    }
    slot.image->setTexture(slot.texture);
    slot.image->setRect(chrome.rect);
    slot.transform->setMatrix(placedAt(chrome.at, chrome.rotation));
    return made;
}
