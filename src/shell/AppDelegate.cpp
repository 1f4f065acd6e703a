#include "AppDelegate.h"

#include "AppPaths.h"

#include <QDebug>
#include <QGuiApplication>

AppDelegate::AppDelegate(const AppPaths& paths, QObject* parent) : QObject(parent), paths_(paths) {
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        connect(app, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
            if (state == Qt::ApplicationSuspended || state == Qt::ApplicationHidden) sceneDidEnterBackground();
        });
    }
}

AppDelegate::~AppDelegate() = default;

bool AppDelegate::didFinishLaunching(const QString& mapApiKey) {
    if (mapApiKey.size() != kApiKeyLength) {
        qWarning().noquote() << "map API key:" << mapApiKey.size() << "characters, expected" << kApiKeyLength;
        showNotice(mapApiKey.isEmpty()
                          ? tr("No map API key is configured: the map service may refuse to send tiles.")
                          : tr("The map API key has %1 characters instead of %2: the map service may refuse it.")
                                .arg(mapApiKey.size())
                                .arg(kApiKeyLength));
    }
    return true;
}

void AppDelegate::preloadStore() {
    if (!container_) container_ = std::make_unique<NSPersistentContainer>(QStringLiteral("Zenloft"), paths_.dataDir());
    container_->storeFile()->load();
}

NSPersistentContainer* AppDelegate::persistentContainer() {
    if (!container_) container_ = std::make_unique<NSPersistentContainer>(QStringLiteral("Zenloft"), paths_.dataDir());
    if (!container_->viewContext()) {
        QString error;
        if (!container_->loadPersistentStores(&error)) {
            qWarning().noquote() << "Unresolved error" << error;
            reportProblem(error + QLatin1Char('\n') +
                          tr("The file was left as it is. Nothing can be saved until it opens again."));
        }
        connect(container_->viewContext(), &NSManagedObjectContext::storeWriteFailed, this,
                [this](const QString& message) {
                    reportProblem(tr("Zenloft could not write %1 (%2). Your changes are kept and will be "
                                     "written with the next save.")
                                      .arg(container_->storePath(), message));
                });
    }
    return container_.get();
}

void AppDelegate::saveStoreChanges() {
    if (!container_ || !container_->viewContext()) return;  // the store was never opened: nothing to save
    NSManagedObjectContext* context = container_->viewContext();
    if (!context->hasChanges()) return;
    QString error;
    if (!context->save(&error)) {
        qWarning().noquote() << "Unresolved error" << error;
        reportProblem(tr("Zenloft could not save your changes: %1").arg(error));
    }
}

void AppDelegate::sceneDidEnterBackground() { saveStoreChanges(); }

void AppDelegate::reportProblem(const QString& text) {
    problem_ = problem_.isEmpty() ? text : problem_ + QStringLiteral("\n\n") + text;
    emit problemChanged();
}

void AppDelegate::showNotice(const QString& text) {
    notice_ = text;
    emit noticeChanged();
}

void AppDelegate::dismissProblem() {
    if (problem_.isEmpty()) return;
    problem_.clear();
    emit problemChanged();
}
