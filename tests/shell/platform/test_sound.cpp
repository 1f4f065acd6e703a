#include "SystemSound.h"
#include "testsupport.h"

#include <QCoreApplication>
#include <QFile>

#include <gtest/gtest.h>

namespace {

class RecordingPlayer : public SoundPlayer {
public:
    void play(int soundId) override { played.push_back(soundId); }
    std::vector<int> played;
};

// Restores the real player after each test.
class SystemSoundTest : public ::testing::Test {
protected:
    void TearDown() override { SystemSound::setPlayer(nullptr); }
};

}  // namespace

TEST_F(SystemSoundTest, FakePlayerRecordsTheIds) {
    auto fake = std::make_shared<RecordingPlayer>();
    SystemSound::setPlayer(fake);
    SystemSound::play(SystemSound::kLongPress);
    AudioServicesPlaySystemSound(1302);
    SystemSound::play(4095);
    EXPECT_EQ(fake->played, (std::vector<int>{1520, 1302, 4095}));
}

TEST_F(SystemSoundTest, BundledSoundsAreSmallPcmWaves) {
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

TEST_F(SystemSoundTest, RealPlayerPlaysOrStaysSilentWithoutErrors) {
    zltest::LogCapture log;
    SystemSound::setPlayer(nullptr);
    auto player = SystemSound::player();
    ASSERT_NE(player, nullptr);
    SystemSound::play(1520);
    SystemSound::play(1302);
    SystemSound::play(1302);
    SystemSound::play(7);
    QCoreApplication::processEvents();
    auto* qt = dynamic_cast<QtSoundPlayer*>(player.get());
    ASSERT_NE(qt, nullptr);
    if (!qt->hasAudioOutput()) {
        EXPECT_EQ(log.messages().filter("system sounds are silent").size(), 1);
        EXPECT_TRUE(log.warnings().isEmpty()) << qPrintable(log.warnings().join('\n'));
    }
    EXPECT_EQ(SystemSound::player(), player);  // built once
}
