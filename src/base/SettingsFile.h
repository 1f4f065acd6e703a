#pragma once

#include <QMutex>
#include <QString>
#include <QVariant>

#include <memory>

class QSettings;

namespace zl {

// The settings file (INI): every write goes to disk at once, and any thread
// may read or write. The app's settings and the map engine's identity keys
// read the same file through this class; objects over one file in one
// process see each other's writes.
class SettingsFile {
public:
    explicit SettingsFile(const QString& iniPath);
    ~SettingsFile();
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;

    // Invalid when the key is not set. Values read back from the file come
    // as text ("true", "2.5").
    QVariant value(const QString& key) const;
    // An invalid value removes the key.
    void setValue(const QString& key, const QVariant& value);
    void remove(const QString& key);
    // False when the file could not be written or read.
    bool sync();
    QString fileName() const;

private:
    mutable QMutex m_mutex;
    std::unique_ptr<QSettings> m_settings;
};

}  // namespace zl
