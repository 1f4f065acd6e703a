#pragma once

#include <QHash>
#include <QObject>
#include <QRecursiveMutex>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class GMSDisplayLink;

// One who wants frames. The wish is a rate in frames a second; a change of
// it must be announced with preferredFrameRateDidChange().
class GMSDisplayLinkClient {
public:
    virtual ~GMSDisplayLinkClient();
    virtual unsigned preferredFrameRate() const = 0;
    virtual void displayLinkFired(GMSDisplayLink* link) = 0;

protected:
    void preferredFrameRateDidChange();

private:
    friend class GMSDisplayLink;
    std::vector<GMSDisplayLink*> observers_;
};

// The platform side: a periodic tick that can be paused and that belongs to
// a set of run-loop modes. It fires only while unpaused and in at least one
// mode. Tests substitute a fake to count and fire ticks by hand.
class GMSFrameTimer {
public:
    virtual ~GMSFrameTimer() = default;
    virtual void setPreferredFramesPerSecond(std::uint64_t fps) = 0;
    virtual void setPaused(bool paused) = 0;
    virtual void addToMode(const QString& mode) = 0;
    virtual void removeFromMode(const QString& mode) = 0;
    virtual void invalidate() = 0;
    // Time of the last tick and of the next one, seconds.
    virtual double timestamp() const = 0;
    virtual double targetTimestamp() const = 0;

    std::function<void()> fired;
};

using GMSFrameTimerFactory = std::function<std::unique_ptr<GMSFrameTimer>()>;

// The engine's heartbeat, shared by every client on one screen. The timer
// runs at the least common multiple of the clients' wishes and exists only
// while there is a client; each client is called on its share of the ticks.
class GMSDisplayLink : public QObject {
    Q_OBJECT
public:
    static inline const QString kCommonModes = QStringLiteral("NSRunLoopCommonModes");

    // The timer and its changes live on this object's thread (the thread it
    // is created on, or moved to). Without a factory a QTimer is used.
    explicit GMSDisplayLink(GMSFrameTimerFactory timerFactory = {}, QObject* parent = nullptr);
    ~GMSDisplayLink() override;

    void addClient(GMSDisplayLinkClient* client);
    void addClient(GMSDisplayLinkClient* client, const QStringList& runLoopModes);
    void removeClient(GMSDisplayLinkClient* client);

    double timestamp() const;
    double targetTimestamp() const;

    std::uint64_t frameRate() const { return frameRate_; }
    std::uint64_t frameNumber() const { return frameNumber_; }
    bool hasTimer() const { return timer_ != nullptr; }
    bool isInstalled() const { return installed_; }
    int clientCount() const;
    int modeRefcount(const QString& mode) const;

    // The timer's action; public so a fake timer's owner can drive it.
    void displayLinkFired();

private:
    friend class GMSDisplayLinkClient;
    struct Entry {
        GMSDisplayLinkClient* client;
        QStringList modes;
    };

    void updateFrameRate();
    void setFrameRate(std::uint64_t rate);
    void setUpDisplayLink();
    void tearDownDisplayLink();
    void addToRunLoop();
    void installInRunLoop();
    void forgetClient(GMSDisplayLinkClient* client);

    std::vector<Entry> clients_;
    QHash<QString, int> modeRefcounts_;
    bool hasRunLoop_ = false;
    bool installed_ = false;
    mutable QRecursiveMutex clientsLock_;
    std::unique_ptr<GMSFrameTimer> timer_;
    std::uint64_t frameRate_ = 0;
    std::uint64_t frameNumber_ = 0;
    GMSFrameTimerFactory factory_;
};
