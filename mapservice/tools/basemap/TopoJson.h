#pragma once

#include <QByteArray>
#include <QPointF>
#include <QString>

#include <vector>

namespace zenloft::basemap {

// A closed or open line in normalised Web Mercator: x and y in [0, 1], y
// growing southwards, with its bounding box.
struct Line {
    std::vector<QPointF> points;
    double minX = 1, minY = 1, maxX = 0, maxY = 0;
    void updateBounds();
};

// A polygon: the first ring is the outline, the others are holes.
using Polygon = std::vector<Line>;

// A named geometry of the object (a country): its polygons are
// polygons[firstPolygon, firstPolygon + polygonCount).
struct NamedShape {
    QString name;
    std::size_t firstPolygon = 0;
    std::size_t polygonCount = 0;
};

struct TopoLayer {
    std::vector<Polygon> polygons;
    std::vector<Line> borders;  // arcs shared by two or more geometries
    std::vector<NamedShape> names;  // geometries with a "name" property
};

// Decodes one object of a TopoJSON topology (quantised or not). Lines are
// projected to normalised Mercator, latitudes clamped to the Mercator range.
// Returns false with a message on anything that is not such a topology.
bool readTopoJson(const QByteArray& json, const QString& objectName, TopoLayer& layer, QString& error);

QPointF mercator(double lon, double lat);

}  // namespace zenloft::basemap
