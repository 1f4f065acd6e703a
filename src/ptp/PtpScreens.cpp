#include "PtpScreens.h"

#include "ScreenContext.h"

#include "PtpSettingsMap.h"
#include "PtpSettingsVC.h"
#include "PtpVC.h"
#include "ptpMarkersExport.h"
#include "ptpSettingsImport.h"
#include "ptpSettingsList.h"
#include "ptpSettingsManageVC.h"
#include "ptpSettingsMaxDistance.h"
#include "screens/validationAddMarkerVC.h"
#include "ui/NavigationController.h"
#include "ui/UITabBarController.h"

namespace PtpScreens {

namespace {
QUrl page(const char* file) { return QUrl(QStringLiteral("qrc:/Zenloft/Ptp/qml/") + QLatin1String(file)); }
QUrl shellPage(const char* file) { return QUrl(QStringLiteral("qrc:/Zenloft/Shell/qml/") + QLatin1String(file)); }
}  // namespace

void registerScreens(NavigationController& navigation, const ScreenContext& context) {
    navigation.registerScreen(QStringLiteral("ptpVC"), [context] { return new PtpVC(context); }, page("PtpPage.qml"));
    const QUrl settingsPage = page("PtpSettingsPage.qml");
    for (const char* id : {"ptpSettings", "ptp_settings"})
        navigation.registerScreen(QLatin1String(id), [context] { return new PtpSettingsVC(context); }, settingsPage);
    // The from point or the target: on the map, or out of the stored points.
    navigation.registerScreen(
        QStringLiteral("ptpLocation"),
        [context] {
            auto* tabs = new UITabBarController;
            tabs->setViewControllers({new PtpSettingsMap(context), new ptpSettingsList(context)},
                                     {shellPage("LocationChooserPage.qml"), page("PtpListPage.qml")},
                                     {QObject::tr("map"), QObject::tr("list")});
            return tabs;
        },
        shellPage("TabBarPage.qml"));
    navigation.registerScreen(QStringLiteral("ptpSettingsMaxDistance"),
                              [context] { return new ptpSettingsMaxDistance(context); }, page("PtpMaxDistancePage.qml"));
    navigation.registerScreen(QStringLiteral("addPoint"), [context] { return new validationAddMarkerVC(context); },
                              shellPage("AddMarkerPage.qml"));
    navigation.registerScreen(QStringLiteral("ptpSettingsImport"), [context] { return new ptpSettingsImport(context); },
                              page("PtpImportPage.qml"));
    navigation.registerScreen(QStringLiteral("ptpMarkersExport"), [context] { return new ptpMarkersExport(context); },
                              page("PtpExportPage.qml"));
    navigation.registerScreen(QStringLiteral("PtpSettingsManageVC"), [context] { return new ptpSettingsManageVC(context); },
                              page("PtpManagePage.qml"));
}

}  // namespace PtpScreens
