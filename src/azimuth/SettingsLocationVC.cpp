#include "SettingsLocationVC.h"

#include "GMSCameraPosition.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"

SettingsLocationVC::SettingsLocationVC(const ScreenContext& context, QObject* parent)
    : LocationChooserVC(context, parent), pointLocationTXT(pointLabel()) {}

void SettingsLocationVC::viewDidLoad() {
    forceLightStyle();
    setTitle(tr("marker location"));
    picker->setTitles({tr("automatic (GPS)"), tr("manual")});
    UserDefaults& defaults = *context_.defaults;
    useGeocoder = defaults.boolForKey(SettingsKey::useGeocoder);
    latitude = defaults.doubleForKey(SettingsKey::latitude);
    longitude = defaults.doubleForKey(SettingsKey::longitude);
    picker->setSelectedSegmentIndex(useGeocoder ? 1 : 0);
    setUpMap();

    // A stored point on the equator or the prime meridian counts as none.
    if (latitude == 0.0 || longitude == 0.0) return;
    placePin(CLLocationCoordinate2D{latitude, longitude}, tr("marker location"));
    pointLocationTXT->setText(Format::labelCoordinates(QStringLiteral("point"), latitude, longitude));
    mapView()->setCamera(GMSCameraPosition(latitude, longitude, 18.0f));
}
