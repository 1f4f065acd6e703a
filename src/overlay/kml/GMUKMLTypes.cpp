#include "GMUKMLTypes.h"

static bool samePath(const GMSPath& a, const GMSPath& b) {
    return a.coordinates() == b.coordinates();
}

bool operator==(const GMULineString& a, const GMULineString& b) {
    if (a.path.has_value() != b.path.has_value())
        return false;
    return !a.path || samePath(*a.path, *b.path);
}

bool operator==(const GMUPolygon& a, const GMUPolygon& b) {
    if (a.paths.size() != b.paths.size())
        return false;
    for (std::size_t i = 0; i < a.paths.size(); ++i)
        if (!samePath(a.paths[i], b.paths[i]))
            return false;
    return true;
}

bool operator==(const GMUGeometryCollection& a, const GMUGeometryCollection& b) {
    return a.geometries == b.geometries;
}

bool operator==(const GMUGeometry& a, const GMUGeometry& b) {
    return a.kind_ == b.kind_;
}

std::string GMUGeometry::type() const {
    return std::visit([](const auto& g) { return std::string(g.type); }, kind_);
}
