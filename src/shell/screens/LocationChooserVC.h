#pragma once

#include "GMSMapViewDelegate.h"
#include "GMSMarker.h"
#include "Geocoder.h"
#include "ScreenContext.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include <QPointer>

#include <optional>

#include "GMSMapView.h"
class LocationManager;

// A map on which the user sets one location, by a long press or by an
// address search, with a switch between the device's position (segment 0)
// and the manual one (segment 1). There is no confirm button: each choice
// goes to the settings at once, under the keys the screen says.
class LocationChooserVC : public UIViewController, public GMSMapViewDelegate {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(GMSMapView* mapView READ mapView CONSTANT)
    Q_PROPERTY(UISegmentedControl* picker MEMBER picker CONSTANT)
    Q_PROPERTY(UITextField* lokalizacjaName MEMBER lokalizacjaName CONSTANT)
    Q_PROPERTY(UILabel* pointLabel READ pointLabel CONSTANT)

public:
    explicit LocationChooserVC(const ScreenContext& context, QObject* parent = nullptr);
    ~LocationChooserVC() override;

    GMSMapView* mapView() const { return mapView_; }
    // The text of the chosen point's coordinates.
    UILabel* pointLabel() const { return pointLabel_; }

    void didLongPressAtCoordinate(GMSMapView* mapView, CLLocationCoordinate2D coordinate) override;
    // The segmented control: 0 the device's position, 1 the manual one;
    // written to the screen's manual flag. The stored point stays.
    Q_INVOKABLE void pickerChange();
    // The address search (the search field's return key).
    Q_INVOKABLE void szukajLokalizacji();
    // What the search answered.
    void geocodeFinished(const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error);
    // Closes the keyboard; no way back.
    Q_INVOKABLE void cancel();

    // Marker, text and camera to a coordinate.
    void showPoint(CLLocationCoordinate2D coordinate);

    UISegmentedControl* picker;
    UITextField* lokalizacjaName;
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

protected:
    // Delegate, the my-location switch, hybrid map, no rotation.
    void setUpMap();
    // The marker of the chosen point, put on the map at a coordinate.
    void placePin(CLLocationCoordinate2D start, const QString& title);
    // A point chosen by a long press or a search goes to the settings.
    virtual void storePoint(CLLocationCoordinate2D coordinate, bool byLongPress);
    // The manual flag goes to the settings.
    virtual void storeManualFlag(bool manual);

    ScreenContext context_;

private:
    UILabel* pointLabel_;
    GMSMapView* mapView_;
    QPointer<Geocoder> geocoder_;
};
