#include "Drivers.h"

#include "ui/NavigationController.h"
#include "ui/UITabBarController.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTimer>

#include <cstdio>

namespace {

struct StartupTiming {
    QQuickWindow* window;
    QObject* stack;
    NavigationController* navigation;
    QStringList taps;
    int step = -1;  // -1: waiting for the first frame
    qint64 tappedAt = 0;
    bool shown = false;

    void frame() {
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        if (step < 0) {
            std::printf("first frame at %lld\n", now);
            step = 0;
            next();
        } else if (!shown) {
            shown = true;
            std::printf("%s: first frame after %lld ms\n", qPrintable(taps.value(step)), now - tappedAt);
        } else if (stack && !stack->property("busy").toBool()) {
            std::printf("%s: transition done after %lld ms\n", qPrintable(taps.value(step)), now - tappedAt);
            navigation->popToRootViewControllerAnimated(false);
            ++step;
            next();
        } else {
            window->update();
        }
        std::fflush(stdout);
    }
    void next() {
        if (step >= taps.size()) {
            QCoreApplication::exit(0);
            return;
        }
        shown = false;
        tappedAt = QDateTime::currentMSecsSinceEpoch();
        QMetaObject::invokeMethod(navigation->topViewController(), taps.at(step).toLatin1().constData());
        window->update();
    }
};

QQuickWindow* mainWindow(QQmlApplicationEngine& engine) {
    return qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
}

}  // namespace

namespace Drivers {

void timeStartup(QQmlApplicationEngine& engine, NavigationController& navigation, const QStringList& taps) {
    QQuickWindow* window = mainWindow(engine);
    if (!window) return;
    QObject* stack = window->findChild<QObject*>(QStringLiteral("navigationStack"));
    auto* timing = new StartupTiming{window, stack, &navigation, taps};
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [timing] { timing->frame(); },
                     Qt::QueuedConnection);
    QObject::connect(window, &QObject::destroyed, [timing] { delete timing; });
}

void takeScreenshot(QQmlApplicationEngine& engine, NavigationController& navigation, const QStringList& open,
                    const QString& file, int delayMs) {
    QTimer::singleShot(300, &navigation, [&engine, &navigation, open, file, delayMs] {
        for (const QString& segue : open) {
            UIViewController* top = navigation.topViewController();
            const QByteArray method = segue.toLatin1() + "()";
            auto* tabs = qobject_cast<UITabBarController*>(top);
            if (segue == QLatin1String("back"))
                navigation.popViewControllerAnimated(false);
            else if (tabs && segue.startsWith(QLatin1String("tab")))
                tabs->setSelectedIndex(segue.mid(3).toInt());  // "tab1": the container's second tab
            else if (top && top->metaObject()->indexOfMethod(method.constData()) >= 0)
                QMetaObject::invokeMethod(top, segue.toLatin1().constData());  // a button of the screen
            else if (top)  // "identifier" or "identifier=sender"
                top->performSegueWithIdentifier(segue.section(u'=', 0, 0),
                                                segue.contains(u'=') ? QVariant(segue.section(u'=', 1)) : QVariant());
        }
        QTimer::singleShot(delayMs, &navigation, [&engine, file] {
            QQuickWindow* window = mainWindow(engine);
            const bool saved = window && window->grabWindow().save(file);
            std::fprintf(saved ? stdout : stderr, "%s %s\n", saved ? "saved" : "could not save", qPrintable(file));
            QCoreApplication::exit(saved ? 0 : 1);
        });
    });
}

}  // namespace Drivers
