#pragma once

#include "AppDelegate.h"
#include "screens/MainVC.h"
#include "ui/NavigationController.h"

#include <QObject>
#include <QQmlEngine>
#include <QtQml/qqmlregistration.h>

// The long-lived objects of the shell, made once in main() and handed to
// QML as the singleton "Shell".
class ShellServices : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(Shell)
    QML_SINGLETON
    Q_PROPERTY(NavigationController* navigation READ navigation CONSTANT)
    Q_PROPERTY(MainVC* mainVC READ mainVC CONSTANT)
    Q_PROPERTY(AppDelegate* appDelegate READ appDelegate CONSTANT)

public:
    ShellServices(NavigationController* navigation, MainVC* mainVC, AppDelegate* appDelegate,
                  QObject* parent = nullptr);
    ~ShellServices() override;

    NavigationController* navigation() const { return navigation_; }
    MainVC* mainVC() const { return mainVC_; }
    AppDelegate* appDelegate() const { return appDelegate_; }

    static ShellServices* instance();
    static ShellServices* create(QQmlEngine*, QJSEngine*);

private:
    NavigationController* navigation_;
    MainVC* mainVC_;
    AppDelegate* appDelegate_;
};
