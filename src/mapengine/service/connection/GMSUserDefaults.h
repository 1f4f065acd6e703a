#pragma once

#include "SettingsFile.h"

#include <QString>
#include <QVariant>

// The key-value store where the connection keeps its identity between runs.
class GMSUserDefaults {
public:
    virtual ~GMSUserDefaults() = default;
    virtual QVariant objectForKey(const QString& key) const = 0;
    virtual void setObject(const QVariant& value, const QString& key) = 0;
    virtual void removeObjectForKey(const QString& key) = 0;
};

// Over the application's settings file.
class GMSSettingsUserDefaults : public GMSUserDefaults {
public:
    explicit GMSSettingsUserDefaults(const QString& iniPath) : m_file(iniPath) {}
    QVariant objectForKey(const QString& key) const override { return m_file.value(key); }
    void setObject(const QVariant& value, const QString& key) override { m_file.setValue(key, value); }
    void removeObjectForKey(const QString& key) override { m_file.remove(key); }

private:
    zl::SettingsFile m_file;
};
