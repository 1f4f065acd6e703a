#pragma once

#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

class NavigationController;
class UIViewController;

// A transition between two screens, handed to prepareForSegue before the
// destination is shown.
struct UIStoryboardSegue {
    QString identifier;
    UIViewController* sourceViewController = nullptr;
    UIViewController* destinationViewController = nullptr;
};

// The base of every screen: its state and logic live here and run without
// any QML; the page only binds to it. The lifecycle calls come from the
// navigation controller in UIKit's order.
class UIViewController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    Q_PROPERTY(int overrideUserInterfaceStyle READ overrideUserInterfaceStyle NOTIFY styleChanged)
    Q_PROPERTY(QString className READ className CONSTANT)

public:
    enum Style { Unspecified = 0, Light = 1, Dark = 2 };
    Q_ENUM(Style)

    explicit UIViewController(QObject* parent = nullptr);
    ~UIViewController() override;

    QString title() const { return title_; }
    void setTitle(const QString& title);
    int overrideUserInterfaceStyle() const { return style_; }
    QString className() const { return QString::fromLatin1(metaObject()->className()); }

    NavigationController* navigationController() const { return navigationController_; }
    bool isViewLoaded() const { return viewLoaded_; }
    // Calls viewDidLoad once.
    void loadViewIfNeeded();

    virtual void viewDidLoad() {}
    virtual void viewWillAppear(bool animated) {}
    virtual void viewDidAppear(bool animated) {}
    virtual void viewWillDisappear(bool animated) {}
    virtual void viewDidDisappear(bool animated) {}
    virtual void prepareForSegue(UIStoryboardSegue& segue, const QVariant& sender) {}

    // Opens the screen registered under identifier above this one. Returns
    // false (with a warning in the log) when nobody registered it.
    Q_INVOKABLE bool performSegueWithIdentifier(const QString& identifier, const QVariant& sender = QVariant());
    // Goes back to the screen below.
    Q_INVOKABLE void popViewController(bool animated = true);

protected:
    // Work, list, editor, import and export screens keep the light look.
    void forceLightStyle();

signals:
    void titleChanged();
    void styleChanged();

private:
    friend class NavigationController;
    QString title_;
    int style_ = Unspecified;
    bool viewLoaded_ = false;
    NavigationController* navigationController_ = nullptr;
};
