#include "ShellScreens.h"

#include "ScreenContext.h"

#include "screens/AboutVC.h"
#include "screens/IntroVC.h"
#include "screens/SettingsVC.h"
#include "ui/NavigationController.h"

namespace {
QUrl page(const char* file) { return QUrl(QStringLiteral("qrc:/Zenloft/Shell/qml/%1").arg(QLatin1String(file))); }
}  // namespace

namespace ShellScreens {

void registerScreens(NavigationController& navigation) {
    navigation.registerScreen(QStringLiteral("settings"), [] { return new SettingsVC; }, page("SettingsPage.qml"));
    navigation.registerScreen(QStringLiteral("help"), [] { return new AboutVC; }, page("AboutPage.qml"));
}

void showMenu(NavigationController& navigation, const ScreenContext& context) {
    navigation.setRootViewController(new IntroVC(context), page("IntroPage.qml"));
}

}  // namespace ShellScreens
