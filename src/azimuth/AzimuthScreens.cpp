#include "AzimuthScreens.h"

#include "AzimutImportVC.h"
#include "AzimuthExportVC.h"
#include "AzimuthVC.h"
#include "NewAzimuthVC.h"
#include "SettingsLocationVC.h"
#include "azimuthSettingsVC.h"
#include "ui/NavigationController.h"

namespace AzimuthScreens {

namespace {
QUrl page(const char* file) {
    return QUrl(QStringLiteral("qrc:/Zenloft/Azimuth/qml/") + QLatin1String(file));
}
}  // namespace

void registerScreens(NavigationController& navigation) {
    navigation.registerScreen(QStringLiteral("azimuthVC"), [] { return new AzimuthVC; }, page("AzimuthPage.qml"));
    const QUrl settingsPage = page("AzimuthSettingsPage.qml");
    navigation.registerScreen(QStringLiteral("settingsVC"), [] { return new azimuthSettingsVC; }, settingsPage);
    navigation.registerScreen(QStringLiteral("azimuth_settings"), [] { return new azimuthSettingsVC; }, settingsPage);
    navigation.registerScreen(QStringLiteral("newAzimuth"), [] { return new NewAzimuthVC; }, page("NewAzimuthPage.qml"));
    navigation.registerScreen(QStringLiteral("importAzimuths"), [] { return new AzimutImportVC; },
                              page("AzimuthImportPage.qml"));
    navigation.registerScreen(QStringLiteral("exportAzimuths"), [] { return new AzimuthExportVC; },
                              page("AzimuthExportPage.qml"));
    navigation.registerScreen(QStringLiteral("changeLocation"), [] { return new SettingsLocationVC; },
                              page("SettingsLocationPage.qml"));
}

}  // namespace AzimuthScreens
