#pragma once

#include <QObject>

#include <map>
#include <memory>

class QSoundEffect;

// Plays one of the system's short sounds by number.
class SoundPlayer {
public:
    virtual ~SoundPlayer() = default;
    virtual void play(int soundId) = 0;
};

// The bundled sounds through Qt Multimedia. On a machine without an audio
// output it stays silent and says so once in the log.
class QtSoundPlayer : public QObject, public SoundPlayer {
public:
    explicit QtSoundPlayer(QObject* parent = nullptr);
    ~QtSoundPlayer() override;

    void play(int soundId) override;
    bool hasAudioOutput() const { return hasOutput_; }

    // Resource of a known sound, or empty for an unknown id.
    static QString resourceFor(int soundId);

private:
    bool hasOutput_ = false;
    std::map<int, QSoundEffect*> effects_;
};

// The system sounds the screens use:
//   1520  long press on a map (a short tick)
//   1302  outside every active sector (a short beep)
// Other numbers play nothing. Call from the GUI thread.
class SystemSound {
public:
    static constexpr int kLongPress = 1520;
    static constexpr int kOutsideSector = 1302;

    static void play(int soundId);
    // Replaces the player (tests put a recorder here); nullptr goes back to
    // the Qt Multimedia player, built on first use.
    static void setPlayer(std::shared_ptr<SoundPlayer> player);
    static std::shared_ptr<SoundPlayer> player();
};

// Spelled as the platform spells it, for the screens that call it so.
inline void AudioServicesPlaySystemSound(int soundId) {
    SystemSound::play(soundId);
}
