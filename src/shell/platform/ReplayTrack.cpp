#include "ReplayTrack.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace {

// An optional number; absent or null gives the fallback, anything else
// that isn't a finite number is an error.
bool optionalNumber(const QJsonObject& o, const char* key, double fallback, double* out) {
    const QJsonValue v = o.value(QLatin1String(key));
    if (v.isUndefined() || v.isNull()) {
        *out = fallback;
        return true;
    }
    if (!v.isDouble() || !std::isfinite(v.toDouble()))
        return false;
    *out = v.toDouble();
    return true;
}

}  // namespace

std::optional<ReplayTrack> ReplayTrack::parse(const QByteArray& json, QString* error) {
    auto fail = [error](const QString& why) -> std::optional<ReplayTrack> {
        if (error)
            *error = why;
        return std::nullopt;
    };

    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return fail(QStringLiteral("replay is not JSON: %1 at offset %2")
                        .arg(parseError.errorString())
                        .arg(parseError.offset));
    if (!doc.isObject())
        return fail(QStringLiteral("replay must be a JSON object"));
    const QJsonObject root = doc.object();
    if (root.value(QLatin1String("format")).toString() != QLatin1String("zenloft-replay"))
        return fail(QStringLiteral("replay lacks \"format\": \"zenloft-replay\""));
    if (root.value(QLatin1String("version")).toInt(-1) != 1)
        return fail(QStringLiteral("replay version must be 1"));

    ReplayTrack track;
    const QJsonValue start = root.value(QLatin1String("start"));
    if (!start.isUndefined() && !start.isNull()) {
        const QDateTime when = QDateTime::fromString(start.toString(), Qt::ISODateWithMs);
        if (!when.isValid())
            return fail(QStringLiteral("replay \"start\" is not an ISO 8601 date and time"));
        track.start = when.toUTC();
    }
    track.loop = root.value(QLatin1String("loop")).toBool(false);

    const QJsonValue eventsValue = root.value(QLatin1String("events"));
    if (!eventsValue.isArray())
        return fail(QStringLiteral("replay lacks the \"events\" list"));
    const QJsonArray events = eventsValue.toArray();
    track.events.reserve(events.size());
    for (qsizetype i = 0; i < events.size(); ++i) {
        auto bad = [&](const QString& why) { return fail(QStringLiteral("replay event %1: %2").arg(i).arg(why)); };
        if (!events[i].isObject())
            return bad(QStringLiteral("not an object"));
        const QJsonObject e = events[i].toObject();
        const QJsonValue t = e.value(QLatin1String("t"));
        // Up to about a year of run; keeps the millisecond offset sane.
        if (!t.isDouble() || !(t.toDouble() >= 0.0) || t.toDouble() > 3.2e7)
            return bad(QStringLiteral("\"t\" must be seconds, 0 or more"));
        Event ev;
        ev.offsetMs = std::llround(t.toDouble() * 1000.0);
        const QString type = e.value(QLatin1String("type")).toString();
        if (type == QLatin1String("location")) {
            CLLocation& loc = ev.location;
            const QJsonValue lat = e.value(QLatin1String("lat"));
            const QJsonValue lon = e.value(QLatin1String("lon"));
            if (!lat.isDouble() || !lon.isDouble())
                return bad(QStringLiteral("a location needs \"lat\" and \"lon\" numbers"));
            loc.coordinate = {lat.toDouble(), lon.toDouble()};
            if (!CLLocationCoordinate2DIsValid(loc.coordinate))
                return bad(QStringLiteral("coordinate out of range"));
            if (!optionalNumber(e, "alt", 0.0, &loc.altitude) ||
                !optionalNumber(e, "hacc", -1.0, &loc.horizontalAccuracy) ||
                !optionalNumber(e, "vacc", -1.0, &loc.verticalAccuracy) ||
                !optionalNumber(e, "speed", -1.0, &loc.speed) ||
                !optionalNumber(e, "course", -1.0, &loc.course))
                return bad(QStringLiteral("\"alt\", \"hacc\", \"vacc\", \"speed\" and \"course\" must be numbers"));
        } else if (type == QLatin1String("heading")) {
            ev.isHeading = true;
            const QJsonValue magnetic = e.value(QLatin1String("magnetic"));
            if (!magnetic.isDouble() || !std::isfinite(magnetic.toDouble()))
                return bad(QStringLiteral("a heading needs a \"magnetic\" number"));
            ev.magneticHeading = magnetic.toDouble();
            if (!optionalNumber(e, "accuracy", -1.0, &ev.headingAccuracy))
                return bad(QStringLiteral("\"accuracy\" must be a number"));
        } else {
            return bad(QStringLiteral("\"type\" must be \"location\" or \"heading\""));
        }
        track.events.push_back(ev);
    }
    std::stable_sort(track.events.begin(), track.events.end(),
                     [](const Event& a, const Event& b) { return a.offsetMs < b.offsetMs; });
    return track;
}
