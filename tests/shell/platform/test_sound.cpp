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
        ASSERT_GT(wav.size(), 44);
        EXPECT_LT(wav.size(), 64 * 1024);
        EXPECT_EQ(wav.left(4), "RIFF");
        EXPECT_EQ(wav.mid(8, 4), "WAVE");
        EXPECT_EQ(wav.mid(20, 2), QByteArray("\x01\x00", 2));  // PCM
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
