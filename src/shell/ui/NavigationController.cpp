#include "NavigationController.h"

#include <QDebug>

NavigationController::NavigationController(QObject* parent) : QObject(parent) {}

NavigationController::~NavigationController() {
    for (UIViewController* c : stack_)
        if (c->parent() == this) delete c;
}

void NavigationController::registerScreen(const QString& identifier, Factory factory, const QUrl& page) {
    registry_.insert(identifier, Entry{std::move(factory), page});
}

bool NavigationController::isRegistered(const QString& identifier) const { return registry_.contains(identifier); }

QStringList NavigationController::registeredIdentifiers() const {
    QStringList ids = registry_.keys();
    ids.sort();
    return ids;
}

QUrl NavigationController::pageFor(const QString& identifier) const { return registry_.value(identifier).page; }

UIViewController* NavigationController::instantiate(const QString& identifier) const {
    auto it = registry_.find(identifier);
    return it == registry_.end() ? nullptr : it->factory();
}

void NavigationController::setRootViewController(UIViewController* root, const QUrl& page) {
    while (!stack_.isEmpty()) {
        UIViewController* c = stack_.takeLast();
        c->navigationController_ = nullptr;
        if (c->parent() == this) c->deleteLater();
    }
    root->setParent(this);
    root->navigationController_ = this;
    stack_.append(root);
    root->loadViewIfNeeded();
    root->viewWillAppear(false);
    emit rootReplaced(root, page);
    emit depthChanged();
    root->viewDidAppear(false);
}

bool NavigationController::performSegue(UIViewController* source, const QString& identifier,
                                        const QVariant& sender) {
    auto it = registry_.find(identifier);
    if (it == registry_.end()) {
        qWarning().noquote() << "segue" << identifier << "from" << (source ? source->className() : QString())
                             << "refused: no screen is registered under that identifier";
        return false;
    }
    UIViewController* destination = it->factory();
    if (!destination) {
        qWarning().noquote() << "segue" << identifier << "refused: the screen could not be made";
        return false;
    }
    UIStoryboardSegue segue{identifier, source, destination};
    if (source) source->prepareForSegue(segue, sender);
    pushViewController(destination, it->page, true);
    return true;
}

void NavigationController::pushViewController(UIViewController* controller, const QUrl& page, bool animated) {
    UIViewController* below = topViewController();
    controller->setParent(this);
    controller->navigationController_ = this;
    controller->loadViewIfNeeded();
    if (below) below->viewWillDisappear(animated);
    controller->viewWillAppear(animated);
    stack_.append(controller);
    emit pushed(controller, page, animated);
    emit depthChanged();
    if (below) below->viewDidDisappear(animated);
    controller->viewDidAppear(animated);
}

void NavigationController::popViewControllerAnimated(bool animated) {
    if (stack_.size() < 2) return;
    UIViewController* top = stack_.last();
    UIViewController* below = stack_.at(stack_.size() - 2);
    top->viewWillDisappear(animated);
    below->viewWillAppear(animated);
    stack_.removeLast();
    emit popped(animated);
    emit depthChanged();
    top->viewDidDisappear(animated);
    below->viewDidAppear(animated);
    top->navigationController_ = nullptr;
    // The page may still be animating out and reading it: free it later.
    top->deleteLater();
}

void NavigationController::popToRootViewControllerAnimated(bool animated) {
    while (stack_.size() > 1) popViewControllerAnimated(animated && stack_.size() == 2);
}
