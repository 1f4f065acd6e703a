#include "SelfTest.h"

#include "ui/NavigationController.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QQmlApplicationEngine>
#include <QTextStream>

#include <atomic>

namespace {
std::atomic<int> g_warnings{0};
int g_baseline = 0;
QtMessageHandler g_previous = nullptr;

void counter(QtMsgType type, const QMessageLogContext& ctx, const QString& msg) {
    if (type == QtWarningMsg || type == QtCriticalMsg || type == QtFatalMsg) ++g_warnings;
    if (g_previous) g_previous(type, ctx, msg);
}

void settle(int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}
}  // namespace

namespace SelfTest {

void installWarningCounter() { g_previous = qInstallMessageHandler(counter); }
void startCounting() { g_baseline = g_warnings.load(); }
int warningCount() { return g_warnings.load(); }

int run(NavigationController& navigation, QQmlApplicationEngine& engine) {
    QTextStream out(stdout);
    if (engine.rootObjects().isEmpty()) {
        out << "self-test: the main window did not load\n";
        return 1;
    }
    settle(200);
    int failures = g_warnings.load() > g_baseline ? 1 : 0;
    out << "self-test: menu " << (failures ? "FAILED" : "ok") << "\n";
    for (const QString& id : navigation.registeredIdentifiers()) {
        const int before = g_warnings.load();
        UIViewController* root = navigation.viewControllers().value(0);
        const bool opened = navigation.performSegue(root, id, QVariant());
        settle(150);
        navigation.popToRootViewControllerAnimated(false);
        settle(50);
        const bool ok = opened && g_warnings.load() == before;
        if (!ok) ++failures;
        out << "self-test: " << id << (ok ? " ok" : " FAILED") << "\n";
        out.flush();
    }
    out << "self-test: " << navigation.registeredIdentifiers().size() - failures << " passed, " << failures
        << " failed\n";
    return failures == 0 ? 0 : 1;
}

}  // namespace SelfTest
