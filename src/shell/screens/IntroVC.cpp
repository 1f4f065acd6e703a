#include "IntroVC.h"

#include "AppPaths.h"
#include "LocationManager.h"
#include "LocationServices.h"

#include <QDebug>
#include <QDir>
#include <QFutureWatcher>
#include <QtConcurrent/QtConcurrentRun>

IntroVC::IntroVC(const ScreenContext& context, QObject* parent) : UIViewController(parent), context_(context) {}
IntroVC::~IntroVC() = default;

void IntroVC::viewDidLoad() {
    locationManager_ = new LocationManager(context_.location, this);
    connect(locationManager_, &LocationManager::didChangeAuthorizationStatus, this,
            [this](int status) { didChangeAuthorizationStatus(status); });
}

QStringList IntroVC::folderNames() {
    return {QStringLiteral("markers"), QStringLiteral("sectors"), QStringLiteral("KML"), QStringLiteral("KML - export")};
}

void IntroVC::makeFolders(const QString& documentsDir) {
    for (const QString& name : folderNames()) {
        const QString path = QDir(documentsDir).filePath(name);
        if (!QDir().mkpath(path)) qDebug().noquote() << "Unable to create directory" << path;
    }
}

void IntroVC::viewDidAppear(bool) {
    // Off the GUI thread: the documents folder may sit on slow storage.
    auto* watcher = new QFutureWatcher<void>(this);
    connect(watcher, &QFutureWatcher<void>::finished, this, [this, watcher] {
        watcher->deleteLater();
        emit foldersReady();
    });
    watcher->setFuture(QtConcurrent::run(&IntroVC::makeFolders, context_.paths.documentsDir()));
}

void IntroVC::workButton(qint64 which) {
    selected_ = which;
    emit selectedChanged();
    permissionGate();
}

void IntroVC::button_azimuth() { workButton(0); }
void IntroVC::button_ptp() { workButton(1); }
void IntroVC::button_validation() { workButton(2); }
void IntroVC::button_settings() { performSegueWithIdentifier(QStringLiteral("settings"), QVariant::fromValue<QObject*>(this)); }
void IntroVC::button_help() { performSegueWithIdentifier(QStringLiteral("help"), QVariant::fromValue<QObject*>(this)); }

void IntroVC::permissionGate() {
    if (context_.location->authorizationStatus() == 0) {
        // The segue comes from the delegate callback once the user answered.
        if (locationManager_) locationManager_->requestWhenInUseAuthorization();
        return;
    }
    didChangeAuthorizationStatus(context_.location->authorizationStatus());
}

void IntroVC::didChangeAuthorizationStatus(int) {
    switch (selected_) {
    case 0: performSegueWithIdentifier(QStringLiteral("azimuthVC")); break;
    case 1: performSegueWithIdentifier(QStringLiteral("ptpVC")); break;
    case 2: performSegueWithIdentifier(QStringLiteral("validationVC")); break;
    default: break;
    }
}
