#pragma once

#include "CLLocation.h"

#include <optional>

class LocationManager;

// The position a work screen draws from, each time it appears: the manual
// one when "useGeocoder" is on and the manual coordinate isn't exactly
// (0.0, 0.0); otherwise the device's last fix; otherwise what it was.
std::optional<CLLocationCoordinate2D> workPosition(bool useGeocoder, const CLLocationCoordinate2D& manual,
                                                   const std::optional<CLLocation>& deviceLocation,
                                                   const std::optional<CLLocationCoordinate2D>& previous);

// The my-location switch of a map screen, run once when it loads: true when
// the blue dot and its button may be shown (permission "when in use");
// otherwise asks for permission and returns false. The screen does not come
// back to it when the user answers.
bool enableMyLocation(LocationManager& manager);
