#pragma once

#include <cstdint>

#include "CLLocationCoordinate2D.h"

class GMSPath;

// A latitude band and a longitude arc. The arc runs east from
// southWest.longitude to northEast.longitude, so west > east means the box
// spans the antimeridian. Immutable: the including* operations return new
// bounds.
class GMSCoordinateBounds {
public:
    // Both corners invalid.
    GMSCoordinateBounds();
    // The box of the two points, the shorter way round in longitude.
    GMSCoordinateBounds(CLLocationCoordinate2D coord1, CLLocationCoordinate2D coord2);
    explicit GMSCoordinateBounds(const GMSPath& path);

    static GMSCoordinateBounds withCoordinates(CLLocationCoordinate2D a, CLLocationCoordinate2D b) { return {a, b}; }
    // Corners taken as they stand.
    static GMSCoordinateBounds withSouthWest(CLLocationCoordinate2D southWest, CLLocationCoordinate2D northEast);

    GMSCoordinateBounds includingCoordinate(CLLocationCoordinate2D coordinate) const;
    GMSCoordinateBounds includingBounds(const GMSCoordinateBounds& other) const;
    GMSCoordinateBounds includingPath(const GMSPath& path) const;

    bool containsCoordinate(CLLocationCoordinate2D coordinate) const;
    bool intersectsBounds(const GMSCoordinateBounds& other) const;
    bool isValid() const;
    // Midpoint of the band and of the arc; invalid coordinate for invalid bounds.
    CLLocationCoordinate2D center() const;

    CLLocationCoordinate2D northEast() const { return northEast_; }
    CLLocationCoordinate2D southWest() const { return southWest_; }

    // Any two invalid bounds are equal; otherwise corners compare exactly.
    bool isEqual(const GMSCoordinateBounds& other) const;
    friend bool operator==(const GMSCoordinateBounds& a, const GMSCoordinateBounds& b) { return a.isEqual(b); }
    std::uint64_t hash() const;

    // The merging steps, exposed for the generators and for tests.
    void updateIncludingCoordinate(CLLocationCoordinate2D coord1, CLLocationCoordinate2D coord2);
    void updateIncludingBounds(CLLocationCoordinate2D southWest, CLLocationCoordinate2D northEast);

private:
    CLLocationCoordinate2D northEast_;
    CLLocationCoordinate2D southWest_;
};

// Whether longitude x lies on the arc going east from w to e.
bool GMSLongitudeInArc(double x, double west, double east);
