#pragma once

// Finding and clicking items of a real QML window by object name, for the
// tests that walk through pages with the mouse.

#include <QPointF>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

namespace zltest {

// The last visible item with this object name (the topmost page's).
inline QQuickItem* findVisible(QQuickWindow* window, const char* name) {
    QQuickItem* found = nullptr;
    for (QQuickItem* item : window->findChildren<QQuickItem*>(name))
        if (item->isVisible()) found = item;
    return found;
}

// A left click in the middle of the item; false when there is none.
inline bool clickItem(QQuickWindow* window, const char* name) {
    QQuickItem* item = findVisible(window, name);
    if (!item) return false;
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseClick(window, Qt::LeftButton, Qt::NoModifier, centre.toPoint());
    return true;
}

}  // namespace zltest
