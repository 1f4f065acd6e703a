#pragma once

#include "GMSCameraPosition.h"
#include "geometry/CLLocationCoordinate2D.h"

class GMSMapView;
class GMSMarker;
class GMSOverlay;

// What a screen learns from its map. Every event is also a Qt signal of the
// view; this interface is for screens written against the delegate style.
class GMSMapViewDelegate {
public:
    virtual ~GMSMapViewDelegate() = default;
    // True: the screen handled it, the map does nothing more.
    virtual bool didTapMarker(GMSMapView* mapView, GMSMarker* marker) { return false; }
    virtual void didLongPressAtCoordinate(GMSMapView* mapView, CLLocationCoordinate2D coordinate) {}
    virtual void didTapAtCoordinate(GMSMapView* mapView, CLLocationCoordinate2D coordinate) {}
    virtual void didTapOverlay(GMSMapView* mapView, GMSOverlay* overlay) {}
    virtual void didTapInfoWindowOfMarker(GMSMapView* mapView, GMSMarker* marker) {}
    // True: the screen handled it; otherwise the map goes to my location.
    virtual bool didTapMyLocationButton(GMSMapView* mapView) { return false; }
    virtual void willMove(GMSMapView* mapView, bool gesture) {}
    virtual void didChangeCameraPosition(GMSMapView* mapView, const GMSCameraPosition& position) {}
    virtual void idleAtCameraPosition(GMSMapView* mapView, const GMSCameraPosition& position) {}
    virtual void mapViewDidStartTileRendering(GMSMapView* mapView) {}
    virtual void mapViewDidFinishTileRendering(GMSMapView* mapView) {}
};
