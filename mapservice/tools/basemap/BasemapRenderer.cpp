#include "BasemapRenderer.h"

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

QByteArray png(const QImage& img)
{
    QByteArray bytes;
    QBuffer buf(&bytes);
    buf.open(QIODevice::WriteOnly);
    img.save(&buf, "PNG");
    return bytes;
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
    return png(img);
}

std::optional<QByteArray> BasemapRenderer::renderTile(int z, int x, int y) const
{
    const double n = double(1 << z);
    // A margin of a few pixels so that outlines just outside still show.
    const double margin = 4.0 / (kTile * n);
    const double x0 = x / n - margin, y0 = y / n - margin;
    const double x1 = (x + 1) / n + margin, y1 = (y + 1) / n + margin;
    const TopoLayer& land = z <= m_coarseMaxZoom ? m_coarse : m_detailed;

    // Each polygon is its own path (holes by the odd-even rule); shapes that
    // were unwrapped across the antimeridian are drawn one world left or right
    // as well.
    std::vector<QPainterPath> paths;
    for (const Polygon& poly : land.polygons) {
        if (poly.empty())
            continue;
        for (double shift : {0.0, -1.0, 1.0}) {
            if (!intersects(poly.front(), x0 - shift, y0, x1 - shift, y1))
                continue;
            QPainterPath path;
            path.setFillRule(Qt::OddEvenFill);
            for (const Line& ring : poly) {
                QPolygonF p;
                p.reserve(static_cast<qsizetype>(ring.points.size()));
                for (const QPointF& pt : ring.points)
                    p.append(QPointF(pt.x() + shift, pt.y()));
                path.addPolygon(p);
                path.closeSubpath();
            }
            paths.push_back(std::move(path));
        }
    }
    const bool any = !paths.empty();
    std::vector<const Line*> borders;
    if (z >= 1) {
        for (const Line& l : m_countries.borders)
            if (intersects(l, x0, y0, x1, y1))
                borders.push_back(&l);
    }
    if (!any && borders.empty())
        return std::nullopt;

    QImage img(kTile, kTile, QImage::Format_RGB32);
    img.fill(m_style.water);
    QPainter painter(&img);
    painter.setRenderHint(QPainter::Antialiasing);
    const double scale = kTile * n;
    QTransform t;
    t.translate(-x * kTile, -y * kTile);
    t.scale(scale, scale);
    painter.setTransform(t);
    QPen coast(m_style.coast, 0.8);
    coast.setCosmetic(true);
    painter.setPen(z >= 3 ? coast : Qt::NoPen);
    painter.setBrush(m_style.land);
    for (const QPainterPath& path : paths)
        painter.drawPath(path);

    QPen border(m_style.border, z >= 4 ? 1.0 : 0.6);
    border.setCosmetic(true);
    painter.setPen(border);
    painter.setBrush(Qt::NoBrush);
    for (const Line* l : borders) {
        QPolygonF p;
        p.reserve(static_cast<qsizetype>(l->points.size()));
        for (const QPointF& pt : l->points)
            p.append(pt);
        painter.drawPolyline(p);
    }
    painter.end();
    return png(img);
}

}  // namespace zenloft::basemap
