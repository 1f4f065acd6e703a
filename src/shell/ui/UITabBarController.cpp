#include "UITabBarController.h"

UITabBarController::UITabBarController(QObject* parent) : UIViewController(parent) {}

void UITabBarController::setViewControllers(const QList<UIViewController*>& controllers, const QList<QUrl>& pages,
                                            const QStringList& titles) {
    controllers_ = controllers;
    pages_ = pages;
    titles_ = titles;
    for (UIViewController* c : controllers_) {
        c->setParent(this);
        // The bar shows the title of the screen on show.
        connect(c, &UIViewController::titleChanged, this, &UITabBarController::followTitle);
    }
}

QList<QObject*> UITabBarController::tabs() const {
    QList<QObject*> out;
    for (UIViewController* c : controllers_) out << c;
    return out;
}

void UITabBarController::followTitle() {
    // A screen without a title of its own goes by its tab's.
    if (UIViewController* shown = selectedViewController())
        setTitle(shown->title().isEmpty() ? titles_.value(selected_) : shown->title());
}

void UITabBarController::setSelectedIndex(int index) {
    if (index == selected_ || index < 0 || index >= controllers_.size()) return;
    UIViewController* old = selectedViewController();
    UIViewController* next = controllers_.at(index);
    if (onScreen_) {
        old->viewWillDisappear(false);
        next->loadViewIfNeeded();
        next->viewWillAppear(false);
    }
    selected_ = index;
    followTitle();
    emit selectedIndexChanged();
    if (onScreen_) {
        old->viewDidDisappear(false);
        next->viewDidAppear(false);
    }
}

void UITabBarController::viewWillAppear(bool animated) {
    UIViewController* shown = selectedViewController();
    if (!shown) return;
    shown->loadViewIfNeeded();
    followTitle();
    shown->viewWillAppear(animated);
}

void UITabBarController::viewDidAppear(bool animated) {
    onScreen_ = true;
    if (UIViewController* shown = selectedViewController()) shown->viewDidAppear(animated);
}

void UITabBarController::viewWillDisappear(bool animated) {
    if (UIViewController* shown = selectedViewController()) shown->viewWillDisappear(animated);
}

void UITabBarController::viewDidDisappear(bool animated) {
    onScreen_ = false;
    if (UIViewController* shown = selectedViewController()) shown->viewDidDisappear(animated);
}
