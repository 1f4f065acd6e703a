#pragma once

// Finding and clicking items of a real QML window by object name, and
// waiting for its page stack, for the tests that walk through pages with the
// mouse.

#include "testsupport.h"

#include <QPointF>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include <functional>

namespace zltest {

// The last visible item with this object name (the topmost page's). Walks
// the items as drawn, since views and repeaters give their items no QObject
// parent.
inline QQuickItem* findVisible(QQuickItem* root, const char* name) {
    QQuickItem* found = root->isVisible() && root->objectName() == QLatin1String(name) ? root : nullptr;
    for (QQuickItem* child : root->childItems())
        if (QQuickItem* inner = findVisible(child, name)) found = inner;
    return found;
}
inline QQuickItem* findVisible(QQuickWindow* window, const char* name) {
    return findVisible(window->contentItem(), name);
}

// A left click in the middle of the item; false when there is none.
inline bool clickItem(QQuickWindow* window, const char* name) {
    QQuickItem* item = findVisible(window, name);
    if (!item) return false;
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseClick(window, Qt::LeftButton, Qt::NoModifier, centre.toPoint());
    return true;
}

// Types the text key by key into the visible field with this object name.
inline bool typeInto(QQuickWindow* window, const char* name, const char* text) {
    QQuickItem* field = findVisible(window, name);
    if (!field) return false;
    field->forceActiveFocus();
    for (const char* c = text; *c; ++c) QTest::keyClick(window, *c);
    return true;
}

// Loads the app's main window, lets showRoot put the first screen in place,
// and waits until the window is on screen; null when it doesn't load.
inline QQuickWindow* loadMainWindow(QQmlApplicationEngine& engine, const std::function<void()>& showRoot) {
    engine.addImportPath("qrc:/");
    engine.load(QUrl("qrc:/Zenloft/Shell/qml/Main.qml"));
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
    if (!window) return nullptr;
    showRoot();
    window->show();
    return QTest::qWaitForWindowExposed(window) ? window : nullptr;
}

// Waits until the window's page stack has finished its transition and holds
// `depth` pages with the page bound to `top` in front.
inline bool waitForPage(QQuickWindow* window, const QObject* top, int depth) {
    QObject* stack = window->findChild<QObject*>("navigationStack");
    if (!stack) return false;
    return waitFor([&] {
        auto* current = stack->property("currentItem").value<QObject*>();
        return !stack->property("busy").toBool() && stack->property("depth").toInt() == depth && current &&
               current->property("vc").value<QObject*>() == top;
    });
}

}  // namespace zltest
