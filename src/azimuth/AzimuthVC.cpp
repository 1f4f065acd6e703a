#include "AzimuthVC.h"

#include "AppDelegate.h"
#include "GMSMapView.h"
#include "LocationManager.h"
#include "LocationServices.h"
#include "screens/MapSupport.h"
#include "SystemSound.h"
#include "WorkPosition.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"

#include <QDebug>

#include <cmath>

AzimuthVC::AzimuthVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      kompasTXT_(new UILabel(this)),
      pointLocationTXT_(new UILabel(this)),
      pointDescriptionTXT_(new UILabel(this)),
      mapView_(new GMSMapView(std::nullopt)) {
    mapView_->setParent(this);
    kompasTXT_->setTextColor(Qt::white);
    pointLocationTXT_->setTextColor(Qt::white);
    pointDescriptionTXT_->setTextColor(Qt::white);
    authorizationStatus = context_.location->authorizationStatus();
    appDelegate = context.appDelegate;
    pinCel = GMSMarker::marker();
    pinUzytkownik = GMSMarker::marker();
    pinKompas = GMSMarker::marker();
}

AzimuthVC::~AzimuthVC() {
    // Overlays hold the map weakly; take them off before it goes.
    if (mapView_) mapView_->setDelegate(nullptr);
}

void AzimuthVC::viewDidLoad() {
    forceLightStyle();
    locationManager = MapSupport::setUpCompassMap(mapView_, this, context_.location, this);
    connect(locationManager, &LocationManager::didUpdateHeading, this, &AzimuthVC::didUpdateHeading);
}

void AzimuthVC::viewWillAppear(bool) {
    setTitle(tr("azimuth"));
    UserDefaults& defaults = *context_.defaults;
    useImperialUnits = defaults.boolForKey(SettingsKey::useImperialUnits);
    loadAzimuths();
    pinKompas->setOpacity(defaults.boolForKey(SettingsKey::hideCompassIndicator) ? 0.0f : 1.0f);
    if (azimuth < 0.0) pointDescriptionTXT_->setText(QString());
}

void AzimuthVC::loadAzimuths() {
    if (!appDelegate) return;
    NSManagedObjectContext* context = appDelegate->persistentContainer()->viewContext();
    if (!context) return;
    const auto fetched = context->fetchAllOrLog<Azimuth>();
    if (!fetched) return;
    azymuty = *fetched;
    UserDefaults& defaults = *context_.defaults;
    const double latitude = defaults.doubleForKey(SettingsKey::latitude);
    const double longitude = defaults.doubleForKey(SettingsKey::longitude);
    useGeocoder = defaults.boolForKey(SettingsKey::useGeocoder);
    lokalizacjaManual = CLLocationCoordinate2D{latitude, longitude};
    mapIsConfigured = configureMap();
    redrawAzimuths();
}

bool AzimuthVC::configureMap() {
    lokalizacjaUzytkownika = workPosition(useGeocoder, lokalizacjaManual.value_or(CLLocationCoordinate2D{0.0, 0.0}),
                                          locationManager ? locationManager->location() : std::nullopt,
                                          lokalizacjaUzytkownika);
    if (!lokalizacjaUzytkownika) return false;
    const CLLocationCoordinate2D position = *lokalizacjaUzytkownika;
    MapSupport::showWorkPosition(mapView_, pinKompas, pinUzytkownik, position, tr("your location"));
    pointLocationTXT_->setText(Format::labelCoordinates(tr("from"), position.latitude, position.longitude));
    return true;
}

void AzimuthVC::redrawAzimuths() {
    for (const GMSPolylinePtr& line : linie) line->setMap(nullptr);
    for (const markers& m : markery) m.marker->setMap(nullptr);
    linie.clear();
    markery.clear();

    const QList<azimuthLine> lines = AzimuthLines::azimuthLines(lokalizacjaUzytkownika, azymuty, useImperialUnits);
    for (const azimuthLine& line : lines) {
        const QColor color = QColor::fromRgbF(float(line.red), float(line.green), float(line.blue), 1.0f);
        GMSPolylinePtr polyline = GMSPolyline::polylineWithPath(GMSPath{line.start, line.end});
        polyline->setStrokeColor(color);
        polyline->setStrokeWidth(2.0f);
        polyline->setGeodesic(true);
        polyline->setMap(mapView_);
        linie << polyline;

        GMSMarkerPtr marker = GMSMarker::markerWithPosition(line.end);
        marker->setTitle(line.title);
        marker->setSnippet(line.snippet);
        marker->setIcon(GMSMarker::markerImageWithColor(color));
        marker->setMap(mapView_);
        markery << markers{marker, line.azymut};
    }

    azimuth = AzimuthLines::selectedAzimuth(lines);
    if (azimuth != AzimuthLines::kNoAzimuth)
        pointDescriptionTXT_->setText(Format::labelAzimuth(tr("selected azimuth"), azimuth));
    else
        pointDescriptionTXT_->setText(QString());
}

void AzimuthVC::settings() { performSegueWithIdentifier(QStringLiteral("settingsVC")); }

bool AzimuthVC::didTapMarker(GMSMapView*, GMSMarker* marker) {
    for (const markers& m : markery) {
        if (m.marker.get() == marker) {
            azimuth = m.azymut;
            pointDescriptionTXT_->setText(Format::labelAzimuth(tr("selected azimuth"), azimuth));
        }
    }
    return false;
}

void AzimuthVC::didLongPressAtCoordinate(GMSMapView*, CLLocationCoordinate2D coordinate) {
    context_.sound->play(SystemSound::kLongPress);
    lokalizacjaUzytkownika = coordinate;
    pinUzytkownik->setPosition(coordinate);
    pinKompas->setPosition(coordinate);
    redrawAzimuths();
}

void AzimuthVC::didUpdateHeading(const CLHeading& heading) {
    actualCompassValue = heading.trueHeading;
    kompasTXT_->setText(Format::heading(actualCompassValue));
    pinKompas->setRotation(actualCompassValue);
    kompasTXT_->setTextColor(MapSupport::readoutColor(heading.trueHeading, azimuth));
}
