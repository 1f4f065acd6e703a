#include "LocationSourceConfig.h"

std::optional<LocationSourceConfig> LocationSourceConfig::parse(const QString& text, QString* error) {
    const QString spec = text.trimmed();
    LocationSourceConfig config;
    if (spec.isEmpty() || spec == QLatin1String("none"))
        return config;
    if (spec == QLatin1String("platform")) {
        config.kind = Kind::Platform;
        return config;
    }
    const qsizetype colon = spec.indexOf(QLatin1Char(':'));
    const QString scheme = colon < 0 ? spec : spec.left(colon);
    const QString path = colon < 0 ? QString() : spec.mid(colon + 1);
    if (scheme == QLatin1String("nmea"))
        config.kind = Kind::NmeaSerial;
    else if (scheme == QLatin1String("nmea-file"))
        config.kind = Kind::NmeaFile;
    else if (scheme == QLatin1String("replay"))
        config.kind = Kind::Replay;
    else {
        if (error)
            *error = QStringLiteral("unknown position source \"%1\"").arg(spec);
        return std::nullopt;
    }
    if (path.isEmpty()) {
        if (error)
            *error = QStringLiteral("position source \"%1\" needs a path").arg(scheme);
        return std::nullopt;
    }
    config.path = path;
    return config;
}

QString LocationSourceConfig::toString() const {
    switch (kind) {
    case Kind::None: return QStringLiteral("none");
    case Kind::Platform: return QStringLiteral("platform");
    case Kind::NmeaSerial: return QStringLiteral("nmea:") + path;
    case Kind::NmeaFile: return QStringLiteral("nmea-file:") + path;
    case Kind::Replay: return QStringLiteral("replay:") + path;
    }
    return {};
}
