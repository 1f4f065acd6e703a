#include "GMSUISettings.h"

#include "GMSCameraPosition.h"
#include "GMSMapView.h"

GMSUISettings::GMSUISettings(GMSMapView* view) : QObject(view) {}

void GMSUISettings::setGestures(int bits) {
    if (bits == gestures_) return;
    gestures_ = bits;
    emit changed();
}

void GMSUISettings::setMyLocationButton(bool on) {
    if (on == myLocationButton_) return;
    myLocationButton_ = on;
    emit changed();
}

void GMSUISettings::setCompassButton(bool on) {
    if (on == compassButton_) return;
    compassButton_ = on;
    emit changed();
}

void GMSUISettings::didMoveToCameraPosition(const GMSCameraPosition& camera) {
    const bool wasVisible = isCompassVisible();
    bearing_ = camera.bearing();
    if (wasVisible != isCompassVisible()) emit changed();
}
