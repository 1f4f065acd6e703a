#pragma once

#include "CLLocation.h"
#include "GMSMarker.h"

#include "Geocoder.h"

#include <QColor>
#include <QImage>
#include <QPointer>

class GMSMapView;
class GMSMapViewDelegate;
class LocationServices;
class LocationManager;

// Pieces the map screens of the work areas share.
namespace MapSupport {

// The compass indicator's icon: the image "new_compass_indicator" drawn
// into 50 by 120 points at the screen's scale, so that the needle stands on
// the position and points along the heading when the marker turns.
QImage compassIndicatorIcon();

// The map's my-location switch, run once when a map screen loads: with
// permission "when in use" the blue dot and its button show, and every fix
// the device delivers moves the dot; otherwise permission is asked for and
// the map stays without them. Returns whether the dot shows.
bool enableMyLocation(GMSMapView* map, LocationManager* manager);

// What the compass map screens set up when they load: the screen as the
// map's delegate, 50 points of padding at the bottom, a location manager of
// the screen's own (asking for permission, best accuracy, compass running)
// and the my-location switch. Returns the manager.
LocationManager* setUpCompassMap(GMSMapView* map, GMSMapViewDelegate* screen, LocationServices* services,
                                 QObject* owner);

// The work position on a map screen: the camera on it at zoom 18.0, the
// compass needle (flat) and the position pin with its title standing there,
// a hybrid map without rotation.
void showWorkPosition(GMSMapView* map, const GMSMarkerPtr& needle, const GMSMarkerPtr& pin,
                      CLLocationCoordinate2D position, const QString& title);

// The address search of the map screens: the text goes to a new geocoder
// owned by `screen`, kept in `current`. A search still running there is
// cancelled and its answer dropped, so `done` hears the latest search only.
void searchAddress(QObject* screen, QPointer<Geocoder>& current, const Geocoder::Config& config,
                   const QString& address, const Geocoder::CompletionHandler& done);

// The compass read-out: green while the heading lies within 5.0 degrees of
// the bearing (5.0 included), white otherwise. The difference is plain, with
// no wrap at north, so the bearing -360.0 (none) never matches.
inline constexpr double kOnBearingDegrees = 5.0;
bool onBearing(double heading, double bearing);
QColor onBearingColor();
QColor readoutColor(double heading, double bearing);

}  // namespace MapSupport
