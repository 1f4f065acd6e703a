#include "AppPaths.h"

#include <QDir>
#include <QStandardPaths>

AppPaths::AppPaths(const QString& dataDir) : dataDir_(QDir(dataDir).absolutePath()) {}

QString AppPaths::defaultDataDir() {
    const QString env = qEnvironmentVariable("ZENLOFT_DATA_DIR");
    return env.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) : env;
}

QString AppPaths::documentsDir() const { return QDir(dataDir_).filePath(QStringLiteral("Documents")); }
QString AppPaths::documentsPath(const QString& folder) const { return QDir(documentsDir()).filePath(folder); }
QString AppPaths::cacheDir() const { return QDir(dataDir_).filePath(QStringLiteral("Caches")); }
QString AppPaths::settingsFile() const { return QDir(dataDir_).filePath(QStringLiteral("settings.ini")); }
QString AppPaths::realmFile() const { return QDir(dataDir_).filePath(QStringLiteral("default.realm")); }
