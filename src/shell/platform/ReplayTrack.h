#pragma once

#include "CLLocation.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

// A recorded run of fixes and compass readings, for demos and tests.
//
// File format (JSON, UTF-8):
//
//   {
//     "format": "zenloft-replay",
//     "version": 1,
//     "start": "2026-05-04T09:30:00Z",   optional; see below
//     "loop": false,                     optional; start over at the end
//     "events": [
//       {"t": 0.0, "type": "location", "lat": 52.2297, "lon": 21.0122,
//        "alt": 110.0, "hacc": 4.0, "vacc": 6.0, "speed": 1.3, "course": 87.0},
//       {"t": 0.5, "type": "heading", "magnetic": 41.0, "accuracy": 5.0}
//     ]
//   }
//
// "t" is seconds from the start of the run. A fix's timestamp is "start" + t
// when the file has a start, and otherwise the time at which it is played.
// Only "t", "type", and "lat"/"lon" or "magnetic" are required; missing
// accuracies, speed and course mean "not known" (-1). Fixes that share one
// "t" arrive as one batch. Events may be listed in any order; they play
// sorted by "t".
struct ReplayTrack {
    struct Event {
        qint64 offsetMs = 0;
        bool isHeading = false;
        CLLocation location;  // timestamp left empty, filled in when played
        double magneticHeading = 0.0;
        double headingAccuracy = -1.0;
    };

    std::optional<QDateTime> start;
    bool loop = false;
    std::vector<Event> events;  // sorted by offsetMs, stable

    qint64 durationMs() const { return events.empty() ? 0 : events.back().offsetMs; }

    static std::optional<ReplayTrack> parse(const QByteArray& json, QString* error = nullptr);
};
