#pragma once

#include <QImage>

class GMSMapView;
class LocationManager;

// Pieces the azimuth area's map screens share.
namespace MapSupport {

// The compass indicator's icon: the image "new_compass_indicator" drawn
// into 50 by 120 points at the screen's scale, so that the needle stands on
// the position and points along the heading when the marker turns.
QImage compassIndicatorIcon();

// The blue dot: while the map shows the device's position, every fix the
// device delivers moves it. The map engine knows nothing of positions;
// this joins it to the location services of the manager.
void feedMyLocation(GMSMapView* map, LocationManager* manager);

}  // namespace MapSupport
