#pragma once

#include <QString>

#include <optional>

// Where positions (and, for a replay, headings) come from, written as one
// short text so that it can sit in a setting or on a command line:
//
//   "none"                    no positions at all
//   "platform"                the system's default positioning source
//   "nmea:/dev/ttyUSB0"       an NMEA receiver on a serial port
//   "nmea-file:/path/run.nmea"  a recorded NMEA log, played at its own pace
//   "replay:/path/run.json"   a recorded run of positions and headings
//
// Headings come from the replay when the source is one, and otherwise from
// the device's compass when it has one.
struct LocationSourceConfig {
    enum class Kind { None, Platform, NmeaSerial, NmeaFile, Replay };

    Kind kind = Kind::None;
    QString path;  // device or file, for the kinds that take one

    // Returns no config, and sets *error, for an unknown kind or a kind that
    // lacks its path.
    static std::optional<LocationSourceConfig> parse(const QString& text, QString* error = nullptr);
    QString toString() const;

    friend bool operator==(const LocationSourceConfig&, const LocationSourceConfig&) = default;
};
