#include "PtpScreens.h"

#include "ScreenContext.h"
#include "ptpSettingsList.h"
#include "ptpSettingsManageVC.h"
#include "ui/NavigationController.h"

namespace PtpScreens {

namespace {
QUrl page(const char* file) { return QUrl(QStringLiteral("qrc:/Zenloft/Ptp/qml/") + QLatin1String(file)); }
}  // namespace

void registerScreens(NavigationController& navigation, const ScreenContext& context) {
    navigation.registerScreen(QStringLiteral("ptpSettingsList"), [context] { return new ptpSettingsList(context); },
                              page("PtpListPage.qml"));
    navigation.registerScreen(QStringLiteral("PtpSettingsManageVC"), [context] { return new ptpSettingsManageVC(context); },
                              page("PtpManagePage.qml"));
}

}  // namespace PtpScreens
