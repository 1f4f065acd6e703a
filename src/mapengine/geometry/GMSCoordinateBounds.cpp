#include "GMSCoordinateBounds.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "GMSGeometryMath.h"
#include "GMSPath.h"

bool GMSLongitudeInArc(double x, double west, double east) {
    if (west <= east)
        return west <= x && x <= east;
    return x >= west || x <= east;
}

namespace {

double normalise360(double v) {
    if (v >= 0.0 && v < 360.0)
        return v;
    return std::fmod(std::fmod(v, 360.0) + 360.0, 360.0);
}

std::uint64_t coordinateHash(CLLocationCoordinate2D c) {
    const std::uint64_t lat = std::bit_cast<std::uint32_t>(static_cast<float>(c.latitude));
    const std::uint64_t lng = std::bit_cast<std::uint32_t>(static_cast<float>(c.longitude));
    return lat * 31u + lng;
}

} // namespace

GMSCoordinateBounds::GMSCoordinateBounds()
    : northEast_(kCLLocationCoordinate2DInvalid), southWest_(kCLLocationCoordinate2DInvalid) {}

GMSCoordinateBounds::GMSCoordinateBounds(CLLocationCoordinate2D coord1, CLLocationCoordinate2D coord2)
    : GMSCoordinateBounds() {
    updateIncludingCoordinate(coord1, coord2);
}

GMSCoordinateBounds::GMSCoordinateBounds(const GMSPath& path) : GMSCoordinateBounds() {
    for (const CLLocationCoordinate2D& c : path.coordinates())
        updateIncludingCoordinate(c, c);
}

GMSCoordinateBounds GMSCoordinateBounds::withSouthWest(CLLocationCoordinate2D southWest, CLLocationCoordinate2D northEast) {
    GMSCoordinateBounds b;
    b.southWest_ = southWest;
    b.northEast_ = northEast;
    return b;
}

GMSCoordinateBounds GMSCoordinateBounds::includingCoordinate(CLLocationCoordinate2D coordinate) const {
    GMSCoordinateBounds b(*this);
    b.updateIncludingCoordinate(coordinate, coordinate);
    return b;
}

GMSCoordinateBounds GMSCoordinateBounds::includingBounds(const GMSCoordinateBounds& other) const {
    GMSCoordinateBounds b(*this);
    if (other.isValid())
        b.updateIncludingBounds(other.southWest_, other.northEast_);
    return b;
}

GMSCoordinateBounds GMSCoordinateBounds::includingPath(const GMSPath& path) const {
    GMSCoordinateBounds b(*this);
    for (const CLLocationCoordinate2D& c : path.coordinates())
        b.updateIncludingCoordinate(c, c);
    return b;
}

void GMSCoordinateBounds::updateIncludingCoordinate(CLLocationCoordinate2D a, CLLocationCoordinate2D b) {
    if (!CLLocationCoordinate2DIsValid(a) || !CLLocationCoordinate2DIsValid(b))
        return;
    const double south = std::min(a.latitude, b.latitude);
    const double north = std::max(a.latitude, b.latitude);
    const double lo = std::min(a.longitude, b.longitude);
    const double hi = std::max(a.longitude, b.longitude);
    // The shorter way round; exactly 180 apart goes from lo to hi.
    if (hi - lo <= 180.0)
        updateIncludingBounds({south, lo}, {north, hi});
    else
        updateIncludingBounds({south, hi}, {north, lo});
}

void GMSCoordinateBounds::updateIncludingBounds(CLLocationCoordinate2D sw, CLLocationCoordinate2D ne) {
    if (!isValid()) {
        southWest_ = sw;
        northEast_ = ne;
        return;
    }
    const double north = std::max(northEast_.latitude, ne.latitude);
    const double south = std::min(southWest_.latitude, sw.latitude);

    const double oldWest = southWest_.longitude;
    const double oldEast = northEast_.longitude;
    const double newWest = sw.longitude;
    const double newEast = ne.longitude;
    const bool oldWestInB = GMSLongitudeInArc(oldWest, newWest, newEast);
    const bool oldEastInB = GMSLongitudeInArc(oldEast, newWest, newEast);
    const bool newWestInA = GMSLongitudeInArc(newWest, oldWest, oldEast);
    const bool newEastInA = GMSLongitudeInArc(newEast, oldWest, oldEast);

    double west;
    double east;
    if (!oldWestInB && !oldEastInB && !newWestInA && !newEastInA) {
        // Disjoint arcs: close the smaller gap. A tie extends to the west.
        const double gapEast = normalise360(newWest - oldEast);
        const double gapWest = normalise360(oldWest - newEast);
        if (gapEast < gapWest) {
            west = oldWest;
            east = newEast;
        } else {
            west = newWest;
            east = oldEast;
        }
    } else if (oldWest != oldEast && newWest != newEast && !(oldWest == newWest && oldEast == newEast) && oldWestInB &&
               oldEastInB && newWestInA && newEastInA) {
        // Each arc reaches round to the other: the whole circle.
        west = -180.0;
        east = 179.999999;
    } else {
        east = oldEastInB ? newEast : oldEast;
        west = oldWestInB ? newWest : oldWest;
    }
    southWest_ = {south, west};
    northEast_ = {north, east};
}

bool GMSCoordinateBounds::containsCoordinate(CLLocationCoordinate2D c) const {
    if (!isValid())
        return false;
    return southWest_.latitude <= c.latitude && c.latitude <= northEast_.latitude &&
           GMSLongitudeInArc(c.longitude, southWest_.longitude, northEast_.longitude);
}

bool GMSCoordinateBounds::intersectsBounds(const GMSCoordinateBounds& other) const {
    if (!isValid() || !other.isValid())
        return false;
    if (other.southWest_.latitude > northEast_.latitude || other.northEast_.latitude < southWest_.latitude)
        return false;
    const double w1 = southWest_.longitude, e1 = northEast_.longitude;
    const double w2 = other.southWest_.longitude, e2 = other.northEast_.longitude;
    return GMSLongitudeInArc(w2, w1, e1) || GMSLongitudeInArc(e2, w1, e1) || GMSLongitudeInArc(w1, w2, e2) ||
           GMSLongitudeInArc(e1, w2, e2);
}

bool GMSCoordinateBounds::isValid() const {
    return CLLocationCoordinate2DIsValid(northEast_) && CLLocationCoordinate2DIsValid(southWest_);
}

CLLocationCoordinate2D GMSCoordinateBounds::center() const {
    if (!isValid())
        return kCLLocationCoordinate2DInvalid;
    const double west = southWest_.longitude;
    const double east = northEast_.longitude;
    const double lat = (northEast_.latitude + southWest_.latitude) / 2.0;
    if (east >= west)
        return {lat, (west + east) / 2.0};
    return {lat, gms_detail::wrapLongitudeDegrees((west + east + 360.0) / 2.0)};
}

bool GMSCoordinateBounds::isEqual(const GMSCoordinateBounds& other) const {
    const bool valid = isValid();
    if (valid != other.isValid())
        return false;
    if (!valid)
        return true;
    return northEast_ == other.northEast_ && southWest_ == other.southWest_;
}

std::uint64_t GMSCoordinateBounds::hash() const {
    // Invalid bounds are all equal, so they share one hash.
    if (!isValid())
        return coordinateHash(kCLLocationCoordinate2DInvalid) * 32u + 961u;
    return coordinateHash(northEast_) * 31u + coordinateHash(southWest_) + 961u;
}
