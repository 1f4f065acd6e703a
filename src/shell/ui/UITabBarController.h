#pragma once

#include "UIViewController.h"

#include <QList>
#include <QUrl>

// A container of screens side by side, one shown at a time, switched by the
// tabs at its foot. A tab's screen loads when it is first shown, so that
// whoever prepares the container can still set its screens' fields; the
// appearance calls go to the shown screen only.
class UITabBarController : public UIViewController {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(int selectedIndex READ selectedIndex NOTIFY selectedIndexChanged)
    Q_PROPERTY(QList<QObject*> tabs READ tabs CONSTANT)
    Q_PROPERTY(QList<QUrl> pages READ pages CONSTANT)
    Q_PROPERTY(QStringList tabTitles READ tabTitles CONSTANT)

public:
    explicit UITabBarController(QObject* parent = nullptr);

    // The screens (owned from now on), their pages and the tabs' texts.
    void setViewControllers(const QList<UIViewController*>& controllers, const QList<QUrl>& pages,
                            const QStringList& titles);
    QList<UIViewController*> viewControllers() const { return controllers_; }
    UIViewController* selectedViewController() const { return controllers_.value(selected_); }

    int selectedIndex() const { return selected_; }
    // A tap on a tab.
    Q_INVOKABLE void setSelectedIndex(int index);

    QList<QObject*> tabs() const;
    QList<QUrl> pages() const { return pages_; }
    QStringList tabTitles() const { return titles_; }

    void viewWillAppear(bool animated) override;
    void viewDidAppear(bool animated) override;
    void viewWillDisappear(bool animated) override;
    void viewDidDisappear(bool animated) override;

signals:
    void selectedIndexChanged();

private:
    void followTitle();

    QList<UIViewController*> controllers_;
    QList<QUrl> pages_;
    QStringList titles_;
    int selected_ = 0;
    bool onScreen_ = false;
};
