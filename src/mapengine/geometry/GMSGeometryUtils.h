#pragma once

#include "CLLocationCoordinate2D.h"
#include "GMSEarth.h"
#include "GMSPath.h"

// Spherical geometry on the engine's earth (radius kGMSEarthRadius).
// Arguments in degrees unless said otherwise. Stateless, any thread.

// Central angle between two coordinates, radians (haversine form).
double GMSGeometryCentralAngle(CLLocationCoordinate2D from, CLLocationCoordinate2D to);

// Great-circle distance in metres.
double GMSGeometryDistance(CLLocationCoordinate2D from, CLLocationCoordinate2D to);

// Geodesic length of a path in metres.
double GMSGeometryLength(const GMSPath& path);

// Initial great-circle bearing from `from` to `to`, degrees in [0, 360).
// From a point to itself: 0.
double GMSGeometryHeading(CLLocationCoordinate2D from, CLLocationCoordinate2D to);

// The point reached from `from` along a great circle: `angle` is a central
// angle in radians, `heading` in degrees. The longitude comes back in
// [-180, 180).
CLLocationCoordinate2D GMSGeometryOffset(CLLocationCoordinate2D from, double angle, double heading);

// The point at `fraction` along the great circle from `from` to `to`;
// fractions outside [0, 1] extrapolate along the same circle.
CLLocationCoordinate2D GMSGeometryInterpolate(CLLocationCoordinate2D from, CLLocationCoordinate2D to, double fraction);

// Even-odd ray test: whether `point` lies inside `path` seen as a closed
// ring. Edges are great circles when `geodesic`, rhumb lines otherwise. A
// point exactly on a vertex is inside.
bool GMSGeometryContainsLocation(CLLocationCoordinate2D point, const GMSPath& path, bool geodesic);

// Wraps a longitude in degrees into [-180, 180) (unchanged when already there).
double GMSWrapLongitude(double longitude);
