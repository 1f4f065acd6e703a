#include "PtpScreens.h"

#include "ScreenContext.h"
#include "ptpMarkersExport.h"
#include "ptpSettingsImport.h"
#include "ui/NavigationController.h"

namespace PtpScreens {

namespace {
QUrl page(const char* file) { return QUrl(QStringLiteral("qrc:/Zenloft/Ptp/qml/") + QLatin1String(file)); }
}  // namespace

void registerScreens(NavigationController& navigation, const ScreenContext& context) {
    navigation.registerScreen(QStringLiteral("ptpSettingsImport"), [context] { return new ptpSettingsImport(context); }, page("PtpImportPage.qml"));
    navigation.registerScreen(QStringLiteral("ptpMarkersExport"), [context] { return new ptpMarkersExport(context); }, page("PtpExportPage.qml"));
}

}  // namespace PtpScreens
