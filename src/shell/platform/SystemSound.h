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
// Other numbers play nothing. Play them through the player the screen was
// handed, from the GUI thread.
namespace SystemSound {
inline constexpr int kLongPress = 1520;
inline constexpr int kOutsideSector = 1302;
}  // namespace SystemSound
