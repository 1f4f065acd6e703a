#pragma once

#include <QMutex>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <memory>

// The key-value store where the connection keeps its identity between runs.
class GMSUserDefaults {
public:
    virtual ~GMSUserDefaults() = default;
    virtual QVariant objectForKey(const QString& key) const = 0;
    virtual void setObject(const QVariant& value, const QString& key) = 0;
    virtual void removeObjectForKey(const QString& key) = 0;
};

// Over an INI file, the application's settings file. Safe to use from any
// thread (one lock around the QSettings object).
class GMSSettingsUserDefaults : public GMSUserDefaults {
public:
    explicit GMSSettingsUserDefaults(const QString& iniPath)
        : m_settings(std::make_unique<QSettings>(iniPath, QSettings::IniFormat))
    {
    }
    QVariant objectForKey(const QString& key) const override
    {
        QMutexLocker lock(&m_mutex);
        return m_settings->value(key);
    }
    void setObject(const QVariant& value, const QString& key) override
    {
        QMutexLocker lock(&m_mutex);
        m_settings->setValue(key, value);
        m_settings->sync();
    }
    void removeObjectForKey(const QString& key) override
    {
        QMutexLocker lock(&m_mutex);
        m_settings->remove(key);
        m_settings->sync();
    }

private:
    mutable QMutex m_mutex;
    std::unique_ptr<QSettings> m_settings;
};
