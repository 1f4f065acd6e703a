#include "AzimuthFile.h"

#include "files/JsonText.h"
#include "files/LenientJson.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cmath>
#include <limits>

namespace AzimuthFile {

QByteArray exportText(double latitude, double longitude, const QList<Entry>& azimuths) {
    QString t;
    t += QStringLiteral("{\n");
    t += QStringLiteral("\"latitude\": ") + JsonText::number(latitude) + QStringLiteral(",\n");
    t += QStringLiteral("\"longitude\": ") + JsonText::number(longitude) + QStringLiteral(",\n");
    t += QStringLiteral("\"azimuths\": [\n");
    for (const Entry& e : azimuths) {
        t += QStringLiteral("{\n");
        t += QStringLiteral("\"azimuth\": \"") + JsonText::number(e.azimuth) + QStringLiteral("\",");
        t += QStringLiteral("\"distance\": \"") + JsonText::number(e.distance) + QStringLiteral("\",");
        t += QStringLiteral("\"desc\": \"") + JsonText::escaped(e.desc) + QStringLiteral("\",");
        t += QStringLiteral("\"colorRed\" : \"") + QString::number(e.colorRed) + QStringLiteral("\",");
        t += QStringLiteral("\"colorGreen\" : \"") + QString::number(e.colorGreen) + QStringLiteral("\",");
        t += QStringLiteral("\"colorBlue\" : \"") + QString::number(e.colorBlue) + QStringLiteral("\"");
        t += QStringLiteral("},");
    }
    t += QStringLiteral("]\n}");
    return t.toUtf8();
}

namespace {

// An integer as a lenient wrapper reads it: the number truncated toward
// zero. Nothing when it doesn't fit 32 bits.
std::optional<qint32> toInt32(const QJsonValue& v) {
    const double d = std::trunc(LenientJson::toDouble(v));
    if (std::isnan(d)) return 0;
    if (d < double(std::numeric_limits<qint32>::min()) || d > double(std::numeric_limits<qint32>::max()))
        return std::nullopt;
    return qint32(d);
}

}  // namespace

std::optional<Content> parse(const QByteArray& bytes, QString* error) {
    QString why;
    const std::optional<QJsonValue> root = LenientJson::parse(bytes, &why);
    if (!root) {
        if (error) *error = QStringLiteral("not a JSON text (%1)").arg(why);
        return std::nullopt;
    }
    const QJsonObject top = root->toObject();
    const QJsonValue list = top.value(QStringLiteral("azimuths"));
    if (!list.isArray()) {
        if (error) *error = QStringLiteral("no \"azimuths\" list in the file");
        return std::nullopt;
    }
    Content content;
    content.latitude = LenientJson::toDouble(top.value(QStringLiteral("latitude")));
    content.longitude = LenientJson::toDouble(top.value(QStringLiteral("longitude")));
    int index = 0;
    for (const QJsonValue& item : list.toArray()) {
        const QJsonObject o = item.toObject();
        Entry e;
        e.azimuth = LenientJson::toDouble(o.value(QStringLiteral("azimuth")));
        e.distance = LenientJson::toDouble(o.value(QStringLiteral("distance")));
        e.desc = LenientJson::toText(o.value(QStringLiteral("desc")));
        const auto r = toInt32(o.value(QStringLiteral("colorRed")));
        const auto g = toInt32(o.value(QStringLiteral("colorGreen")));
        const auto b = toInt32(o.value(QStringLiteral("colorBlue")));
        if (!r || !g || !b) {
            if (error) *error = QStringLiteral("azimuth %1 has a colour too large to keep").arg(index + 1);
            return std::nullopt;
        }
        e.colorRed = *r;
        e.colorGreen = *g;
        e.colorBlue = *b;
        content.azimuths << e;
        ++index;
    }
    return content;
}

}  // namespace AzimuthFile
