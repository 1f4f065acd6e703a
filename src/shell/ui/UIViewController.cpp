#include "UIViewController.h"

#include "NavigationController.h"

#include <QDebug>

UIViewController::UIViewController(QObject* parent) : QObject(parent) {}
UIViewController::~UIViewController() = default;

void UIViewController::setTitle(const QString& title) {
    if (title_ == title) return;
    title_ = title;
    emit titleChanged();
}

void UIViewController::loadViewIfNeeded() {
    if (viewLoaded_) return;
    viewLoaded_ = true;
    viewDidLoad();
}

void UIViewController::forceLightStyle() {
    if (style_ == Light) return;
    style_ = Light;
    emit styleChanged();
}

bool UIViewController::performSegueWithIdentifier(const QString& identifier, const QVariant& sender) {
    if (!navigationController_) {
        qWarning().noquote() << "segue" << identifier << "from" << className()
                             << "refused: the screen isn't in a navigation stack";
        return false;
    }
    return navigationController_->performSegue(this, identifier, sender);
}

void UIViewController::popViewController(bool animated) {
    if (navigationController_ && navigationController_->topViewController() == this)
        navigationController_->popViewControllerAnimated(animated);
}
