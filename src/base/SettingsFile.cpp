#include "SettingsFile.h"

#include <QSettings>

namespace zl {

SettingsFile::SettingsFile(const QString& iniPath)
    : m_settings(std::make_unique<QSettings>(iniPath, QSettings::IniFormat)) {}

SettingsFile::~SettingsFile() = default;

QVariant SettingsFile::value(const QString& key) const {
    QMutexLocker lock(&m_mutex);
    return m_settings->value(key);
}

void SettingsFile::setValue(const QString& key, const QVariant& value) {
    QMutexLocker lock(&m_mutex);
    if (value.isValid())
        m_settings->setValue(key, value);
    else
        m_settings->remove(key);
    m_settings->sync();
}

void SettingsFile::remove(const QString& key) {
    QMutexLocker lock(&m_mutex);
    m_settings->remove(key);
    m_settings->sync();
}

bool SettingsFile::sync() {
    QMutexLocker lock(&m_mutex);
    m_settings->sync();
    return m_settings->status() == QSettings::NoError;
}

QString SettingsFile::fileName() const {
    QMutexLocker lock(&m_mutex);
    return m_settings->fileName();
}

}  // namespace zl
