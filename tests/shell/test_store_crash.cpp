// A process killed amid a run of writes leaves stores that open with every write it had finished.

#include "store/Entities.h"
#include "store/Realm.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdio>

namespace {

// In the child: write until killed, printing the count of finished writes.
[[noreturn]] void writeForever(const QString& dir) {
    NSPersistentContainer container("Zenloft", dir);
    QString err;
    if (!container.loadPersistentStores(&err)) std::_Exit(3);
    RealmConfiguration realm(QDir(dir).filePath("default.realm"));
    for (int i = 1;; ++i) {
        auto* a = container.viewContext()->insertNewObject<Azimuth>();
        a->setId(QString::number(i));
        a->setAzimuth(i);
        a->setDesc(QString(200, QLatin1Char('x')));
        container.viewContext()->save(&err);
        realmValidation_tracksData::addTrackPoint(realm, "T", i, i);
        container.viewContext()->flush();
        realm.flush();
        std::printf("%d\n", i);
        std::fflush(stdout);
    }
}

}  // namespace

TEST(StoreCrash, KilledWriterLeavesEveryFinishedWrite) {
    const QString childDir = qEnvironmentVariable("ZENLOFT_CRASH_CHILD");
    if (!childDir.isEmpty()) writeForever(childDir);

    QTemporaryDir dir;
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("ZENLOFT_CRASH_CHILD", dir.path());
    child.setProcessEnvironment(env);
    child.start(QCoreApplication::applicationFilePath(), {"--gtest_filter=StoreCrash.*"});
    ASSERT_TRUE(child.waitForStarted());
    int finished = 0;
    QByteArray pending;
    while (finished < 60 && child.waitForReadyRead(10000)) {
        pending += child.readAllStandardOutput();
        while (pending.contains('\n')) {
            const int nl = int(pending.indexOf('\n'));
            finished = pending.left(nl).toInt();
            pending.remove(0, nl + 1);
        }
    }
    ASSERT_GE(finished, 60) << "the child didn't write";
    child.kill();  // SIGKILL
    child.waitForFinished();

    NSPersistentContainer container("Zenloft", dir.path());
    QString err;
    ASSERT_TRUE(container.loadPersistentStores(&err)) << err.toStdString();
    const auto all = container.viewContext()->fetchAll<Azimuth>(&err);
    ASSERT_GE(all.size(), finished);
    for (int i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i]->id(), QString::number(i + 1)) << "writes arrive whole and in order";
        EXPECT_EQ(all[i]->desc().size(), 200);
    }
    RealmConfiguration realm(QDir(dir.path()).filePath("default.realm"));
    EXPECT_GE(realmValidation_tracksData::pointsOfTrack(realm, "T").size(), finished);
}
