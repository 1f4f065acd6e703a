#pragma once

#include "ScreenContext.h"
#include "AzimuthLines.h"
#include "GMSMapViewDelegate.h"
#include "GMSMarker.h"
#include "GMSPolyline.h"
#include "store/Entities.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include "CLLocation.h"

#include <QList>
#include <QPointer>

#include <optional>

class AppDelegate;
#include "GMSMapView.h"
class LocationManager;

// The azimuth map: every active azimuth as a line from the work position
// with a coloured marker at its end, the live heading, and a green heading
// when the phone points along the selected azimuth.
class AzimuthVC : public UIViewController, public GMSMapViewDelegate {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UILabel* kompasTXT READ kompasTXT CONSTANT)
    Q_PROPERTY(UILabel* pointLocationTXT READ pointLocationTXT CONSTANT)
    Q_PROPERTY(UILabel* pointDescriptionTXT READ pointDescriptionTXT CONSTANT)
    Q_PROPERTY(GMSMapView* mapView READ mapView CONSTANT)

public:
    // An end marker and the azimuth it stands for.
    struct markers {
        GMSMarkerPtr marker;
        double azymut = 0.0;
    };

    explicit AzimuthVC(const ScreenContext& context, QObject* parent = nullptr);
    ~AzimuthVC() override;

    UILabel* kompasTXT() const { return kompasTXT_; }
    UILabel* pointLocationTXT() const { return pointLocationTXT_; }
    UILabel* pointDescriptionTXT() const { return pointDescriptionTXT_; }
    GMSMapView* mapView() const { return mapView_; }

    void viewDidLoad() override;
    void viewWillAppear(bool animated) override;

    // The bar button: the azimuth settings.
    Q_INVOKABLE void settings();

    // Map delegate.
    bool didTapMarker(GMSMapView* mapView, GMSMarker* marker) override;
    void didLongPressAtCoordinate(GMSMapView* mapView, CLLocationCoordinate2D coordinate) override;

    // Location manager delegate.
    void didUpdateHeading(const CLHeading& heading);

    bool configureMap();
    void redrawAzimuths();

    double azimuth = AzimuthLines::kNoAzimuth;  // -360.0: none selected
    LocationManager* locationManager = nullptr;
    int authorizationStatus = 0;
    QList<CLLocationCoordinate2D> lokalizacjaCelu;
    std::optional<CLLocationCoordinate2D> lokalizacjaUzytkownika;
    std::optional<CLLocationCoordinate2D> lokalizacjaManual;
    QList<GMSPolylinePtr> linie;
    QList<markers> markery;
    GMSMarkerPtr pinCel;
    GMSMarkerPtr pinUzytkownik;
    GMSMarkerPtr pinKompas;
    double actualCompassValue = 0.0;
    bool mapIsConfigured = false;
    bool userOnMap = false;
    QList<Azimuth*> azymuty;
    QPointer<AppDelegate> appDelegate;
    bool useGeocoder = false;
    bool useImperialUnits = false;

private:
    void loadAzimuths();

    UILabel* kompasTXT_;
    UILabel* pointLocationTXT_;
    UILabel* pointDescriptionTXT_;
    GMSMapView* mapView_;
};
