#include "GMSPolyline.h"

#include "GMSSimdState.h"

QColor GMSColorToQColor(const GMSColor& c) { return QColor::fromRgbF(c.red, c.green, c.blue, c.alpha); }

GMSColor GMSColorFromQColor(const QColor& c) { return {c.redF(), c.greenF(), c.blueF(), c.alphaF()}; }

GMSPolyline::GMSPolyline() : GMSOverlay(false) {}

std::shared_ptr<GMSPolyline> GMSPolyline::polyline() { return std::make_shared<GMSPolyline>(); }

std::shared_ptr<GMSPolyline> GMSPolyline::polylineWithPath(const GMSPath& path) {
    auto p = polyline();
    p->setPath(path);
    return p;
}

void GMSPolyline::changed() {
    invalidate();
    updateOnMap();
}

void GMSPolyline::setPath(const GMSPath& path) {
    path_ = path.copy();
    hasPathBeenSet_ = true;
    changed();
}

void GMSPolyline::setStrokeWidth(float width) {
    strokeWidth_ = width;
    changed();
}

void GMSPolyline::setStrokeColor(const QColor& color) {
    strokeColor_ = color;
    changed();
}

void GMSPolyline::setGeodesic(bool geodesic) {
    geodesic_ = geodesic;
    changed();
}

void GMSPolyline::setSpans(const std::optional<std::vector<GMSStyleSpan>>& spans) {
    spans_ = spans;
    hasSpanBeenSet_ = true;
    if (spans_)
        for (const GMSStyleSpan& s : *spans_)
            if (s.style().isStamp) useOldRenderer_ = false;
    changed();
}

const GMSPreparedVertices& GMSPolyline::preparedVertices() const {
    if (!prepared_) {
        gmsClearUpperSimdState();
        prepared_ = GMSPreparePolylineVertices(path_, geodesic_, spans_ ? &*spans_ : nullptr);
    }
    return *prepared_;
}

std::vector<QColor> GMSPolyline::spanColors() const {
    if (!spans_ || spans_->empty()) return {strokeColor_};
    std::vector<QColor> colors;
    colors.reserve(spans_->size());
    for (const GMSStyleSpan& s : *spans_) colors.push_back(GMSColorToQColor(s.style().fromColor));
    return colors;
}

std::vector<std::pair<QColor, QColor>> GMSPolyline::spanColorRanges() const {
    if (!spans_ || spans_->empty()) return {{strokeColor_, strokeColor_}};
    std::vector<std::pair<QColor, QColor>> colors;
    colors.reserve(spans_->size());
    for (const GMSStyleSpan& s : *spans_)
        colors.emplace_back(GMSColorToQColor(s.style().fromColor), GMSColorToQColor(s.style().toColor));
    return colors;
}
