#include "UserDefaults.h"

#include <QDir>
#include <QStandardPaths>

#include <mutex>

namespace {

// QSettings keeps what it reads from an INI file as text: "true" and
// "false" stand for a Bool.
std::optional<bool> asBool(const QVariant& v) {
    if (v.typeId() == QMetaType::Bool) return v.toBool();
    const QString s = v.toString();
    if (s == u"true") return true;
    if (s == u"false") return false;
    return std::nullopt;
}

}  // namespace

UserDefaults::UserDefaults(const QString& iniPath) : file_(iniPath) {}

QVariant UserDefaults::objectForKey(const QString& key) const { return file_.value(key); }

bool UserDefaults::boolForKey(const QString& key) const {
    const QVariant v = file_.value(key);
    if (auto b = asBool(v)) return *b;
    return v.toDouble() != 0.0;
}

double UserDefaults::doubleForKey(const QString& key) const {
    const QVariant v = file_.value(key);
    if (auto b = asBool(v)) return *b ? 1.0 : 0.0;
    return v.toDouble();
}

qint64 UserDefaults::integerForKey(const QString& key) const {
    const QVariant v = file_.value(key);
    if (auto b = asBool(v)) return *b ? 1 : 0;
    bool ok = false;
    const qint64 i = v.toLongLong(&ok);
    if (ok) return i;
    return qint64(v.toDouble());
}

std::optional<QString> UserDefaults::stringForKey(const QString& key) const {
    const QVariant v = file_.value(key);
    if (!v.isValid()) return std::nullopt;
    return v.toString();
}

void UserDefaults::setBool(bool value, const QString& key) { file_.setValue(key, value); }
void UserDefaults::setDouble(double value, const QString& key) { file_.setValue(key, value); }
void UserDefaults::setInteger(qint64 value, const QString& key) { file_.setValue(key, value); }
void UserDefaults::setObject(const QVariant& value, const QString& key) { file_.setValue(key, value); }
void UserDefaults::removeObjectForKey(const QString& key) { file_.remove(key); }

bool UserDefaults::synchronize() { return file_.sync(); }

QString UserDefaults::fileName() const { return file_.fileName(); }
