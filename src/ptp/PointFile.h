#pragma once

#include "store/Realm.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>

// The point file: {"markers": [...]}, one object per stored point. Files move
// between installations, so the text written here keeps the exchanged layout
// byte for byte (every value a text, a blank before the colon of the three
// colour keys), except that texts are escaped so that every file written
// reads back. The reader takes what other installations write.
namespace PointFile {

// Called with the count of records so far and the total.
using Progress = std::function<void(qsizetype done, qsizetype total)>;

// The text of an export of the points, in their order. `progress` hears of
// every tenth record.
QByteArray exportText(const QList<realm_ptp>& points, const Progress& progress = {});

// Reads a file's bytes into points (without ids). Values are read leniently:
// a number written as a text is that number, a member that is missing or of
// another kind reads as the empty text or 0, unknown members are ignored
// (so the validation area's marker files read too), and a file without the
// array "markers" holds no points. Returns nothing, with a short reason, for
// a text that isn't JSON or a colour too large to keep; also when `stop`
// becomes true while reading.
std::optional<QList<realm_ptp>> parse(const QByteArray& bytes, QString* error,
                                      const std::atomic<bool>* stop = nullptr);

// Where a worker reading or writing a point file stands: the worker sets
// it as it goes, the screen reads it when woken, and may ask it to stop.
class Job {
public:
    struct State {
        QString phase;
        qsizetype done = 0;
        qsizetype total = 0;  // 0 while the amount of work isn't known
    };
    void set(const QString& phase, qsizetype done = 0, qsizetype total = 0) {
        std::lock_guard lock(mutex_);
        state_ = {phase, done, total};
    }
    State state() const {
        std::lock_guard lock(mutex_);
        return state_;
    }
    std::atomic<bool> cancelled{false};

private:
    mutable std::mutex mutex_;
    State state_;
};

}  // namespace PointFile
