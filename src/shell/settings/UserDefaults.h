#pragma once

#include "SettingsFile.h"

#include <QString>
#include <QVariant>

#include <memory>
#include <optional>

// The settings store, over the settings file: keys written the moment they
// change, and nothing registered as a default, so an unset key reads false, 0, 0.0 or none.
class UserDefaults {
public:
    explicit UserDefaults(const QString& iniPath);

    bool boolForKey(const QString& key) const;
    double doubleForKey(const QString& key) const;
    // A Bool stored as true reads 1.
    qint64 integerForKey(const QString& key) const;
    std::optional<QString> stringForKey(const QString& key) const;
    QVariant objectForKey(const QString& key) const;

    void setBool(bool value, const QString& key);
    void setDouble(double value, const QString& key);
    void setInteger(qint64 value, const QString& key);
    void setObject(const QVariant& value, const QString& key);
    void removeObjectForKey(const QString& key);

    bool synchronize();
    QString fileName() const;

private:
    zl::SettingsFile file_;
};

// The keys of the settings store.
namespace SettingsKey {
inline const QString useGeocoder = QStringLiteral("useGeocoder");
inline const QString latitude = QStringLiteral("latitude");
inline const QString longitude = QStringLiteral("longitude");
inline const QString toUseGeocoder = QStringLiteral("toUseGeocoder");
inline const QString toLatitude = QStringLiteral("toLatitude");
inline const QString toLongitude = QStringLiteral("toLongitude");
inline const QString toName = QStringLiteral("toName");
inline const QString toDesc = QStringLiteral("toDesc");
inline const QString maxDistance = QStringLiteral("maxDistance");
inline const QString ptpListSortBy = QStringLiteral("ptpListSortBy");
inline const QString useImperialUnits = QStringLiteral("useImperialUnits");
inline const QString hideCompassIndicator = QStringLiteral("hideCompassIndicator");
inline const QString beepOutsideSectors = QStringLiteral("beepOutsideSectors");
inline const QString trackUserPosition = QStringLiteral("trackUserPosition");
}  // namespace SettingsKey
