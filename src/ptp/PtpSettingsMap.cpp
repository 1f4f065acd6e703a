#include "PtpSettingsMap.h"

#include "GMSCameraPosition.h"
#include "settings/Units.h"
#include "settings/UserDefaults.h"

PtpSettingsMap::PtpSettingsMap(const ScreenContext& context, QObject* parent)
    : LocationChooserVC(context, parent), locationTXT(pointLabel()) {}

PtpSettingsMap::Keys PtpSettingsMap::keys() const {
    if (type == pointType::to) return {SettingsKey::toLatitude, SettingsKey::toLongitude, SettingsKey::toUseGeocoder};
    return {SettingsKey::latitude, SettingsKey::longitude, SettingsKey::useGeocoder};
}

void PtpSettingsMap::viewDidLoad() {
    forceLightStyle();
    picker->setTitles({tr("automatic (GPS)"), tr("manual")});
    const UserDefaults& defaults = *context_.defaults;
    if (type == pointType::to) {
        setTitle(tr("to"));
        picker->setSelectedSegmentIndex(1);
        picker->setEnabled(false);
        useGeocoder = true;
    } else {
        setTitle(tr("from"));
        useGeocoder = defaults.boolForKey(SettingsKey::useGeocoder);
    }
    latitude = defaults.doubleForKey(keys().latitude);
    longitude = defaults.doubleForKey(keys().longitude);
    picker->setSelectedSegmentIndex(useGeocoder ? 1 : 0);
    setUpMap();

    // A stored point on the equator or the prime meridian is dropped here.
    const CLLocationCoordinate2D start =
        latitude != 0.0 && longitude != 0.0 ? CLLocationCoordinate2D{latitude, longitude} : CLLocationCoordinate2D{0.0, 0.0};
    placePin(start, tr("marker location"));
    locationTXT->setText(Format::labelCoordinates(QStringLiteral("point"), latitude, longitude));
    mapView()->setCamera(GMSCameraPosition(start.latitude, start.longitude, 18.0f));
}

// On each return the stored point shows, (0, 0) included; the segments stay.
void PtpSettingsMap::viewDidAppear(bool) {
    const UserDefaults& defaults = *context_.defaults;
    useGeocoder = defaults.boolForKey(keys().manual);
    latitude = defaults.doubleForKey(keys().latitude);
    longitude = defaults.doubleForKey(keys().longitude);
    showPoint(CLLocationCoordinate2D{latitude, longitude});
}

void PtpSettingsMap::storePoint(CLLocationCoordinate2D coordinate, bool byLongPress) {
    UserDefaults& defaults = *context_.defaults;
    defaults.setDouble(coordinate.latitude, keys().latitude);
    defaults.setDouble(coordinate.longitude, keys().longitude);
    defaults.setBool(true, keys().manual);
    // A pressed target is no stored point: its name goes. One found by
    // address keeps the name chosen before.
    if (type == pointType::to && byLongPress) {
        defaults.setObject(QString(QLatin1String("")), SettingsKey::toName);
        defaults.setObject(QString(QLatin1String("")), SettingsKey::toDesc);
    }
}

void PtpSettingsMap::storeManualFlag(bool manual) { context_.defaults->setBool(manual, keys().manual); }
