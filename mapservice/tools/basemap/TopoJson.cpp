#include "TopoJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace zenloft::basemap {

void Line::updateBounds()
{
    minX = minY = 1e9;
    maxX = maxY = -1e9;
    for (const QPointF& p : points) {
        minX = std::min(minX, p.x());
        maxX = std::max(maxX, p.x());
        minY = std::min(minY, p.y());
        maxY = std::max(maxY, p.y());
    }
}

QPointF mercator(double lon, double lat)
{
    constexpr double kMaxLat = 85.05112877980659;
    lat = std::clamp(lat, -kMaxLat, kMaxLat);
    const double x = (lon + 180.0) / 360.0;
    const double s = std::sin(lat * M_PI / 180.0);
    const double y = 0.5 - std::log((1 + s) / (1 - s)) / (4 * M_PI);
    return {x, y};
}

namespace {

using Arc = std::vector<QPointF>;

// Rings and lines that cross the antimeridian jump from one edge of the world
// to the other. Shift the points after each jump by a whole world so that the
// shape stays continuous (x may then leave [0, 1]; the renderer draws the
// shifted copies). A ring around a pole does not come back to its start:
// close it along the pole's edge.
void unwrapRing(Line& ring)
{
    double offset = 0;
    for (std::size_t i = 1; i < ring.points.size(); ++i) {
        const double prev = ring.points[i - 1].x();
        double x = ring.points[i].x() + offset;
        // An edge along the clamped pole is a real edge, not a wrap.
        const auto atPole = [](double y) { return y <= 1e-9 || y >= 1 - 1e-9; };
        if (atPole(ring.points[i].y()) && atPole(ring.points[i - 1].y())) {
            ring.points[i].setX(x);
            continue;
        }
        if (x - prev > 0.5) {
            offset -= 1;
            x -= 1;
        } else if (prev - x > 0.5) {
            offset += 1;
            x += 1;
        }
        ring.points[i].setX(x);
    }
    if (ring.points.size() >= 3 && std::abs(ring.points.back().x() - ring.points.front().x()) > 0.5) {
        double meanY = 0;
        for (const QPointF& p : ring.points)
            meanY += p.y();
        meanY /= double(ring.points.size());
        const double pole = meanY > 0.5 ? 1.0 : 0.0;
        const QPointF last = ring.points.back();
        const QPointF first = ring.points.front();
        ring.points.emplace_back(last.x(), pole);
        ring.points.emplace_back(first.x(), pole);
    }
}

// Lines are cut at the antimeridian instead.
std::vector<Line> splitAtJumps(const std::vector<QPointF>& pts)
{
    std::vector<Line> out(1);
    for (std::size_t i = 0; i < pts.size(); ++i) {
        if (i > 0 && std::abs(pts[i].x() - pts[i - 1].x()) > 0.5)
            out.emplace_back();
        out.back().points.push_back(pts[i]);
    }
    for (Line& l : out)
        l.updateBounds();
    std::erase_if(out, [](const Line& l) { return l.points.size() < 2; });
    return out;
}

struct Decoder {
    std::vector<Arc> arcs;
    std::vector<NamedShape> names;
    QString error;

    bool appendRing(const QJsonArray& indices, Line& ring)
    {
        for (const QJsonValue& v : indices) {
            const int i = v.toInt();
            const int k = i < 0 ? ~i : i;
            if (k < 0 || k >= static_cast<int>(arcs.size())) {
                error = QStringLiteral("arc index %1 out of range").arg(i);
                return false;
            }
            const Arc& a = arcs[static_cast<std::size_t>(k)];
            const std::size_t skip = ring.points.empty() ? 0 : 1;
            if (i >= 0)
                ring.points.insert(ring.points.end(), a.begin() + std::min(skip, a.size()), a.end());
            else
                ring.points.insert(ring.points.end(), a.rbegin() + std::min(skip, a.size()), a.rend());
        }
        unwrapRing(ring);
        ring.updateBounds();
        return true;
    }

    bool polygon(const QJsonArray& rings, std::vector<Polygon>& out, std::vector<std::set<int>>& uses)
    {
        Polygon poly;
        for (const QJsonValue& r : rings) {
            Line ring;
            if (!appendRing(r.toArray(), ring))
                return false;
            for (const QJsonValue& v : r.toArray()) {
                const int i = v.toInt();
                uses.back().insert(i < 0 ? ~i : i);
            }
            if (ring.points.size() >= 3)
                poly.push_back(std::move(ring));
        }
        if (!poly.empty())
            out.push_back(std::move(poly));
        return true;
    }

    bool geometry(const QJsonObject& g, std::vector<Polygon>& out, std::vector<std::set<int>>& uses)
    {
        const QString type = g.value("type").toString();
        if (type == "GeometryCollection") {
            for (const QJsonValue& child : g.value("geometries").toArray())
                if (!geometry(child.toObject(), out, uses))
                    return false;
            return true;
        }
        uses.emplace_back();
        const std::size_t first = out.size();
        bool ok = true;
        if (type == "Polygon") {
            ok = polygon(g.value("arcs").toArray(), out, uses);
        } else if (type == "MultiPolygon") {
            for (const QJsonValue& p : g.value("arcs").toArray())
                if (!(ok = polygon(p.toArray(), out, uses)))
                    break;
        }  // points and lines play no part in the base map
        const QString name = g.value("properties").toObject().value("name").toString().trimmed();
        if (ok && !name.isEmpty() && out.size() > first)
            names.push_back({name, first, out.size() - first});
        return ok;
    }
};

}  // namespace

bool readTopoJson(const QByteArray& json, const QString& objectName, TopoLayer& layer, QString& error)
{
    QJsonParseError pe;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &pe);
    if (doc.isNull() || !doc.isObject()) {
        error = QStringLiteral("not JSON: %1").arg(pe.errorString());
        return false;
    }
    const QJsonObject topo = doc.object();
    if (topo.value("type").toString() != "Topology") {
        error = QStringLiteral("not a TopoJSON topology");
        return false;
    }
    double sx = 1, sy = 1, tx = 0, ty = 0;
    const bool quantised = topo.contains("transform");
    if (quantised) {
        const QJsonObject t = topo.value("transform").toObject();
        sx = t.value("scale").toArray().at(0).toDouble();
        sy = t.value("scale").toArray().at(1).toDouble();
        tx = t.value("translate").toArray().at(0).toDouble();
        ty = t.value("translate").toArray().at(1).toDouble();
    }
    Decoder d;
    for (const QJsonValue& a : topo.value("arcs").toArray()) {
        Arc arc;
        double x = 0, y = 0;
        for (const QJsonValue& pv : a.toArray()) {
            const QJsonArray p = pv.toArray();
            if (quantised) {
                x += p.at(0).toDouble();
                y += p.at(1).toDouble();
                arc.push_back(mercator(x * sx + tx, y * sy + ty));
            } else {
                arc.push_back(mercator(p.at(0).toDouble(), p.at(1).toDouble()));
            }
        }
        d.arcs.push_back(std::move(arc));
    }
    const QJsonObject objects = topo.value("objects").toObject();
    if (!objects.contains(objectName)) {
        error = QStringLiteral("no object '%1' in the topology").arg(objectName);
        return false;
    }
    std::vector<std::set<int>> uses;
    if (!d.geometry(objects.value(objectName).toObject(), layer.polygons, uses)) {
        error = d.error;
        return false;
    }
    layer.names = std::move(d.names);
    std::map<int, int> count;
    for (const auto& s : uses)
        for (int a : s)
            ++count[a];
    for (const auto& [arc, n] : count) {
        if (n < 2)
            continue;
        for (Line& l : splitAtJumps(d.arcs[static_cast<std::size_t>(arc)]))
            layer.borders.push_back(std::move(l));
    }
    return true;
}

}  // namespace zenloft::basemap
