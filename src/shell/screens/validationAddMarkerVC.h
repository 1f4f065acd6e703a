#pragma once

#include "GMSMapViewDelegate.h"
#include "GMSMarker.h"
#include "Geocoder.h"
#include "ScreenContext.h"
#include "store/Entities.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include <QPointer>

#include <optional>

#include "GMSMapView.h"

class AppDelegate;
class ColorForm;
class LocationManager;

// What the marker editor is opened for, and so which store it writes.
enum addPointType : int {
    addMarkerForValidation = 0,   // a new field check marker
    editMarkerForValidation = 1,  // the field check marker with `id`
    addPointForPTP = 2,           // a new point of the point list
    editPointForPTP = 3,          // the point with `id`
};

// The marker editor: one form with a small map that adds or edits a field
// check marker (the Core Data store) or a point of the point list (the
// object store). The caller sets `mode` and, for an edit, the values before
// the screen loads. The position comes from the device, a long press on the
// map or an address search; a name, a description and a colour go with it.
class validationAddMarkerVC : public UIViewController, public GMSMapViewDelegate {
    Q_OBJECT
    ScreenContext context_;  // first, so that every member after it may use it
    QML_NAMED_ELEMENT(ValidationAddMarkerVC)
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UITextField* searchTXT MEMBER searchTXT CONSTANT)
    Q_PROPERTY(GMSMapView* mapView READ mapView CONSTANT)
    Q_PROPERTY(UISlider* sliderRed MEMBER sliderRed CONSTANT)
    Q_PROPERTY(UISlider* sliderGreen MEMBER sliderGreen CONSTANT)
    Q_PROPERTY(UISlider* sliderBlue MEMBER sliderBlue CONSTANT)
    Q_PROPERTY(UITextField* decRed MEMBER decRed CONSTANT)
    Q_PROPERTY(UITextField* decGreen MEMBER decGreen CONSTANT)
    Q_PROPERTY(UITextField* decBlue MEMBER decBlue CONSTANT)
    Q_PROPERTY(UIView* colorView MEMBER colorView CONSTANT)
    Q_PROPERTY(UITextField* nameTXT MEMBER nameTXT CONSTANT)
    Q_PROPERTY(UITextField* descTXT MEMBER descTXT CONSTANT)
    Q_PROPERTY(UITextField* colorHex MEMBER colorHex CONSTANT)
    Q_PROPERTY(UIButton* addButton MEMBER addButton CONSTANT)
    Q_PROPERTY(UILabel* statusLbl MEMBER statusLbl CONSTANT)

public:
    explicit validationAddMarkerVC(const ScreenContext& context, QObject* parent = nullptr);
    ~validationAddMarkerVC() override;

    GMSMapView* mapView() const { return mapView_; }

    void viewDidLoad() override;

    // The button: stores by mode and goes back, or stays and says why.
    // True when the screen went back.
    bool addMarker();
    void didLongPressAtCoordinate(GMSMapView* mapView, CLLocationCoordinate2D coordinate) override;
    // The address search (the search field's return key).
    Q_INVOKABLE void szukajLokalizacji();
    // What the search answered.
    void geocodeFinished(const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error);
    // Closes the keyboard.
    Q_INVOKABLE void cancel();

    // Outlets.
    UITextField* searchTXT;
    UISlider* sliderRed;
    UISlider* sliderGreen;
    UISlider* sliderBlue;
    UITextField* decRed;
    UITextField* decGreen;
    UITextField* decBlue;
    UIView* colorView;
    UITextField* nameTXT;
    UITextField* descTXT;
    // Shows the colour; typing into it changes nothing.
    UITextField* colorHex;
    UIButton* addButton;
    // Why the button was refused.
    UILabel* statusLbl;

    LocationManager* locationManager = nullptr;  // built when the view loads
    int authorizationStatus = 0;
    std::optional<CLLocationCoordinate2D> markerLocalisation;  // the position to save
    GMSMarkerPtr marker;                                        // the one marker of the map
    qint64 valueRed = 127;
    qint64 valueGreen = 127;
    qint64 valueBlue = 127;
    QPointer<AppDelegate> appDelegate;
    addPointType mode = addMarkerForValidation;
    RealmConfiguration* realm = nullptr;  // the point list's store
    // Set by the caller for an edit.
    QString id;
    double latitude = -1.0;
    double longitude = -1.0;
    QString name;
    QString desc;

    ColorForm* colorForm() const { return colorForm_; }
    Geocoder* geocoder() const { return geocoder_; }

signals:
    // The keyboard should close (end editing on the view).
    void endEditing();
    void searchFinished();

private:
    NSManagedObjectContext* context() const;
    void recolorMarker();
    void takeColorFromForm();
    void placeMarker(CLLocationCoordinate2D coordinate);
    void refuse(const QString& why);
    bool saveMarker(NSManagedObjectContext* context);

    GMSMapView* mapView_;
    ColorForm* colorForm_;
    QPointer<Geocoder> geocoder_;
    bool showingStored_ = false;  // the form shows the values; nothing to take back
};
