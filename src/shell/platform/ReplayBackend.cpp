#include "ReplayBackend.h"

#include <QFile>
#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

namespace {
constexpr qint64 kLoopGapMs = 1000;
}

ReplayBackend::ReplayBackend(zl::Clock* clock, QObject* parent) : LocationBackend(parent), clock_(clock) {}

ReplayBackend::~ReplayBackend() {
    if (timerPending_)
        clock_->cancel(timer_);
    if (loader_)
        loader_->waitForFinished();  // the worker only reads one file
}

void ReplayBackend::load(const QString& path) {
    if (!loader_) {
        loader_ = new QFutureWatcher<std::pair<std::optional<ReplayTrack>, QString>>(this);
        connect(loader_, &QFutureWatcherBase::finished, this, [this] {
            auto [track, error] = loader_->result();
            if (!track) {
                qWarning("Replay not loaded: %s", qPrintable(error));
                emit loaded(false, error);
                return;
            }
            setTrack(std::move(*track));
            emit loaded(true, QString());
        });
    }
    loader_->setFuture(QtConcurrent::run([path]() -> std::pair<std::optional<ReplayTrack>, QString> {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return {std::nullopt, QStringLiteral("cannot open %1: %2").arg(path, file.errorString())};
        QString error;
        auto track = ReplayTrack::parse(file.readAll(), &error);
        return {std::move(track), QStringLiteral("%1: %2").arg(path, error)};
    }));
}

void ReplayBackend::setTrack(ReplayTrack track) {
    const bool wasPlaying = playing_;
    if (timerPending_) {
        clock_->cancel(timer_);
        timerPending_ = false;
    }
    playing_ = false;
    track_ = std::move(track);
    if (wasPlaying || positionsWanted_ || headingsWanted_)
        update();
}

void ReplayBackend::setPositionsWanted(bool wanted) {
    positionsWanted_ = wanted;
    update();
}

void ReplayBackend::setHeadingsWanted(bool wanted) {
    headingsWanted_ = wanted;
    update();
}

void ReplayBackend::update() {
    const bool wanted = positionsWanted_ || headingsWanted_;
    if (wanted && !playing_ && track_) {
        playing_ = true;
        base_ = clock_->now();
        cycleShiftMs_ = 0;
        next_ = 0;
        scheduleNext();
    } else if (!wanted && playing_) {
        playing_ = false;
        if (timerPending_) {
            clock_->cancel(timer_);
            timerPending_ = false;
        }
    }
}

void ReplayBackend::scheduleNext() {
    if (next_ >= track_->events.size()) {
        if (!track_->loop || track_->events.empty()) {
            playing_ = false;
            emit finished();
            return;
        }
        const qint64 cycle = track_->durationMs() + kLoopGapMs;
        base_ = base_.addMSecs(cycle);
        cycleShiftMs_ += cycle;
        next_ = 0;
    }
    const QDateTime due = base_.addMSecs(track_->events[next_].offsetMs);
    timerPending_ = true;
    timer_ = clock_->schedule(std::max<qint64>(0, clock_->now().msecsTo(due)), this, [this] {
        timerPending_ = false;
        fireStep();
    });
}

QDateTime ReplayBackend::timestampFor(qint64 offsetMs) const {
    if (track_->start)
        return track_->start->addMSecs(cycleShiftMs_ + offsetMs);
    return clock_->now();
}

void ReplayBackend::fireStep() {
    const qint64 offset = track_->events[next_].offsetMs;
    QList<CLLocation> batch;
    auto flush = [&] {
        if (!batch.isEmpty() && positionsWanted_)
            emit locationsUpdated(batch);
        batch.clear();
    };
    // Handlers may stop playback; take the whole step before emitting.
    std::vector<ReplayTrack::Event> step;
    while (next_ < track_->events.size() && track_->events[next_].offsetMs == offset)
        step.push_back(track_->events[next_++]);
    const QDateTime when = timestampFor(offset);
    QPointer<ReplayBackend> self(this);
    for (const auto& ev : step) {
        if (ev.isHeading) {
            flush();
            if (headingsWanted_)
                emit magneticHeadingUpdated(ev.magneticHeading, ev.headingAccuracy, when);
        } else {
            CLLocation loc = ev.location;
            loc.timestamp = when;
            batch.append(loc);
        }
        if (!self)
            return;
    }
    flush();
    if (self && playing_ && !timerPending_)  // a handler may have restarted it
        scheduleNext();
}
