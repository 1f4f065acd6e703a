#include "SystemSound.h"
#include "testsupport.h"

#include <QCoreApplication>
#include <QFile>

#include <gtest/gtest.h>

TEST(SystemSound, BundledSoundsAreSmallPcmWaves) {
    for (int id : {1520, 1302}) {
        const QString resource = QtSoundPlayer::resourceFor(id);
        ASSERT_FALSE(resource.isEmpty());
        QFile file(resource.mid(3));  // "qrc:/..." -> ":/..."
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(resource);
        const QByteArray wav = file.readAll();
        EXPECT_TRUE(wav.size() > 44 && wav.size() < 64 * 1024) << wav.size();
        // RIFF, WAVE and PCM.
        EXPECT_EQ(wav.left(4) + wav.mid(8, 4) + wav.mid(20, 2), QByteArray("RIFFWAVE\x01\x00", 10));
    }
    EXPECT_TRUE(QtSoundPlayer::resourceFor(1000).isEmpty());
}

TEST(SystemSound, RealPlayerPlaysOrStaysSilentWithoutErrors) {
    zltest::LogCapture log;
    QtSoundPlayer player;
    player.play(SystemSound::kLongPress);
    player.play(SystemSound::kOutsideSector);
    player.play(SystemSound::kOutsideSector);
    player.play(7);
    QCoreApplication::processEvents();
    if (!player.hasAudioOutput()) {
        EXPECT_EQ(log.messages().filter("system sounds are silent").size(), 1);
        EXPECT_TRUE(log.warnings().isEmpty()) << qPrintable(log.warnings().join('\n'));
    }
}
