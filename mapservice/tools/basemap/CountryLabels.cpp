#include "CountryLabels.h"
#include "TilePng.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace zenloft::basemap {

namespace {

constexpr int kTile = 256;

double ringArea(const Line& ring)
{
    double a = 0;
    const auto& p = ring.points;
    for (std::size_t i = 0, j = p.size() - 1; i < p.size(); j = i++)
        a += p[j].x() * p[i].y() - p[i].x() * p[j].y();
    return a / 2;
}

QPointF ringCentroid(const Line& ring)
{
    double a = 0, cx = 0, cy = 0;
    const auto& p = ring.points;
    for (std::size_t i = 0, j = p.size() - 1; i < p.size(); j = i++) {
        const double f = p[j].x() * p[i].y() - p[i].x() * p[j].y();
        a += f;
        cx += (p[j].x() + p[i].x()) * f;
        cy += (p[j].y() + p[i].y()) * f;
    }
    if (std::abs(a) < 1e-18)
        return {(ring.minX + ring.maxX) / 2, (ring.minY + ring.maxY) / 2};
    return {cx / (3 * a), cy / (3 * a)};
}

// Where the horizontal line at y crosses the polygon's rings, sorted.
std::vector<double> crossings(const Polygon& poly, double y)
{
    std::vector<double> xs;
    for (const Line& ring : poly) {
        const auto& p = ring.points;
        for (std::size_t i = 0, j = p.size() - 1; i < p.size(); j = i++) {
            const QPointF a = p[j], b = p[i];
            if ((a.y() > y) != (b.y() > y))
                xs.push_back(a.x() + (y - a.y()) * (b.x() - a.x()) / (b.y() - a.y()));
        }
    }
    std::sort(xs.begin(), xs.end());
    return xs;
}

bool inside(const Polygon& poly, const QPointF& pt)
{
    const std::vector<double> xs = crossings(poly, pt.y());
    const auto left = std::count_if(xs.begin(), xs.end(), [&](double x) { return x < pt.x(); });
    return left % 2 == 1;
}

// A point well inside the polygon: its centroid when that is inside (most
// countries), else the middle of the widest stretch of land on the
// centroid's row (crescent and ring shapes).
QPointF labelPoint(const Polygon& poly)
{
    const QPointF c = ringCentroid(poly.front());
    if (inside(poly, c))
        return c;
    const std::vector<double> xs = crossings(poly, c.y());
    double best = -1;
    QPointF at((poly.front().minX + poly.front().maxX) / 2, c.y());
    for (std::size_t i = 0; i + 1 < xs.size(); i += 2) {
        if (xs[i + 1] - xs[i] > best) {
            best = xs[i + 1] - xs[i];
            at.setX((xs[i] + xs[i + 1]) / 2);
        }
    }
    return at;
}

}  // namespace

std::vector<LabelCandidate> CountryLabels::candidates(const TopoLayer& countries)
{
    std::vector<LabelCandidate> out;
    for (const NamedShape& shape : countries.names) {
        const Polygon* largest = nullptr;
        double largestArea = 0;
        for (std::size_t i = 0; i < shape.polygonCount; ++i) {
            const Polygon& poly = countries.polygons.at(shape.firstPolygon + i);
            const double a = std::abs(ringArea(poly.front()));
            if (!largest || a > largestArea) {
                largest = &poly;
                largestArea = a;
            }
        }
        if (!largest || largestArea <= 0)
            continue;
        QPointF anchor = labelPoint(*largest);
        anchor.setX(anchor.x() - std::floor(anchor.x()));
        const Line& outer = largest->front();
        out.push_back({shape.name, anchor, outer.maxX - outer.minX, outer.maxY - outer.minY, largestArea});
    }
    // Larger countries claim their place first; names break ties so that the
    // result doesn't depend on the order of the source file.
    std::stable_sort(out.begin(), out.end(), [](const LabelCandidate& a, const LabelCandidate& b) {
        return a.area != b.area ? a.area > b.area : a.text < b.text;
    });
    return out;
}

QFont CountryLabels::fontForZoom(int z)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(z <= 2 ? 11 : z <= 5 ? 12 : 13);
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

CountryLabels::CountryLabels(const TopoLayer& countries, int maxZoom)
    : m_candidates(candidates(countries)), m_maxZoom(std::max(0, maxZoom))
{
    for (int z = 0; z <= m_maxZoom; ++z)
        m_placed.push_back(place(z));
}

const std::vector<PlacedLabel>& CountryLabels::placed(int z) const
{
    static const std::vector<PlacedLabel> none;
    return z >= 0 && z <= m_maxZoom ? m_placed[static_cast<std::size_t>(z)] : none;
}

std::vector<PlacedLabel> CountryLabels::place(int z) const
{
    const double world = double(kTile) * double(1LL << z);
    const QFont font = fontForZoom(z);
    const QFontMetricsF fm(font);
    const double margin = m_style.haloWidth;
    std::vector<PlacedLabel> placed;
    for (const LabelCandidate& c : m_candidates) {
        const double textWidth = fm.horizontalAdvance(c.text);
        if (c.width * world < textWidth * m_style.minWidthRatio)
            continue;
        const QPointF centre = c.anchor * world;
        const QPointF baseline(centre.x() - textWidth / 2, centre.y() + (fm.ascent() - fm.descent()) / 2);
        const QRectF rect(baseline.x() - margin, baseline.y() - fm.ascent() - margin, textWidth + 2 * margin,
                          fm.ascent() + fm.descent() + 2 * margin);
        if (rect.top() < 0 || rect.bottom() > world)
            continue;
        const QRectF claim = rect.adjusted(-m_style.padding, -m_style.padding, m_style.padding, m_style.padding);
        const bool clash = std::any_of(placed.begin(), placed.end(), [&](const PlacedLabel& p) {
            for (double shift : {-world, 0.0, world})
                if (claim.intersects(p.rect.translated(shift, 0)))
                    return true;
            return false;
        });
        if (!clash)
            placed.push_back({c.text, rect, baseline});
    }
    return placed;
}

std::vector<CountryLabels::Draw> CountryLabels::drawsFor(int z, int x, int y) const
{
    const double world = double(kTile) * double(1LL << z);
    const QRectF tile(double(x) * kTile, double(y) * kTile, kTile, kTile);
    std::vector<Draw> draws;
    for (const PlacedLabel& p : placed(z))
        for (double shift : {-world, 0.0, world})
            if (p.rect.translated(shift, 0).intersects(tile))
                draws.push_back({&p, shift});
    return draws;
}

bool CountryLabels::touches(int z, int x, int y) const
{
    return !drawsFor(z, x, y).empty();
}

bool CountryLabels::drawOnto(QImage& image, int z, int x, int y) const
{
    const std::vector<Draw> draws = drawsFor(z, x, y);
    if (draws.empty())
        return false;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(-double(x) * kTile, -double(y) * kTile);
    const QFont font = fontForZoom(z);
    const QPen halo(m_style.halo, m_style.haloWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    for (const Draw& d : draws) {
        QPainterPath path;
        path.addText(d.label->baseline + QPointF(d.shift, 0), font, d.label->text);
        painter.strokePath(path, halo);
        painter.fillPath(path, m_style.text);
    }
    return true;
}

std::optional<QByteArray> CountryLabels::renderTile(int z, int x, int y) const
{
    QImage image(kTile, kTile, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    if (!drawOnto(image, z, x, y))
        return std::nullopt;
    return tilePng(image);
}

QByteArray CountryLabels::emptyTile() const
{
    QImage image(kTile, kTile, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return tilePng(image);
}

}  // namespace zenloft::basemap
