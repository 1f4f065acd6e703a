#include "BasemapRenderer.h"
#include "TilePng.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

namespace zenloft::basemap {

namespace {

constexpr int kTile = 256;

bool intersects(const Line& l, double x0, double y0, double x1, double y1)
{
    return l.maxX >= x0 && l.minX <= x1 && l.maxY >= y0 && l.minY <= y1;
}

}  // namespace

BasemapRenderer::BasemapRenderer(TopoLayer coarse, TopoLayer detailed, TopoLayer countries, int coarseMaxZoom)
    : m_coarse(std::move(coarse)),
      m_detailed(std::move(detailed)),
      m_countries(std::move(countries)),
      m_coarseMaxZoom(coarseMaxZoom)
{
}

QByteArray BasemapRenderer::waterTile() const
{
    QImage img(kTile, kTile, QImage::Format_RGB32);
    img.fill(m_style.water);
    return tilePng(img);
}

namespace {

struct Rect {
    double x0, y0, x1, y1;
};

Rect tileRect(int z, int x, int y)
{
    const double n = double(1 << z);
    const double margin = 4.0 / (kTile * n);
    return {x / n - margin, y / n - margin, (x + 1) / n + margin, (y + 1) / n + margin};
}

// Sutherland-Hodgman against one side of the rectangle.
template <typename Inside, typename Cut>
void clipSide(const std::vector<QPointF>& in, std::vector<QPointF>& out, Inside inside, Cut cut)
{
    out.clear();
    if (in.empty())
        return;
    QPointF prev = in.back();
    bool prevIn = inside(prev);
    for (const QPointF& p : in) {
        const bool pIn = inside(p);
        if (pIn != prevIn)
            out.push_back(cut(prev, p));
        if (pIn)
            out.push_back(p);
        prev = p;
        prevIn = pIn;
    }
}

std::vector<QPointF> clipRing(const std::vector<QPointF>& ring, const Rect& r)
{
    std::vector<QPointF> a = ring, b;
    const auto atX = [](const QPointF& p, const QPointF& q, double x) {
        const double t = (x - p.x()) / (q.x() - p.x());
        return QPointF(x, p.y() + t * (q.y() - p.y()));
    };
    const auto atY = [](const QPointF& p, const QPointF& q, double y) {
        const double t = (y - p.y()) / (q.y() - p.y());
        return QPointF(p.x() + t * (q.x() - p.x()), y);
    };
    clipSide(a, b, [&](const QPointF& p) { return p.x() >= r.x0; }, [&](auto p, auto q) { return atX(p, q, r.x0); });
    clipSide(b, a, [&](const QPointF& p) { return p.x() <= r.x1; }, [&](auto p, auto q) { return atX(p, q, r.x1); });
    clipSide(a, b, [&](const QPointF& p) { return p.y() >= r.y0; }, [&](auto p, auto q) { return atY(p, q, r.y0); });
    clipSide(b, a, [&](const QPointF& p) { return p.y() <= r.y1; }, [&](auto p, auto q) { return atY(p, q, r.y1); });
    return a;
}

}  // namespace

BasemapRenderer::Clipped BasemapRenderer::clipFromLayer(int z, int x, int y) const
{
    const Rect r = tileRect(z, x, y);
    const TopoLayer& land = z <= m_coarseMaxZoom ? m_coarse : m_detailed;
    Clipped c;
    for (const Polygon& poly : land.polygons) {
        if (poly.empty())
            continue;
        // Shapes unwrapped across the antimeridian also count one world over.
        for (double shift : {0.0, -1.0, 1.0}) {
            if (!intersects(poly.front(), r.x0 - shift, r.y0, r.x1 - shift, r.y1))
                continue;
            std::vector<std::vector<QPointF>> rings;
            const Rect shifted{r.x0 - shift, r.y0, r.x1 - shift, r.y1};
            for (const Line& ring : poly) {
                if (!intersects(ring, shifted.x0, shifted.y0, shifted.x1, shifted.y1))
                    continue;
                std::vector<QPointF> clipped = clipRing(ring.points, shifted);
                if (clipped.size() < 3)
                    continue;
                for (QPointF& p : clipped)
                    p.setX(p.x() + shift);
                rings.push_back(std::move(clipped));
            }
            if (!rings.empty())
                c.polygons.push_back(std::move(rings));
        }
    }
    if (z >= 1) {
        for (const Line& l : m_countries.borders)
            if (intersects(l, r.x0, r.y0, r.x1, r.y1))
                c.borders.push_back(&l);
    }
    return c;
}

BasemapRenderer::Clipped BasemapRenderer::clip(const Clipped& parent, int z, int x, int y) const
{
    const Rect r = tileRect(z, x, y);
    Clipped c;
    for (const auto& poly : parent.polygons) {
        std::vector<std::vector<QPointF>> rings;
        for (const auto& ring : poly) {
            std::vector<QPointF> clipped = clipRing(ring, r);
            if (clipped.size() >= 3)
                rings.push_back(std::move(clipped));
        }
        if (!rings.empty())
            c.polygons.push_back(std::move(rings));
    }
    for (const Line* l : parent.borders)
        if (intersects(*l, r.x0, r.y0, r.x1, r.y1))
            c.borders.push_back(l);
    return c;
}

std::optional<QByteArray> BasemapRenderer::renderTile(int z, int x, int y) const
{
    return paint(clipFromLayer(z, x, y), z, x, y);
}

void BasemapRenderer::renderSubtree(int z, int x, int y, int maxZoom, const TileSink& sink) const
{
    recurse(clipFromLayer(z, x, y), z, x, y, maxZoom, sink);
}

void BasemapRenderer::recurse(const Clipped& here, int z, int x, int y, int maxZoom, const TileSink& sink) const
{
    sink(z, x, y, paint(here, z, x, y));
    if (z >= maxZoom)
        return;
    for (int dy = 0; dy < 2; ++dy)
        for (int dx = 0; dx < 2; ++dx) {
            const int cz = z + 1, cx = 2 * x + dx, cy = 2 * y + dy;
            // The coarse outlines stop here: children start from the detailed layer.
            const Clipped child = z == m_coarseMaxZoom ? clipFromLayer(cz, cx, cy) : clip(here, cz, cx, cy);
            recurse(child, cz, cx, cy, maxZoom, sink);
        }
}

std::optional<QByteArray> BasemapRenderer::paint(const Clipped& c, int z, int x, int y) const
{
    if (c.polygons.empty() && c.borders.empty())
        return std::nullopt;
    const double n = double(1 << z);
    QImage img(kTile, kTile, QImage::Format_RGB32);
    img.fill(m_style.water);
    QPainter painter(&img);
    painter.setRenderHint(QPainter::Antialiasing);
    const double scale = kTile * n;
    QTransform t;
    t.translate(-x * kTile, -y * kTile);
    t.scale(scale, scale);
    painter.setTransform(t);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_style.land);
    for (const auto& poly : c.polygons) {
        QPainterPath path;
        path.setFillRule(Qt::OddEvenFill);
        for (const auto& ring : poly) {
            path.addPolygon(QPolygonF(QList<QPointF>(ring.begin(), ring.end())));
            path.closeSubpath();
        }
        painter.drawPath(path);
    }
    QPen border(m_style.border, z >= 4 ? 1.0 : 0.6);
    border.setCosmetic(true);
    painter.setPen(border);
    painter.setBrush(Qt::NoBrush);
    for (const Line* l : c.borders)
        painter.drawPolyline(QPolygonF(QList<QPointF>(l->points.begin(), l->points.end())));
    painter.end();
    return tilePng(img);
}

}  // namespace zenloft::basemap
