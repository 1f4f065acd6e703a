#include "GMSTileManager.h"

#include <algorithm>
#include <cmath>

#include "GMSProjection.h"

GMSTileManager::GMSTileManager(QObject* parent) : QObject(parent) { qRegisterMetaType<GMSTileKey>(); }

GMSTileManager::~GMSTileManager() { dropRequests(); }

void GMSTileManager::dropRequests() {
    requests_.clear();
    pending_.clear();
}

void GMSTileManager::ask(const GMSTileKey& key) {
    pending_.insert(key);
    // The answer's state, not this object, travels to the source's workers.
    requests_.insert_or_assign(
        key, source_->requestTile(key, GMSTileSource::Answer(this, [this, key](const QImage& image, bool final) {
                                      onTileReady(key, image, final);
                                  })));
}

void GMSTileManager::setSource(GMSTileSource* source) {
    if (source_ == source) return;
    dropRequests();
    missing_.clear();
    loaded_.clear();
    useOrder_.clear();
    ++generation_;
    source_ = source;
    layersDirty_ = true;
}

void GMSTileManager::setLayers(const std::vector<GMSTileLayerType>& layers) {
    layers_ = layers;
    layersDirty_ = true;
    ++generation_;
}

int GMSTileManager::tileZoomForZoom(double zoom) {
    if (!std::isfinite(zoom)) return 2;
    return std::clamp(int(std::floor(zoom + 0.5)), 0, 22);
}

void GMSTileManager::update(const GMSProjection& projection) {
    const int z = tileZoomForZoom(projection.camera().zoom());
    const double scale = std::exp2(z) * 256.0 / projection.worldSize();  // tile-zoom points per view point
    const QSizeF size = projection.viewSize();
    double minX = 1e300, maxX = -1e300, minY = 1e300, maxY = -1e300;
    for (QPointF corner : {QPointF(0, 0), QPointF(size.width(), 0), QPointF(0, size.height()),
                           QPointF(size.width(), size.height())}) {
        const QPointF w = projection.worldPointForPoint(corner) * scale / 256.0;
        minX = std::min(minX, w.x());
        maxX = std::max(maxX, w.x());
        minY = std::min(minY, w.y());
        maxY = std::max(maxY, w.y());
    }
    const int n = 1 << z;
    Range r;
    r.x0 = int(std::floor(minX));
    r.x1 = int(std::floor(maxX));
    r.y0 = std::clamp(int(std::floor(minY)), 0, n - 1);
    r.y1 = std::clamp(int(std::floor(maxY)), 0, n - 1);
    // A bounded number of columns, whatever the view size.
    if (r.x1 - r.x0 > 64) r.x1 = r.x0 + 64;
    if (r.y1 - r.y0 > 64) r.y1 = r.y0 + 64;
    if (!std::isfinite(minX) || !std::isfinite(minY)) r = Range{};
    // Most camera moves keep the same tiles: nothing to ask, nothing to rebuild.
    if (!layersDirty_ && z == tileZoom_ && r.x0 == range_.x0 && r.x1 == range_.x1 && r.y0 == range_.y0 &&
        r.y1 == range_.y1)
        return;
    layersDirty_ = false;
    tileZoom_ = z;
    range_ = r;

    QSet<GMSTileKey> visible;
    for (GMSTileLayerType layer : layers_)
        for (int y = r.y0; y <= r.y1; ++y)
            for (int x = r.x0; x <= r.x1; ++x) visible.insert({layer, z, ((x % n) + n) % n, y});

    const bool wasLoading = isLoading();
    visible_ = visible;
    // What the source lacked is asked again once it is back in view; what it
    // lacked elsewhere is forgotten, so the set stays small.
    for (auto it = missing_.begin(); it != missing_.end();) {
        if (visible.contains(*it)) {
            ++it;
            continue;
        }
        it = isAncestorOfVisible(*it) ? std::next(it) : missing_.erase(it);
    }
    if (source_) {
        for (auto it = pending_.begin(); it != pending_.end();) {
            if (!visible.contains(*it) && !isAncestorOfVisible(*it)) {
                requests_.erase(*it);
                it = pending_.erase(it);
            } else {
                ++it;
            }
        }
        for (const GMSTileKey& k : std::as_const(visible)) {
            if (!loaded_.contains(k) && !pending_.contains(k)) {
                missing_.remove(k);
                ask(k);
            }
        }
        requestStandIns();
    }
    if (!wasLoading && isLoading()) emit loadingStarted();
    if (wasLoading && !isLoading()) emit loadingFinished();
    rebuildDrawList();
}

void GMSTileManager::rebuildDrawList() {
    const int z = tileZoom_;
    const int n = 1 << z;
    drawList_.assign(layers_.size(), {});
    ++drawListVersion_;
    for (std::size_t li = 0; li < layers_.size(); ++li) {
        auto& list = drawList_[li];
        for (int y = range_.y0; y <= range_.y1; ++y) {
            for (int x = range_.x0; x <= range_.x1; ++x) {
                DrawTile t;
                t.key = {layers_[li], z, ((x % n) + n) % n, y};
                t.column = x;
                t.row = y;
                if (loaded_.contains(t.key)) {
                    t.drawnKey = t.key;
                    t.sourceRect = QRectF(0, 0, loaded_[t.key].width(), loaded_[t.key].height());
                } else {
                    // While a tile loads its nearest loaded parent stands in, scaled.
                    bool found = false;
                    for (int up = 1; up <= kMaxParentLevels && z - up >= 0 && !found; ++up) {
                        const GMSTileKey p = t.key.parent(up);
                        auto it = loaded_.constFind(p);
                        if (it == loaded_.constEnd()) continue;
                        const int sub = 1 << up;
                        const double w = double(it->width()) / sub, h = double(it->height()) / sub;
                        t.drawnKey = p;
                        t.sourceRect = QRectF((t.key.x - (p.x << up)) * w, (t.key.y - (p.y << up)) * h, w, h);
                        found = true;
                    }
                    if (!found) continue;
                }
                useOrder_.touch(t.drawnKey);
                list.push_back(t);
            }
        }
    }
}

void GMSTileManager::onTileReady(const GMSTileKey& key, const QImage& image, bool final) {
    // Only requests still held answer, so the tile is wanted. A stand-in
    // (an older copy) shows while the tile stays pending for the current one.
    const bool wasLoading = isLoading();
    if (final) {
        pending_.remove(key);
        requests_.erase(key);
    }
    if (!image.isNull()) {
        missing_.remove(key);
        loaded_.insert(key, image);
        useOrder_.put(key, {});
        evict();
        ++generation_;
        rebuildDrawList();
        emit tilesChanged();
    } else if (final && !loaded_.contains(key)) {  // an older copy in hand stays
        missing_.insert(key);
        requestStandIns();
    }
    if (wasLoading && !isLoading()) emit loadingFinished();
}

bool GMSTileManager::isAncestorOfVisible(const GMSTileKey& key) const {
    const int up = tileZoom_ - key.zoom;
    if (up <= 0 || up > kMaxParentLevels) return false;
    // Visible tiles form a block of rows and (wrapped) columns: the key is an
    // ancestor when its row and column cover part of that block.
    const int n = 1 << tileZoom_;
    if ((range_.y0 >> up) > key.y || (range_.y1 >> up) < key.y) return false;
    for (int x = range_.x0; x <= range_.x1; ++x)
        if ((((x % n) + n) % n) >> up == key.x) return true;
    return false;
}

void GMSTileManager::requestStandIns() {
    if (!source_) return;
    for (const GMSTileKey& k : std::as_const(visible_)) {
        if (!missing_.contains(k)) continue;
        GMSTileKey p = k;
        while (p.zoom > 0 && k.zoom - p.zoom < kMaxParentLevels) {
            p = p.parent();
            if (loaded_.contains(p) || pending_.contains(p)) break;
            if (missing_.contains(p)) continue;
            ask(p);
            break;
        }
    }
}

void GMSTileManager::evict() {
    // The least recently drawn go first; what is on screen stays.
    std::vector<GMSTileKey> drop;
    for (auto it = useOrder_.rbegin(); it != useOrder_.rend(); ++it) {
        if (loaded_.size() - qsizetype(drop.size()) <= kMaxLoadedTiles) break;
        if (!visible_.contains(it->key)) drop.push_back(it->key);
    }
    for (const GMSTileKey& key : drop) {
        loaded_.remove(key);
        useOrder_.remove(key);
    }
}
