#include "SettingsLocationVC.h"

#include "GMSCameraPosition.h"
#include "GMSMapView.h"
#include "GMSUISettings.h"
#include "LocationManager.h"
#include "LocationServices.h"
#include "screens/MapSupport.h"
#include "SystemSound.h"
#include "WorkPosition.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"

SettingsLocationVC::SettingsLocationVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      picker(new UISegmentedControl(this)),
      lokalizacjaName(new UITextField(this)),
      pointLocationTXT(new UILabel(this)),
      mapView_(new GMSMapView(std::nullopt)) {
    mapView_->setParent(this);
    pointLocationTXT->setTextColor(Qt::white);
    locationManager = new LocationManager(context_.location, this);
    authorizationStatus = context_.location->authorizationStatus();
    pinUzytkownika = GMSMarker::marker();
    connect(picker, &UISegmentedControl::valueChanged, this, &SettingsLocationVC::pickerChange);
}

SettingsLocationVC::~SettingsLocationVC() {
    if (mapView_) mapView_->setDelegate(nullptr);
}

void SettingsLocationVC::viewDidLoad() {
    forceLightStyle();
    setTitle(tr("marker location"));
    picker->setTitles({tr("automatic (GPS)"), tr("manual")});
    UserDefaults& defaults = *context_.defaults;
    useGeocoder = defaults.boolForKey(SettingsKey::useGeocoder);
    latitude = defaults.doubleForKey(SettingsKey::latitude);
    longitude = defaults.doubleForKey(SettingsKey::longitude);
    picker->setSelectedSegmentIndex(useGeocoder ? 1 : 0);

    mapView_->setDelegate(this);
    MapSupport::enableMyLocation(mapView_, locationManager);
    mapView_->setMapType(GMSMapView::kGMSTypeHybrid);
    mapView_->settings()->setRotateGestures(false);

    // A stored point on the equator or the prime meridian counts as none.
    if (latitude == 0.0 || longitude == 0.0) return;
    const CLLocationCoordinate2D start{latitude, longitude};
    lokalizacjaUzytkownika = start;
    pinUzytkownika->setTitle(tr("marker location"));
    pinUzytkownika->setPosition(start);
    pinUzytkownika->setFlat(false);
    pinUzytkownika->setMap(mapView_);
    pointLocationTXT->setText(Format::labelCoordinates(QStringLiteral("point"), latitude, longitude));
    mapView_->setCamera(GMSCameraPosition(latitude, longitude, 18.0f));
}

void SettingsLocationVC::showPoint(CLLocationCoordinate2D coordinate) {
    lokalizacjaUzytkownika = coordinate;
    pinUzytkownika->setPosition(coordinate);
    mapView_->setCamera(GMSCameraPosition(coordinate.latitude, coordinate.longitude, 18.0f));
    pointLocationTXT->setText(Format::labelCoordinates(QStringLiteral("point"), coordinate.latitude, coordinate.longitude));
}

void SettingsLocationVC::savePoint(CLLocationCoordinate2D coordinate) {
    UserDefaults& defaults = *context_.defaults;
    defaults.setDouble(coordinate.latitude, SettingsKey::latitude);
    defaults.setDouble(coordinate.longitude, SettingsKey::longitude);
    defaults.setBool(true, SettingsKey::useGeocoder);
}

void SettingsLocationVC::didLongPressAtCoordinate(GMSMapView*, CLLocationCoordinate2D coordinate) {
    context_.sound->play(SystemSound::kLongPress);
    showPoint(coordinate);
    savePoint(coordinate);
}

void SettingsLocationVC::pickerChange() {
    const int segment = picker->selectedSegmentIndex();
    if (segment == 0) useGeocoder = false;
    else if (segment == 1) useGeocoder = true;
    (*context_.defaults).setBool(useGeocoder, SettingsKey::useGeocoder);
}

void SettingsLocationVC::szukajLokalizacji() {
    emit endEditing();
    MapSupport::searchAddress(this, geocoder_, context_.geocoder, lokalizacjaName->text(),
                              [this](const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error) {
                                  geocodeFinished(placemarks, error);
                              });
}

void SettingsLocationVC::geocodeFinished(const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error) {
    const std::optional<CLLocationCoordinate2D> found = Geocoder::chosenCoordinate(placemarks, error);
    if (found) {
        showPoint(*found);
        savePoint(*found);
    }
    emit searchFinished();
}

void SettingsLocationVC::cancel() { emit endEditing(); }
