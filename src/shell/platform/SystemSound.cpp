#include "SystemSound.h"

#include <QAudioDevice>
#include <QFileInfo>
#include <QMediaDevices>
#include <QSoundEffect>
#include <QThread>
#include <QUrl>

#include <unistd.h>

namespace {

// Qt Multimedia reaches the speakers through the sound server; asking it for
// devices where none runs only produces connection warnings. So look for
// the server's socket first.
bool soundServerPresent() {
    if (!qEnvironmentVariableIsEmpty("PULSE_SERVER"))
        return true;
    QStringList sockets;
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty())
        sockets << runtime + QStringLiteral("/pulse/native");
    sockets << QStringLiteral("/run/user/%1/pulse/native").arg(::getuid())
            << QStringLiteral("/run/pulse/native") << QStringLiteral("/var/run/pulse/native");
    for (const QString& socket : sockets)
        if (QFileInfo::exists(socket))
            return true;
    return false;
}

}  // namespace

QtSoundPlayer::QtSoundPlayer(QObject* parent) : QObject(parent) {
    hasOutput_ = soundServerPresent() && !QMediaDevices::audioOutputs().isEmpty();
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
    if (QThread::currentThread() != thread()) {  // the effects belong to the GUI thread
        QMetaObject::invokeMethod(this, [this, soundId] { play(soundId); }, Qt::QueuedConnection);
        return;
    }
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
