#include "ShellServices.h"

namespace {
ShellServices* g_instance = nullptr;
}

ShellServices::ShellServices(NavigationController* navigation, MainVC* mainVC, AppDelegate* appDelegate,
                             QObject* parent)
    : QObject(parent), navigation_(navigation), mainVC_(mainVC), appDelegate_(appDelegate) {
    g_instance = this;
}

ShellServices::~ShellServices() {
    if (g_instance == this) g_instance = nullptr;
}

ShellServices* ShellServices::instance() { return g_instance; }

ShellServices* ShellServices::create(QQmlEngine*, QJSEngine*) {
    Q_ASSERT(g_instance);
    QJSEngine::setObjectOwnership(g_instance, QJSEngine::CppOwnership);
    return g_instance;
}
