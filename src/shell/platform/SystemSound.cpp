#include "SystemSound.h"

#include <QAudioDevice>
#include <QMediaDevices>
#include <QSoundEffect>
#include <QUrl>

QtSoundPlayer::QtSoundPlayer(QObject* parent) : QObject(parent) {
    hasOutput_ = !QMediaDevices::audioOutputs().isEmpty();
    if (!hasOutput_)
        qInfo("No audio output on this machine; system sounds are silent");
}

QtSoundPlayer::~QtSoundPlayer() = default;

QString QtSoundPlayer::resourceFor(int soundId) {
    switch (soundId) {
    case SystemSound::kLongPress: return QStringLiteral("qrc:/sounds/1520.wav");
    case SystemSound::kOutsideSector: return QStringLiteral("qrc:/sounds/1302.wav");
    default: return {};
    }
}

void QtSoundPlayer::play(int soundId) {
    if (!hasOutput_)
        return;
    const QString resource = resourceFor(soundId);
    if (resource.isEmpty())
        return;
    QSoundEffect*& effect = effects_[soundId];
    if (!effect) {
        // Loaded once; Qt decodes the file off the GUI thread and plays it
        // as soon as it is ready.
        effect = new QSoundEffect(this);
        effect->setSource(QUrl(resource));
    }
    effect->play();
}

namespace {
std::shared_ptr<SoundPlayer>& currentPlayer() {
    static std::shared_ptr<SoundPlayer> player;
    return player;
}
}  // namespace

void SystemSound::play(int soundId) {
    player()->play(soundId);
}

void SystemSound::setPlayer(std::shared_ptr<SoundPlayer> player) {
    currentPlayer() = std::move(player);
}

std::shared_ptr<SoundPlayer> SystemSound::player() {
    auto& p = currentPlayer();
    if (!p)
        p = std::make_shared<QtSoundPlayer>();
    return p;
}
