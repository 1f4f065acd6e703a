#include "SettingsFile.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

// Two objects over one file, as the app's settings and the map engine's
// identity keys are: each write is on disk at once and seen by the other.
TEST(SettingsFile, WritesGoThroughAndEveryReaderOfTheFileSeesThem) {
    QTemporaryDir dir;
    const QString path = dir.filePath("settings.ini");
    zl::SettingsFile app(path), engine(path);
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t)
        writers.emplace_back([&, t] {
            for (int i = 0; i < 10; ++i) app.setValue(QStringLiteral("k%1_%2").arg(t).arg(i), i);
        });
    for (auto& w : writers) w.join();
    engine.setValue("identity", "abc");
    for (int t = 0; t < 4; ++t) EXPECT_EQ(engine.value(QStringLiteral("k%1_9").arg(t)).toInt(), 9);
    EXPECT_EQ(app.value("identity").toString(), "abc");

    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray onDisk = f.readAll();
    EXPECT_TRUE(onDisk.contains("identity=abc")) << onDisk.toStdString();
    EXPECT_TRUE(onDisk.contains("k3_9=9"));

    engine.setValue("identity", QVariant());  // an invalid value removes the key
    app.remove("k0_0");
    EXPECT_EQ(std::tuple(app.value("identity").isValid(), engine.value("k0_0").isValid(), app.sync(), app.fileName()),
              std::tuple(false, false, true, path));
}
