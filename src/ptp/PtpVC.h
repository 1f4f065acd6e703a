#pragma once

#include "GMSMapViewDelegate.h"
#include "GMSMarker.h"
#include "GMSPath.h"
#include "GMSPolyline.h"
#include "ScreenContext.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include "CLLocation.h"

#include <QPointer>

#include <optional>

#include "GMSMapView.h"
class AppDelegate;
class LocationManager;

// The point-to-point screen: the from point and the target with the red
// great-circle line between them, the compass needle on the from point, and
// the live heading, green while the phone points along the line. The
// points come from the settings each time the screen appears.
class PtpVC : public UIViewController, public GMSMapViewDelegate {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* kompasTXT MEMBER kompasTXT CONSTANT)
    Q_PROPERTY(UILabel* toTXT MEMBER toTXT CONSTANT)
    Q_PROPERTY(UILabel* fromTXT MEMBER fromTXT CONSTANT)
    Q_PROPERTY(GMSMapView* mapView READ mapView CONSTANT)

public:
    explicit PtpVC(const ScreenContext& context, QObject* parent = nullptr);
    ~PtpVC() override;

    GMSMapView* mapView() const { return mapView_; }

    void viewDidLoad() override;
    void viewWillAppear(bool animated) override;

    // The bar button: the point-to-point settings.
    Q_INVOKABLE void settings();

    // Map delegate.
    bool didTapMarker(GMSMapView* mapView, GMSMarker* marker) override;
    void didLongPressAtCoordinate(GMSMapView* mapView, CLLocationCoordinate2D coordinate) override;

    // Location manager delegate.
    void didUpdateHeading(const CLHeading& heading);

    bool configureMap();
    void redrawLine();
    void setFromPoint(CLLocationCoordinate2D coordinate);

    // The initial great-circle bearing from the first point to the second,
    // degrees clockwise from true north in [0, 360).
    static double initialBearing(double lat1, double lon1, double lat2, double lon2);

    UILabel* kompasTXT;
    UILabel* toTXT;
    UILabel* fromTXT;
    std::optional<double> azimuth = -360.0;  // -360.0: not computed, never matches a heading
    LocationManager* locationManager = nullptr;
    int authorizationStatus = 0;
    std::optional<CLLocationCoordinate2D> lokalizacjaCelu;
    std::optional<CLLocationCoordinate2D> lokalizacjaUzytkownika;
    std::optional<CLLocationCoordinate2D> lokalizacjaManual;
    GMSMarkerPtr pinCel;
    GMSMarkerPtr pinUzytkownik;
    GMSMarkerPtr pinKompas;
    GMSPolylinePtr linia;
    GMSMutablePath punktyLinii;
    double actualCompassValue = 0.0;
    bool mapIsConfigured = false;
    bool userOnMap = false;
    QPointer<AppDelegate> appDelegate;
    bool useGeocoder = false;

private:
    void readPoints();

    GMSMapView* mapView_;
};
