#include "PtpVC.h"

#include "AppDelegate.h"
#include "LocationManager.h"
#include "LocationServices.h"
#include "SystemSound.h"
#include "WorkPosition.h"
#include "screens/MapSupport.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"

#include <cmath>

PtpVC::PtpVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      kompasTXT(new UILabel(this)),
      toTXT(new UILabel(this)),
      fromTXT(new UILabel(this)),
      mapView_(new GMSMapView(std::nullopt)) {
    mapView_->setParent(this);
    for (UILabel* label : {kompasTXT, toTXT, fromTXT}) label->setTextColor(Qt::white);
    authorizationStatus = context_.location->authorizationStatus();
    appDelegate = context.appDelegate;
    pinCel = GMSMarker::marker();
    pinUzytkownik = GMSMarker::marker();
    pinKompas = GMSMarker::marker();
    linia = GMSPolyline::polylineWithPath(GMSPath());
}

PtpVC::~PtpVC() {
    // Overlays hold the map weakly; take them off before it goes.
    if (mapView_) mapView_->setDelegate(nullptr);
}

double PtpVC::initialBearing(double lat1, double lon1, double lat2, double lon2) {
    const double pi = 3.141592653589793;
    const double phi1 = lat1 * pi / 180.0;
    const double phi2 = lat2 * pi / 180.0;
    const double dLon = (lon2 - lon1) * pi / 180.0;
    const double y = std::cos(phi2) * std::sin(dLon);
    const double x = std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(dLon);
    return std::fmod(std::atan2(y, x) * 180.0 / pi + 360.0, 360.0);
}

void PtpVC::viewDidLoad() {
    forceLightStyle();
    locationManager = MapSupport::setUpCompassMap(mapView_, this, context_.location, this);
    connect(locationManager, &LocationManager::didUpdateHeading, this, &PtpVC::didUpdateHeading);
    readPoints();
}

// The points, read when the screen loads and at each appearance: an unset
// key reads 0, so a point never chosen is (0, 0).
void PtpVC::readPoints() {
    const UserDefaults& defaults = *context_.defaults;
    useGeocoder = defaults.boolForKey(SettingsKey::useGeocoder);
    lokalizacjaManual = CLLocationCoordinate2D{defaults.doubleForKey(SettingsKey::latitude),
                                               defaults.doubleForKey(SettingsKey::longitude)};
    lokalizacjaCelu = CLLocationCoordinate2D{defaults.doubleForKey(SettingsKey::toLatitude),
                                             defaults.doubleForKey(SettingsKey::toLongitude)};
    userOnMap = configureMap();
}

void PtpVC::viewWillAppear(bool) {
    setTitle(tr("point to point"));
    readPoints();
    redrawLine();
    pinKompas->setOpacity(context_.defaults->boolForKey(SettingsKey::hideCompassIndicator) ? 0.0f : 1.0f);
}

bool PtpVC::configureMap() {
    lokalizacjaUzytkownika = workPosition(useGeocoder, lokalizacjaManual.value_or(CLLocationCoordinate2D{0.0, 0.0}),
                                          locationManager ? locationManager->location() : std::nullopt,
                                          lokalizacjaUzytkownika);
    const CLLocationCoordinate2D target = lokalizacjaCelu.value_or(CLLocationCoordinate2D{0.0, 0.0});
    pinCel->setPosition(target);
    const UserDefaults& defaults = *context_.defaults;
    // The target's description ("toDesc") is not shown here.
    const QString toName = defaults.stringForKey(SettingsKey::toName).value_or(QString());
    const QString toLine = Format::labelCoordinates(tr("to"), target.latitude, target.longitude);
    if (toName.isEmpty()) {
        pinCel->setTitle(QStringLiteral("target location"));
        toTXT->setText(toLine);
    } else {
        pinCel->setTitle(toName);
        toTXT->setText(toLine + QStringLiteral(" / ") + toName);
    }
    pinCel->setFlat(false);
    pinCel->setMap(mapView_);

    if (!lokalizacjaUzytkownika) return false;
    const CLLocationCoordinate2D from = *lokalizacjaUzytkownika;
    MapSupport::showWorkPosition(mapView_, pinKompas, pinUzytkownik, from, tr("your location"));
    fromTXT->setText(Format::labelCoordinates(tr("from"), from.latitude, from.longitude));
    return true;
}

void PtpVC::redrawLine() {
    punktyLinii.removeAllCoordinates();
    const CLLocationCoordinate2D target = lokalizacjaCelu.value_or(CLLocationCoordinate2D{0.0, 0.0});
    punktyLinii.addCoordinate(target);
    if (lokalizacjaUzytkownika) {
        const CLLocationCoordinate2D from = *lokalizacjaUzytkownika;
        punktyLinii.addCoordinate(from);
        azimuth = initialBearing(from.latitude, from.longitude, target.latitude, target.longitude);
    }
    linia->setMap(nullptr);
    linia = GMSPolyline::polylineWithPath(punktyLinii);
    linia->setStrokeColor(QColor::fromRgbF(1.0f, 0.0f, 0.0f, 1.0f));
    linia->setStrokeWidth(2.0f);
    linia->setGeodesic(true);
    linia->setMap(mapView_);
}

void PtpVC::settings() { performSegueWithIdentifier(QStringLiteral("ptpSettings")); }

bool PtpVC::didTapMarker(GMSMapView*, GMSMarker*) { return false; }

void PtpVC::setFromPoint(CLLocationCoordinate2D coordinate) {
    lokalizacjaUzytkownika = coordinate;
    pinUzytkownik->setPosition(coordinate);
    pinKompas->setPosition(coordinate);
    UserDefaults& defaults = *context_.defaults;
    defaults.setDouble(coordinate.latitude, SettingsKey::latitude);
    defaults.setDouble(coordinate.longitude, SettingsKey::longitude);
    defaults.setBool(true, SettingsKey::useGeocoder);
    fromTXT->setText(Format::labelCoordinates(tr("from"), coordinate.latitude, coordinate.longitude));
}

void PtpVC::didLongPressAtCoordinate(GMSMapView*, CLLocationCoordinate2D coordinate) {
    context_.sound->play(SystemSound::kLongPress);
    setFromPoint(coordinate);
    redrawLine();
}

void PtpVC::didUpdateHeading(const CLHeading& heading) {
    actualCompassValue = heading.trueHeading;
    kompasTXT->setText(Format::heading(actualCompassValue));
    pinKompas->setRotation(actualCompassValue);
    kompasTXT->setTextColor(MapSupport::readoutColor(heading.trueHeading, azimuth.value_or(-360.0)));
}
