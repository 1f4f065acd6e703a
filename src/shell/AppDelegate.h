#pragma once

#include "AppPaths.h"
#include "store/Entities.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <memory>

// The application's delegate: starts the map services, holds the one store
// container (opened at first use) and saves it when the app goes to the
// background.
class AppDelegate : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made once by the application")
    // Problems the user must be told about (a store that can't be opened, a
    // write that failed, a bad map key); empty when all is well.
    Q_PROPERTY(QString problem READ problem NOTIFY problemChanged)
    // A short note shown for a few seconds without stopping the user.
    Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged)

public:
    static constexpr int kApiKeyLength = 39;

    // The store lives in the data folder of paths.
    explicit AppDelegate(const AppPaths& paths, QObject* parent = nullptr);
    ~AppDelegate() override;

    // Launch: hands the key to the map services. A key that isn't 39
    // characters is reported; the app still starts.
    bool didFinishLaunching(const QString& mapApiKey);

    // The store "Zenloft", opened at first use. When it can't be opened, the
    // file is left alone, the user is told, and the context refuses saves.
    NSPersistentContainer* persistentContainer();
    bool hasOpenedStore() const { return bool(container_); }
    // Starts reading the store on its own thread so that the first screen
    // that needs it rarely waits.
    void preloadStore();

    // Saves pending changes, if any. A failing save is reported and the
    // changes are kept.
    void saveStoreChanges();

    // The app went to the background (scene did enter background).
    void sceneDidEnterBackground();

    QString problem() const { return problem_; }
    QString notice() const { return notice_; }
    void showNotice(const QString& text);
    Q_INVOKABLE void dismissProblem();
    void reportProblem(const QString& text);

signals:
    void problemChanged();
    void noticeChanged();

private:
    AppPaths paths_;
    std::unique_ptr<NSPersistentContainer> container_;
    QString problem_;
    QString notice_;
};
