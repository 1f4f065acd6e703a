#include "PtpScreens.h"

#include "ScreenContext.h"
#include "screens/validationAddMarkerVC.h"
#include "ui/NavigationController.h"

namespace PtpScreens {

namespace {
QUrl page(const char* file) { return QUrl(QStringLiteral("qrc:/Zenloft/Ptp/qml/") + QLatin1String(file)); }
}  // namespace

void registerScreens(NavigationController& navigation, const ScreenContext& context) {
    navigation.registerScreen(QStringLiteral("addPoint"), [context] { return new validationAddMarkerVC(context); },
                              QUrl(QStringLiteral("qrc:/Zenloft/Shell/qml/AddMarkerPage.qml")));
    Q_UNUSED(page);
}

}  // namespace PtpScreens
