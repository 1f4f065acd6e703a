#pragma once

#include "ScreenContext.h"
#include "ui/UIKit.h"
#include "ui/UIViewController.h"

#include <QPointer>

class LocationManager;

// The menu every launch opens on: the three work screens, the general
// settings and the help page.
class IntroVC : public UIViewController {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(qint64 selected READ selected NOTIFY selectedChanged)

public:
    explicit IntroVC(const ScreenContext& context, QObject* parent = nullptr);
    ~IntroVC() override;

    void viewDidLoad() override;
    void viewDidAppear(bool animated) override;

    qint64 selected() const { return selected_; }
    LocationManager* locationManager() const { return locationManager_; }

    Q_INVOKABLE void button_azimuth();
    Q_INVOKABLE void button_ptp();
    Q_INVOKABLE void button_validation();
    Q_INVOKABLE void button_settings();
    Q_INVOKABLE void button_help();

    // The location manager's delegate callback: opens the work screen last
    // asked for, whatever the new status.
    void didChangeAuthorizationStatus(int status);

    // The folders users exchange files through, made again at each
    // appearance (existing ones count as made).
    static QStringList folderNames();
    static void makeFolders(const QString& documentsDir);

signals:
    void selectedChanged();
    // The folders of one appearance are made (tests wait for this).
    void foldersReady();

private:
    void workButton(qint64 which);
    void permissionGate();

    ScreenContext context_;
    qint64 selected_ = -1;
    LocationManager* locationManager_ = nullptr;
};
