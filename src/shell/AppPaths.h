#pragma once

#include <QString>

// Where the app keeps its files: everything lies below one data folder,
// which can be moved (command-line option or ZENLOFT_DATA_DIR) so that tests
// and demos run in a temporary folder.
class AppPaths {
public:
    explicit AppPaths(const QString& dataDir);
    // ZENLOFT_DATA_DIR when set, otherwise the platform's folder for app data.
    static QString defaultDataDir();

    QString dataDir() const { return dataDir_; }
    QString documentsDir() const;                      // "<data>/Documents": the folders users exchange files through
    QString documentsPath(const QString& folder) const;  // a folder below it
    QString cacheDir() const;                          // map caches
    QString settingsFile() const;                      // the settings store
    QString realmFile() const;                         // the object store

private:
    QString dataDir_;
};
