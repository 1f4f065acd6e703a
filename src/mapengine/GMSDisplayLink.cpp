#include "GMSDisplayLink.h"

#include <QElapsedTimer>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <numeric>

namespace {

// The tick of a screen without a display link: a precise QTimer.
class QtFrameTimer : public GMSFrameTimer {
public:
    QtFrameTimer() {
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            last_ = clock_.nsecsElapsed() * 1e-9;
            if (fired) fired();
        });
        clock_.start();
    }
    void setPreferredFramesPerSecond(std::uint64_t fps) override {
        fps_ = std::max<std::uint64_t>(fps, 1);
        timer_.setInterval(std::chrono::milliseconds(1000 / fps_));
        refresh();
    }
    void setPaused(bool paused) override {
        paused_ = paused;
        refresh();
    }
    void addToMode(const QString& mode) override {
        modes_ += mode;
        refresh();
    }
    void removeFromMode(const QString& mode) override {
        modes_.removeAll(mode);
        refresh();
    }
    void invalidate() override {
        timer_.stop();
        modes_.clear();
    }
    double timestamp() const override { return last_; }
    double targetTimestamp() const override { return last_ + 1.0 / double(fps_); }

private:
    void refresh() {
        const bool run = !paused_ && !modes_.isEmpty();
        if (run && !timer_.isActive()) timer_.start();
        if (!run && timer_.isActive()) timer_.stop();
    }
    QTimer timer_;
    QElapsedTimer clock_;
    QStringList modes_;
    bool paused_ = true;
    std::uint64_t fps_ = 60;
    double last_ = 0.0;
};

}  // namespace

GMSDisplayLinkClient::~GMSDisplayLinkClient() {
    const auto links = observers_;
    for (GMSDisplayLink* link : links) link->removeClient(this);
}

void GMSDisplayLinkClient::preferredFrameRateDidChange() {
    const auto links = observers_;
    for (GMSDisplayLink* link : links) link->updateFrameRate();
}

GMSDisplayLink::GMSDisplayLink(GMSFrameTimerFactory timerFactory, QObject* parent)
    : QObject(parent), factory_(std::move(timerFactory)) {
    if (!factory_) factory_ = [] { return std::make_unique<QtFrameTimer>(); };
}

GMSDisplayLink::~GMSDisplayLink() {
    QMutexLocker lock(&clientsLock_);
    for (const Entry& e : clients_) forgetClient(e.client);
    clients_.clear();
    if (timer_) timer_->invalidate();
}

void GMSDisplayLink::forgetClient(GMSDisplayLinkClient* client) {
    auto& obs = client->observers_;
    obs.erase(std::remove(obs.begin(), obs.end(), this), obs.end());
}

void GMSDisplayLink::addClient(GMSDisplayLinkClient* client) { addClient(client, {kCommonModes}); }

void GMSDisplayLink::addClient(GMSDisplayLinkClient* client, const QStringList& runLoopModes) {
    if (!client) return;
    {
        QMutexLocker lock(&clientsLock_);
        for (const Entry& e : clients_)
            if (e.client == client) return;
        clients_.push_back({client, runLoopModes});
        for (const QString& mode : runLoopModes) {
            const int count = modeRefcounts_.value(mode, 0);
            if (count == 0 && timer_ && hasRunLoop_) timer_->addToMode(mode);
            modeRefcounts_[mode] = count + 1;
        }
        client->observers_.push_back(this);
    }
    updateFrameRate();
}

void GMSDisplayLink::removeClient(GMSDisplayLinkClient* client) {
    {
        QMutexLocker lock(&clientsLock_);
        auto it = std::find_if(clients_.begin(), clients_.end(), [&](const Entry& e) { return e.client == client; });
        if (it != clients_.end()) {
            for (const QString& mode : it->modes) {
                const int count = modeRefcounts_.value(mode, 0);
                if (count < 2) {
                    if (timer_ && hasRunLoop_) timer_->removeFromMode(mode);
                    modeRefcounts_.remove(mode);
                } else {
                    modeRefcounts_[mode] = count - 1;
                }
            }
            clients_.erase(it);
            forgetClient(client);
        }
    }
    updateFrameRate();
}

int GMSDisplayLink::clientCount() const {
    QMutexLocker lock(&clientsLock_);
    return int(clients_.size());
}

int GMSDisplayLink::modeRefcount(const QString& mode) const {
    QMutexLocker lock(&clientsLock_);
    return modeRefcounts_.value(mode, 0);
}

void GMSDisplayLink::updateFrameRate() {
    std::uint64_t rate = 0;
    {
        QMutexLocker lock(&clientsLock_);
        if (!clients_.empty()) {
            rate = 1;
            for (const Entry& e : clients_) {
                std::uint64_t r = e.client->preferredFrameRate();
                // Only divisors of 60 are honoured; any other wish counts as 30.
                if (r == 0 || 60 % r != 0) r = 30;
                rate = std::lcm(rate, r);
            }
        }
    }
    if (QThread::currentThread() == thread()) {
        setFrameRate(rate);
    } else {
        QMetaObject::invokeMethod(this, [this, rate] { setFrameRate(rate); }, Qt::QueuedConnection);
    }
}

void GMSDisplayLink::setFrameRate(std::uint64_t rate) {
    frameRate_ = rate;
    if (rate > 0) {
        if (timer_)
            timer_->setPreferredFramesPerSecond(rate);
        else
            setUpDisplayLink();
    } else if (timer_) {
        tearDownDisplayLink();
    }
}

void GMSDisplayLink::setUpDisplayLink() {
    timer_ = factory_();
    timer_->fired = [this] { displayLinkFired(); };
    timer_->setPreferredFramesPerSecond(frameRate_);
    timer_->setPaused(false);
    addToRunLoop();
}

void GMSDisplayLink::addToRunLoop() {
    // The run loop of a Qt thread is its event loop, known as soon as we run on it.
    hasRunLoop_ = true;
    installInRunLoop();
}

void GMSDisplayLink::installInRunLoop() {
    if (installed_ || !timer_ || !hasRunLoop_) return;
    QMutexLocker lock(&clientsLock_);
    for (auto it = modeRefcounts_.cbegin(); it != modeRefcounts_.cend(); ++it) timer_->addToMode(it.key());
    installed_ = true;
}

void GMSDisplayLink::tearDownDisplayLink() {
    timer_->setPaused(true);
    if (hasRunLoop_) {
        QMutexLocker lock(&clientsLock_);
        for (auto it = modeRefcounts_.cbegin(); it != modeRefcounts_.cend(); ++it) timer_->removeFromMode(it.key());
        installed_ = false;
    }
    timer_->invalidate();
    timer_.reset();
}

double GMSDisplayLink::timestamp() const { return timer_ ? timer_->timestamp() : 0.0; }

double GMSDisplayLink::targetTimestamp() const { return timer_ ? timer_->targetTimestamp() : 0.0; }

void GMSDisplayLink::displayLinkFired() {
    {
        QMutexLocker lock(&clientsLock_);
        const std::vector<Entry> entries = clients_;
        for (const Entry& e : entries) {
            // A client may have left during an earlier call of this tick.
            bool present = std::any_of(clients_.begin(), clients_.end(),
                                       [&](const Entry& c) { return c.client == e.client; });
            if (!present) continue;
            const unsigned wish = e.client->preferredFrameRate();
            const std::uint64_t d = wish == 0 ? 0 : frameRate_ / wish;
            const bool due = d == 0 ? frameNumber_ == 0 : frameNumber_ % d == 0;
            if (due) e.client->displayLinkFired(this);
        }
    }
    ++frameNumber_;
}
