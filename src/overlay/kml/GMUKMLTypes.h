#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "CLLocationCoordinate2D.h"
#include "GMSPath.h"
#include "GMSStyleSpan.h" // GMSColor, the engine's colour

// The values a KML file turns into. Plain immutable values: built once by the
// parser, compared whole with ==. Absent is a normal value throughout.

// An icon's hot spot as fractions of its size.
struct GMUAnchor {
    double x = 0.0;
    double y = 0.0;
    friend bool operator==(const GMUAnchor&, const GMUAnchor&) = default;
};

struct GMUPoint {
    CLLocationCoordinate2D coordinate;
    static constexpr const char* type = "Point";
    friend bool operator==(const GMUPoint&, const GMUPoint&) = default;
};

struct GMULineString {
    std::optional<GMSPath> path; // absent when the line had no coordinates
    static constexpr const char* type = "LineString";
    friend bool operator==(const GMULineString&, const GMULineString&);
};

struct GMUPolygon {
    std::vector<GMSPath> paths; // outer ring first, then the holes
    static constexpr const char* type = "Polygon";
    friend bool operator==(const GMUPolygon&, const GMUPolygon&);
};

struct GMUGroundOverlay {
    CLLocationCoordinate2D northEast;
    CLLocationCoordinate2D southWest;
    int zIndex = 0;
    double rotation = 0.0; // degrees clockwise
    std::optional<std::string> href;
    static constexpr const char* type = "GroundOverlay";
    friend bool operator==(const GMUGroundOverlay&, const GMUGroundOverlay&) = default;
};

class GMUGeometry;

struct GMUGeometryCollection {
    std::vector<GMUGeometry> geometries;
    static constexpr const char* type = "GeometryCollection";
    friend bool operator==(const GMUGeometryCollection&, const GMUGeometryCollection&);
};

// One of the geometry kinds; `type()` gives the kind's literal.
class GMUGeometry {
public:
    using Kind = std::variant<GMUPoint, GMULineString, GMUPolygon, GMUGeometryCollection, GMUGroundOverlay>;
    template <typename T>
    GMUGeometry(T value) : kind_(std::move(value)) {}

    std::string type() const;
    const Kind& kind() const { return kind_; }
    template <typename T>
    const T* as() const { return std::get_if<T>(&kind_); }

    friend bool operator==(const GMUGeometry&, const GMUGeometry&);

private:
    Kind kind_;
};

// Fields in the order of the style's initialiser.
struct GMUStyle {
    std::optional<std::string> styleID; // "#" and the id; absent only for a style built outside any <Style>
    std::optional<GMSColor> strokeColor;
    std::optional<GMSColor> fillColor;
    double width = 0.0;
    double scale = 0.0;
    double heading = 0.0;
    GMUAnchor anchor;
    std::optional<std::string> iconUrl;
    std::optional<std::string> title;
    bool hasFill = true;
    bool hasStroke = true;
    friend bool operator==(const GMUStyle&, const GMUStyle&) = default;
};

struct GMUPair {
    std::string key;
    std::string styleUrl;
    friend bool operator==(const GMUPair&, const GMUPair&) = default;
};

struct GMUStyleMap {
    std::string styleMapId;
    std::vector<GMUPair> pairs;
    friend bool operator==(const GMUStyleMap&, const GMUStyleMap&) = default;
};

// An optional value kept on the heap and shared by copies, compared by
// value. Few placemarks carry an inline style, and a style is large: boxed,
// it keeps a file of many placemarks small in memory.
template <typename T>
class GMUBoxed {
public:
    GMUBoxed() = default;
    GMUBoxed(std::nullopt_t) {}
    GMUBoxed(T value) : value_(std::make_shared<const T>(std::move(value))) {}

    bool has_value() const { return value_ != nullptr; }
    explicit operator bool() const { return has_value(); }
    const T& operator*() const { return *value_; }
    const T* operator->() const { return value_.get(); }

    friend bool operator==(const GMUBoxed& a, const GMUBoxed& b) {
        return a.value_ == b.value_ || (a.value_ && b.value_ && *a.value_ == *b.value_);
    }

private:
    std::shared_ptr<const T> value_;
};

struct GMUPlacemark {
    std::optional<GMUGeometry> geometry;
    GMUBoxed<GMUStyle> style; // the inline style
    std::optional<std::string> title;
    std::optional<std::string> snippet;
    std::optional<std::string> styleUrl;
    friend bool operator==(const GMUPlacemark&, const GMUPlacemark&) = default;
};
