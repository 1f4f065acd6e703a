#include "AzimuthScreens.h"

#include "ScreenContext.h"

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

void registerScreens(NavigationController& navigation, const ScreenContext& context) {
    navigation.registerScreen(QStringLiteral("azimuthVC"), [context] { return new AzimuthVC(context); }, page("AzimuthPage.qml"));
    const QUrl settingsPage = page("AzimuthSettingsPage.qml");
    navigation.registerScreen(QStringLiteral("settingsVC"), [context] { return new azimuthSettingsVC(context); }, settingsPage);
    navigation.registerScreen(QStringLiteral("azimuth_settings"), [context] { return new azimuthSettingsVC(context); }, settingsPage);
    navigation.registerScreen(QStringLiteral("newAzimuth"), [context] { return new NewAzimuthVC(context); }, page("NewAzimuthPage.qml"));
    navigation.registerScreen(QStringLiteral("importAzimuths"), [context] { return new AzimutImportVC(context); },
                              page("AzimuthImportPage.qml"));
    navigation.registerScreen(QStringLiteral("exportAzimuths"), [context] { return new AzimuthExportVC(context); },
                              page("AzimuthExportPage.qml"));
    navigation.registerScreen(QStringLiteral("changeLocation"), [context] { return new SettingsLocationVC(context); },
                              QUrl(QStringLiteral("qrc:/Zenloft/Shell/qml/LocationChooserPage.qml")));
}

}  // namespace AzimuthScreens
