#include "GMSStyleTableEpochResources.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

std::optional<GMSStyleTableMapping> GMSStyleTableEpochResources::mappingForMapStyle(int mapStyle) const {
    for (const auto& m : styleTableMappingArray)
        if (m.mapStyle == mapStyle) return m;
    return std::nullopt;
}

QString GMSStyleTableEpochResources::cacheNameForEpoch(qint32 epoch) {
    return QStringLiteral("EpochResources-%1").arg(epoch);
}

QByteArray GMSStyleTableEpochResources::serialized() const {
    QJsonArray tables;
    for (const auto& m : styleTableMappingArray)
        tables.append(QJsonObject{{QStringLiteral("url"), m.url},
                                  {QStringLiteral("styleTableFormat"), m.styleTableFormat},
                                  {QStringLiteral("mapStyle"), m.mapStyle}});
    return QJsonDocument(QJsonObject{{QStringLiteral("epoch"), epoch}, {QStringLiteral("styleTables"), tables}})
        .toJson(QJsonDocument::Compact);
}

std::optional<GMSStyleTableEpochResources> GMSStyleTableEpochResources::parse(const QByteArray& data) {
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) return std::nullopt;
    const QJsonObject o = doc.object();
    if (!o.value(QStringLiteral("epoch")).isDouble() || !o.value(QStringLiteral("styleTables")).isArray())
        return std::nullopt;
    GMSStyleTableEpochResources r;
    r.epoch = o.value(QStringLiteral("epoch")).toInt();
    for (const QJsonValue& v : o.value(QStringLiteral("styleTables")).toArray()) {
        const QJsonObject t = v.toObject();
        if (!t.value(QStringLiteral("url")).isString()) return std::nullopt;
        r.styleTableMappingArray.append({t.value(QStringLiteral("url")).toString(),
                                         t.value(QStringLiteral("styleTableFormat")).toInt(),
                                         t.value(QStringLiteral("mapStyle")).toInt()});
    }
    return r;
}
