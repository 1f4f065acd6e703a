#include "LocationChooserVC.h"

#include "GMSCameraPosition.h"
#include "GMSUISettings.h"
#include "LocationManager.h"
#include "LocationServices.h"
#include "SystemSound.h"
#include "screens/MapSupport.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"

LocationChooserVC::LocationChooserVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent),
      picker(new UISegmentedControl(this)),
      lokalizacjaName(new UITextField(this)),
      context_(context),
      pointLabel_(new UILabel(this)),
      mapView_(new GMSMapView(std::nullopt)) {
    mapView_->setParent(this);
    pointLabel_->setTextColor(Qt::white);
    locationManager = new LocationManager(context_.location, this);
    authorizationStatus = context_.location->authorizationStatus();
    pinUzytkownika = GMSMarker::marker();
    connect(picker, &UISegmentedControl::valueChanged, this, &LocationChooserVC::pickerChange);
}

LocationChooserVC::~LocationChooserVC() {
    if (mapView_) mapView_->setDelegate(nullptr);
}

void LocationChooserVC::setUpMap() {
    mapView_->setDelegate(this);
    MapSupport::enableMyLocation(mapView_, locationManager);
    mapView_->setMapType(GMSMapView::kGMSTypeHybrid);
    mapView_->settings()->setRotateGestures(false);
}

void LocationChooserVC::placePin(CLLocationCoordinate2D start, const QString& title) {
    lokalizacjaUzytkownika = start;
    pinUzytkownika->setTitle(title);
    pinUzytkownika->setPosition(start);
    pinUzytkownika->setFlat(false);
    pinUzytkownika->setMap(mapView_);
}

void LocationChooserVC::showPoint(CLLocationCoordinate2D coordinate) {
    lokalizacjaUzytkownika = coordinate;
    pinUzytkownika->setPosition(coordinate);
    pointLabel_->setText(Format::labelCoordinates(QStringLiteral("point"), coordinate.latitude, coordinate.longitude));
    mapView_->setCamera(GMSCameraPosition(coordinate.latitude, coordinate.longitude, 18.0f));
}

void LocationChooserVC::storePoint(CLLocationCoordinate2D coordinate, bool) {
    UserDefaults& defaults = *context_.defaults;
    defaults.setDouble(coordinate.latitude, SettingsKey::latitude);
    defaults.setDouble(coordinate.longitude, SettingsKey::longitude);
    defaults.setBool(true, SettingsKey::useGeocoder);
}

void LocationChooserVC::storeManualFlag(bool manual) { context_.defaults->setBool(manual, SettingsKey::useGeocoder); }

void LocationChooserVC::didLongPressAtCoordinate(GMSMapView*, CLLocationCoordinate2D coordinate) {
    context_.sound->play(SystemSound::kLongPress);
    showPoint(coordinate);
    storePoint(coordinate, true);
}

void LocationChooserVC::pickerChange() {
    const int segment = picker->selectedSegmentIndex();
    if (segment == 0) useGeocoder = false;
    else if (segment == 1) useGeocoder = true;
    storeManualFlag(useGeocoder);
}

void LocationChooserVC::szukajLokalizacji() {
    emit endEditing();
    MapSupport::searchAddress(this, geocoder_, context_.geocoder, lokalizacjaName->text(),
                              [this](const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error) {
                                  geocodeFinished(placemarks, error);
                              });
}

void LocationChooserVC::geocodeFinished(const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error) {
    const std::optional<CLLocationCoordinate2D> found = Geocoder::chosenCoordinate(placemarks, error);
    if (found) {
        showPoint(*found);
        storePoint(*found, false);
    }
    emit searchFinished();
}

void LocationChooserVC::cancel() { emit endEditing(); }
