#include "GMSMapFrame.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

#include "GMSMapView.h"
#include "GMSMarker.h"
#include "GMSTileManager.h"

// How the view fills a frame: what changed is made at polish on the GUI
// thread (shape meshes, the info window's picture); the frame itself only
// gathers numbers and shared pictures at synchronisation.

namespace {

// What a marker's info window shows: its picture is made anew when this changes.
QString infoKeyOf(const GMSMarker& m) { return m.title() + QChar(0) + m.snippet(); }

QFont infoFont(bool bold) {
    QFont f;
    f.setPixelSize(bold ? 15 : 13);
    f.setBold(bold);
    return f;
}

}  // namespace

QSizeF GMSMapView::infoWindowSize(const QString& title, const QString& snippet) {
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

QImage GMSMapView::infoWindowPicture(const QString& title, const QString& snippet) {
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

void GMSMapView::prepareFrame() {
    // On the GUI thread, once per batch of changes, before the scene is
    // synchronised: what changed is made here, so that synchronisation only
    // hands it over.
    std::unordered_map<std::uint64_t, std::shared_ptr<const gms_shape::Mesh>> meshes;
    for (const GMSOverlayPtr& o : overlays_) {
        if (o->type() == GMSOverlay::Marker) continue;
        auto it = meshes_.find(o->overlayID());
        const bool fresh = it != meshes_.end() && it->second->revision == o->revision();
        meshes.emplace(o->overlayID(), fresh ? it->second : gms_shape::meshFor(*o));
    }
    meshes_ = std::move(meshes);
    if (selectedMarker_) {
        const QString key = infoKeyOf(*selectedMarker_);
        if (key != infoKey_ || infoPicture_.isNull()) {
            infoPicture_ = infoWindowPicture(selectedMarker_->title(), selectedMarker_->snippet());
            infoKey_ = key;
        }
    }
}

GMSMapFrame GMSMapView::frame() const {
    static const QImage dot(QStringLiteral(":/map/my_location_dot.png"));
    static const QImage compass(QStringLiteral(":/map/new_compass_indicator.png"));
    static const QImage button(QStringLiteral(":/map/my_location_button.png"));
    GMSMapFrame f;
    const GMSProjection proj = projection();
    constexpr double kWorldUnits = double(gmscore::model::kWorldSize);
    f.worldSize = proj.worldSize();
    f.bearing = camera_.bearing();
    f.zoom = camera_.zoom();
    f.viewCenter = proj.viewCenter();
    f.targetPoint = proj.worldPointForCoordinate(camera_.target());
    f.targetX = (gms_mercator::xForLongitude(camera_.target().longitude) - 0.5) * kWorldUnits;
    f.targetY = (0.5 - gms_mercator::yForLatitude(camera_.target().latitude)) * kWorldUnits;
    f.tiles = {tiles_->tileZoom(),         tiles_->firstColumn(),     tiles_->firstRow(), tiles_->drawList(),
               tiles_->loaded(),           tiles_->drawListVersion(), tiles_->generation()};

    std::uint64_t order = 0;
    for (const GMSOverlayPtr& o : overlays_) {
        ++order;
        if (o->type() != GMSOverlay::Marker) {
            // A shape placed since the last polish shows from the next frame.
            const auto it = meshes_.find(o->overlayID());
            if (it != meshes_.end()) f.shapes.push_back({o->overlayID(), order, o->zIndex(), it->second});
            continue;
        }
        auto* m = static_cast<const GMSMarker*>(o.get());
        if (!CLLocationCoordinate2DIsValid(m->position())) continue;
        GMSMapFrame::Marker& fm = f.markers.emplace_back();
        fm.id = o->overlayID();
        fm.order = order;
        fm.zIndex = o->zIndex();
        fm.icon = m->effectiveIcon();
        const QSizeF s = fm.icon.deviceIndependentSize();
        const QPointF a = m->groundAnchor();
        fm.rect = QRectF(-a.x() * s.width(), -a.y() * s.height(), s.width(), s.height());
        fm.opacity = std::clamp(double(m->opacity()), 0.0, 1.0);
        fm.point = proj.pointForCoordinate(m->position());
        // A flat marker turns with the map; an upright one with the screen.
        fm.rotation = m->isFlat() ? m->rotation() - camera_.bearing() : m->rotation();
    }

    if (userPosition_.latitude != kUnknownUserPosition && !dot.isNull()) {
        const QSizeF s = dot.deviceIndependentSize();
        f.myLocation = {dot, proj.pointForCoordinate(userPosition_),
                        QRectF(-s.width() / 2, -s.height() / 2, s.width(), s.height())};
    }
    const QRectF info = infoWindowRect();
    if (!info.isEmpty() && infoKey_ == infoKeyOf(*selectedMarker_)) f.infoWindow = {infoPicture_, {}, info};
    const QRectF cr = compassRect();
    if (!cr.isEmpty())
        f.compass = {compass, cr.center(), QRectF(-cr.width() / 2, -cr.height() / 2, cr.width(), cr.height()),
                     -camera_.bearing()};
    const QRectF br = myLocationButtonRect();
    if (!br.isEmpty()) f.locationButton = {button, {}, br};
    return f;
}
