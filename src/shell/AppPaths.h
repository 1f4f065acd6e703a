#pragma once

#include <QString>

// Where the app keeps its files. The data folder can be moved (command-line
// option or ZENLOFT_DATA_DIR) so that tests and demos run in a temporary
// folder; everything else lies below it.
namespace AppPaths {
void setDataDir(const QString& dir);
QString dataDir();
QString documentsDir();            // "<data>/Documents": the folders users exchange files through
QString documentsPath(const QString& folder);  // a folder below it
QString cacheDir();                // map caches
QString settingsFile();            // the settings store
QString realmFile();               // the object store
}  // namespace AppPaths
