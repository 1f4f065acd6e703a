#include "PtpScreens.h"

#include "ScreenContext.h"

#include "PtpVC.h"
#include "ui/NavigationController.h"

namespace PtpScreens {

namespace {
QUrl page(const char* file) { return QUrl(QStringLiteral("qrc:/Zenloft/Ptp/qml/") + QLatin1String(file)); }
}  // namespace

void registerScreens(NavigationController& navigation, const ScreenContext& context) {
    navigation.registerScreen(QStringLiteral("ptpVC"), [context] { return new PtpVC(context); }, page("PtpPage.qml"));
}

}  // namespace PtpScreens
