#include "WorkPosition.h"

#include "LocationManager.h"
#include "LocationServices.h"

std::optional<CLLocationCoordinate2D> workPosition(bool useGeocoder, const CLLocationCoordinate2D& manual,
                                                   const std::optional<CLLocation>& deviceLocation,
                                                   const std::optional<CLLocationCoordinate2D>& previous) {
    if (useGeocoder && (manual.latitude != 0.0 || manual.longitude != 0.0))
        return manual;
    if (deviceLocation)
        return deviceLocation->coordinate;
    return previous;
}

bool enableMyLocation(LocationManager& manager) {
    const int status = manager.services()->authorizationStatus();
    if (status == kCLAuthorizationStatusAuthorizedWhenInUse)
        return true;
    manager.requestWhenInUseAuthorization();
    return false;
}
