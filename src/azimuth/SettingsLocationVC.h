#pragma once

#include "ScreenContext.h"
#include "GMSMapViewDelegate.h"
#include "GMSMarker.h"
#include "Geocoder.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include <QPointer>

#include <optional>

#include "GMSMapView.h"
class LocationManager;

// The manual position of the azimuth lines: chosen by a long press on the
// map or by an address search, and switched between the device's position
// and the manual one. Every change is written to the settings at once.
class SettingsLocationVC : public UIViewController, public GMSMapViewDelegate {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(GMSMapView* mapView READ mapView CONSTANT)
    Q_PROPERTY(UISegmentedControl* picker MEMBER picker CONSTANT)
    Q_PROPERTY(UITextField* lokalizacjaName MEMBER lokalizacjaName CONSTANT)
    Q_PROPERTY(UILabel* pointLocationTXT MEMBER pointLocationTXT CONSTANT)

public:
    explicit SettingsLocationVC(const ScreenContext& context, QObject* parent = nullptr);
    ~SettingsLocationVC() override;

    GMSMapView* mapView() const { return mapView_; }

    void viewDidLoad() override;

    void didLongPressAtCoordinate(GMSMapView* mapView, CLLocationCoordinate2D coordinate) override;
    // The segmented control: 0 the device's position, 1 the manual one.
    Q_INVOKABLE void pickerChange();
    // The address search (the search field's return key).
    Q_INVOKABLE void szukajLokalizacji();
    // What the search answered.
    void geocodeFinished(const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error);
    // Closes the keyboard; no way back.
    Q_INVOKABLE void cancel();

    void showPoint(CLLocationCoordinate2D coordinate);

    UISegmentedControl* picker;
    UITextField* lokalizacjaName;
    UILabel* pointLocationTXT;
    LocationManager* locationManager = nullptr;
    int authorizationStatus = 0;
    bool useGeocoder = false;
    std::optional<CLLocationCoordinate2D> lokalizacjaUzytkownika;
    GMSMarkerPtr pinUzytkownika;
    double latitude = 0.0;
    double longitude = 0.0;

    Geocoder* geocoder() const { return geocoder_; }

signals:
    // The keyboard should close (end editing on the view).
    void endEditing();
    void searchFinished();

private:
    void savePoint(CLLocationCoordinate2D coordinate);

    GMSMapView* mapView_;
    QPointer<Geocoder> geocoder_;
};
