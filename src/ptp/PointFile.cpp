#include "PointFile.h"

#include "files/JsonText.h"
#include "files/LenientJson.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cmath>
#include <limits>

namespace PointFile {

QByteArray exportText(const QList<realm_ptp>& points, const Progress& progress) {
    QString t;
    t.reserve(32 + points.size() * 160);
    t += QLatin1String("{\n\"markers\": [\n");
    const qsizetype total = points.size();
    qsizetype counter = 0;
    for (const realm_ptp& p : points) {
        if (counter >= 1 && counter < total) t += QLatin1Char(',');
        ++counter;
        if (counter % 10 == 0 && progress) progress(counter, total);
        t += QLatin1String("{\n\"name\": \"");
        t += JsonText::escaped(p.name);
        t += QLatin1String("\",\"description\": \"");
        t += JsonText::escaped(p.ptp_description);
        t += QLatin1String("\",\"latitude\": \"");
        t += JsonText::number(p.latitude);
        t += QLatin1String("\",\"longitude\": \"");
        t += JsonText::number(p.longitude);
        t += QLatin1String("\",\"red\" : \"");
        t += QString::number(p.markerRed);
        t += QLatin1String("\",\"green\" : \"");
        t += QString::number(p.markerGreen);
        t += QLatin1String("\",\"blue\" : \"");
        t += QString::number(p.markerBlue);
        t += QLatin1String("\"}");
    }
    t += QLatin1String("]\n}");
    return t.toUtf8();
}

namespace {

// An integer as a lenient wrapper reads it: the number truncated toward
// zero, 0 for what isn't one. Nothing when it doesn't fit 64 bits.
std::optional<qint64> toInt(const QJsonValue& v) {
    const double d = std::trunc(LenientJson::toDouble(v));
    if (std::isnan(d)) return 0;
    // 2^63 itself doesn't fit; the largest double below it does.
    if (d < -9223372036854775808.0 || d >= 9223372036854775808.0) return std::nullopt;
    return qint64(d);
}

}  // namespace

std::optional<QList<realm_ptp>> parse(const QByteArray& bytes, QString* error, const std::atomic<bool>* stop) {
    QString why;
    const std::optional<QJsonValue> root = LenientJson::parse(bytes, &why);
    if (!root) {
        if (error) *error = QStringLiteral("not a JSON text (%1)").arg(why);
        return std::nullopt;
    }
    // A missing list, or something else in its place, is a file of no points.
    const QJsonArray list = root->toObject().value(QLatin1String("markers")).toArray();
    QList<realm_ptp> points;
    points.reserve(list.size());
    const QString name = QStringLiteral("name"), description = QStringLiteral("description"),
                  latitude = QStringLiteral("latitude"), longitude = QStringLiteral("longitude"),
                  red = QStringLiteral("red"), green = QStringLiteral("green"), blue = QStringLiteral("blue");
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (stop && i % 1024 == 0 && stop->load(std::memory_order_relaxed)) {
            if (error) *error = QStringLiteral("stopped");
            return std::nullopt;
        }
        const QJsonObject o = list.at(i).toObject();
        realm_ptp p;
        p.name = LenientJson::toText(o.value(name));
        p.ptp_description = LenientJson::toText(o.value(description));
        p.latitude = LenientJson::toDouble(o.value(latitude));
        p.longitude = LenientJson::toDouble(o.value(longitude));
        const auto r = toInt(o.value(red)), g = toInt(o.value(green)), b = toInt(o.value(blue));
        if (!r || !g || !b) {
            if (error) *error = QStringLiteral("point %1 has a colour too large to keep").arg(i + 1);
            return std::nullopt;
        }
        p.markerRed = *r;
        p.markerGreen = *g;
        p.markerBlue = *b;
        points << p;
    }
    return points;
}

}  // namespace PointFile
