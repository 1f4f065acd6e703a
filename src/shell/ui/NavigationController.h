#pragma once

#include "UIViewController.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <functional>

// The one navigation stack of the app. Work areas register their screens by
// segue identifier (a factory and the QML page that binds to the screen);
// the QML StackView follows the pushed and popped signals.
class NavigationController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made once by the application")
    Q_PROPERTY(int depth READ depth NOTIFY depthChanged)
    Q_PROPERTY(UIViewController* topViewController READ topViewController NOTIFY depthChanged)

public:
    using Factory = std::function<UIViewController*()>;

    explicit NavigationController(QObject* parent = nullptr);
    ~NavigationController() override;

    // Later registrations of the same identifier replace earlier ones.
    void registerScreen(const QString& identifier, Factory factory, const QUrl& page);
    bool isRegistered(const QString& identifier) const;
    QStringList registeredIdentifiers() const;
    QUrl pageFor(const QString& identifier) const;
    // Makes a screen of a registered identifier without showing it (self test).
    UIViewController* instantiate(const QString& identifier) const;

    // Puts the first screen in place; it is shown without animation.
    void setRootViewController(UIViewController* root, const QUrl& page);

    bool performSegue(UIViewController* source, const QString& identifier, const QVariant& sender);
    void pushViewController(UIViewController* controller, const QUrl& page, bool animated);
    Q_INVOKABLE void popViewControllerAnimated(bool animated = true);
    Q_INVOKABLE void popToRootViewControllerAnimated(bool animated = true);

    int depth() const { return int(stack_.size()); }
    UIViewController* topViewController() const { return stack_.isEmpty() ? nullptr : stack_.last(); }
    QList<UIViewController*> viewControllers() const { return stack_; }

signals:
    void depthChanged();
    // For the page stack: show page bound to controller.
    void pushed(UIViewController* controller, const QUrl& page, bool animated);
    void popped(bool animated);
    void rootReplaced(UIViewController* controller, const QUrl& page);

private:
    struct Entry {
        Factory factory;
        QUrl page;
    };
    QHash<QString, Entry> registry_;
    QList<UIViewController*> stack_;
};
