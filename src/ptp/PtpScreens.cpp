#include "PtpScreens.h"

#include "ScreenContext.h"
#include "ui/NavigationController.h"

namespace PtpScreens {

namespace {
QUrl page(const char* file) { return QUrl(QStringLiteral("qrc:/Zenloft/Ptp/qml/") + QLatin1String(file)); }
}  // namespace

void registerScreens(NavigationController& navigation, const ScreenContext& context) {
    Q_UNUSED(navigation);
    Q_UNUSED(context);
    Q_UNUSED(page);
}

}  // namespace PtpScreens
