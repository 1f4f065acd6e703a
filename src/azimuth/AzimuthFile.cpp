#include "AzimuthFile.h"

#include "LenientJson.h"

#include <QJsonArray>
#include <QJsonObject>

#include <charconv>
#include <cmath>
#include <limits>

namespace AzimuthFile {

QString doubleText(double value) {
    if (std::isnan(value)) return QStringLiteral("nan");
    if (std::isinf(value)) return value < 0 ? QStringLiteral("-inf") : QStringLiteral("inf");
    if (value == 0.0) return std::signbit(value) ? QStringLiteral("-0.0") : QStringLiteral("0.0");
    // The shortest digits that read back, then laid out: plain decimals for
    // ordinary magnitudes, exponent form below 1e-4 and above 2^54.
    char buf[64];
    const auto sci = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::scientific);
    const std::string s(buf, sci.ptr);
    const double magnitude = std::fabs(value);
    if (magnitude < 1e-4 || magnitude > 18014398509481984.0) return QString::fromStdString(s);
    const auto fixed = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
    QString text = QString::fromLatin1(buf, int(fixed.ptr - buf));
    if (!text.contains(u'.')) text += QStringLiteral(".0");
    return text;
}

QString escapeText(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (QChar c : text) {
        switch (c.unicode()) {
        case u'"': out += QStringLiteral("\\\""); break;
        case u'\\': out += QStringLiteral("\\\\"); break;
        case u'\n': out += QStringLiteral("\\n"); break;
        case u'\r': out += QStringLiteral("\\r"); break;
        case u'\t': out += QStringLiteral("\\t"); break;
        case u'\b': out += QStringLiteral("\\b"); break;
        case u'\f': out += QStringLiteral("\\f"); break;
        default:
            if (c.unicode() < 0x20)
                out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
            else
                out += c;
        }
    }
    return out;
}

QByteArray exportText(double latitude, double longitude, const QList<Entry>& azimuths) {
    QString t;
    t += QStringLiteral("{\n");
    t += QStringLiteral("\"latitude\": ") + doubleText(latitude) + QStringLiteral(",\n");
    t += QStringLiteral("\"longitude\": ") + doubleText(longitude) + QStringLiteral(",\n");
    t += QStringLiteral("\"azimuths\": [\n");
    for (const Entry& e : azimuths) {
        t += QStringLiteral("{\n");
        t += QStringLiteral("\"azimuth\": \"") + doubleText(e.azimuth) + QStringLiteral("\",");
        t += QStringLiteral("\"distance\": \"") + doubleText(e.distance) + QStringLiteral("\",");
        t += QStringLiteral("\"desc\": \"") + escapeText(e.desc) + QStringLiteral("\",");
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
