#include "AppPaths.h"

#include <QDir>
#include <QStandardPaths>

#include <mutex>

namespace {
std::mutex g_mutex;
QString g_dataDir;
}  // namespace

namespace AppPaths {

void setDataDir(const QString& dir) {
    std::lock_guard lock(g_mutex);
    g_dataDir = QDir(dir).absolutePath();
}

QString dataDir() {
    std::lock_guard lock(g_mutex);
    if (g_dataDir.isEmpty()) {
        const QString env = qEnvironmentVariable("ZENLOFT_DATA_DIR");
        g_dataDir = env.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)
                                  : QDir(env).absolutePath();
    }
    return g_dataDir;
}

QString documentsDir() { return QDir(dataDir()).filePath(QStringLiteral("Documents")); }
QString documentsPath(const QString& folder) { return QDir(documentsDir()).filePath(folder); }
QString cacheDir() { return QDir(dataDir()).filePath(QStringLiteral("Caches")); }
QString settingsFile() { return QDir(dataDir()).filePath(QStringLiteral("settings.ini")); }
QString realmFile() { return QDir(dataDir()).filePath(QStringLiteral("default.realm")); }

}  // namespace AppPaths
