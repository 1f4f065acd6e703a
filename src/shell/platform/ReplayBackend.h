#pragma once

#include "Clock.h"
#include "LocationBackend.h"
#include "ReplayTrack.h"

#include <QFutureWatcher>

#include <optional>

// Plays a ReplayTrack on a Clock: fixes and magnetic headings at their
// offsets from the moment playback starts. Playback runs while positions or
// headings are wanted, and starts from the beginning each time it starts.
// With "loop" the run starts over one second after its last event.
class ReplayBackend : public LocationBackend {
    Q_OBJECT
public:
    explicit ReplayBackend(zl::Clock* clock, QObject* parent = nullptr);
    ~ReplayBackend() override;

    // Reads and parses the file on a worker thread; loaded() tells the end.
    void load(const QString& path);
    void setTrack(ReplayTrack track);
    bool hasTrack() const { return track_.has_value(); }
    bool isPlaying() const { return playing_; }

    bool providesPositions() const override { return true; }
    bool providesHeadings() const override { return true; }
    void setPositionsWanted(bool wanted) override;
    void setHeadingsWanted(bool wanted) override;

signals:
    void loaded(bool ok, const QString& error);
    void finished();  // the last event of a run without loop has played

private:
    void update();
    void scheduleNext();
    void fireStep();
    QDateTime timestampFor(qint64 offsetMs) const;

    zl::Clock* clock_;
    std::optional<ReplayTrack> track_;
    QFutureWatcher<std::pair<std::optional<ReplayTrack>, QString>>* loader_ = nullptr;
    bool positionsWanted_ = false;
    bool headingsWanted_ = false;
    bool playing_ = false;
    bool timerPending_ = false;
    zl::Clock::Handle timer_ = 0;
    QDateTime base_;        // clock time of offset 0 of the current cycle
    qint64 cycleShiftMs_ = 0;  // offset of the current cycle from the first
    size_t next_ = 0;
};
