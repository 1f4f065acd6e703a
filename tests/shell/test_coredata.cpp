// The "Zenloft" store: every operation the screens use, store order,
// reopening, and a file that can't be opened.

#include "SqliteConnection.h"
#include "SqliteFaults.h"
#include "store/Entities.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

struct Store {
    explicit Store(const QString& dir) : container("Zenloft", dir) { loaded = container.loadPersistentStores(&error); }
    NSManagedObjectContext* ctx() { return container.viewContext(); }
    NSPersistentContainer container;
    bool loaded = false;
    QString error;
};

Azimuth* addAzimuth(NSManagedObjectContext* ctx, const QString& id, double bearing) {
    auto* a = ctx->insertNewObject<Azimuth>();
    a->setId(id);
    a->setAzimuth(bearing);
    a->setDistance(1.5);
    a->setColorRed(255);
    a->setIsActive(true);
    return a;
}

}  // namespace

TEST(CoreDataStore, InsertSaveReopenKeepsValuesTypesAndStoreOrder) {
    QTemporaryDir dir;
    {
        Store s(dir.path());
        ASSERT_TRUE(s.loaded) << s.error.toStdString();
        for (int i = 0; i < 5; ++i) addAzimuth(s.ctx(), QStringLiteral("ID-%1").arg(i), i * 10.0);
        auto* m = s.ctx()->insertNewObject<Marker>();
        m->setName(QStringLiteral("mast \"A\" ✓"));
        m->setLatitude(52.25);
        m->setLongitude(-0.125);
        EXPECT_TRUE(s.ctx()->hasChanges());
        QString err;
        ASSERT_TRUE(s.ctx()->save(&err)) << err.toStdString();
        EXPECT_FALSE(s.ctx()->hasChanges());
        EXPECT_TRUE(s.ctx()->flush());
    }
    EXPECT_TRUE(QFile::exists(QDir(dir.path()).filePath("Zenloft.sqlite")));
    Store s(dir.path());
    ASSERT_TRUE(s.loaded);
    QString err;
    const auto all = s.ctx()->fetchAll<Azimuth>(&err);
    ASSERT_EQ(all.size(), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(all[i]->id(), QStringLiteral("ID-%1").arg(i));
        EXPECT_DOUBLE_EQ(all[i]->azimuth(), i * 10.0);
        EXPECT_DOUBLE_EQ(all[i]->distance(), 1.5);
        EXPECT_EQ(all[i]->colorRed(), 255);
        EXPECT_EQ(all[i]->colorGreen(), 0);
        EXPECT_TRUE(all[i]->isActive());
        EXPECT_TRUE(all[i]->desc().isNull()) << "a description never set stays absent";
    }
    const auto markers = s.ctx()->fetchAll<Marker>(&err);
    ASSERT_EQ(markers.size(), 1);
    EXPECT_EQ(markers[0]->name(), QStringLiteral("mast \"A\" ✓"));
    EXPECT_DOUBLE_EQ(markers[0]->longitude(), -0.125);
    EXPECT_FALSE(markers[0]->isActive()) << "an unset Boolean reads false";
}

TEST(CoreDataStore, FetchByIdWithLimitAndDuplicates) {
    QTemporaryDir dir;
    Store s(dir.path());
    addAzimuth(s.ctx(), "A", 1);
    addAzimuth(s.ctx(), "B", 2);
    addAzimuth(s.ctx(), "A", 3);
    QString err;
    NSFetchRequest one(Azimuth::entityName());
    one.predicate = NSPredicate::predicateWithFormat("id = %@", "A");
    one.fetchLimit = 1;
    auto hits = s.ctx()->fetch<Azimuth>(one, &err);
    ASSERT_EQ(hits.size(), 1);
    EXPECT_DOUBLE_EQ(hits[0]->azimuth(), 1.0) << "the first in store order";
    one.fetchLimit = 0;
    EXPECT_EQ(s.ctx()->fetch<Azimuth>(one, &err).size(), 2);
    one.predicate = NSPredicate::predicateWithFormat("id = %@", "nope");
    EXPECT_TRUE(s.ctx()->fetch<Azimuth>(one, &err).isEmpty());

    NSFetchRequest bad(Azimuth::entityName());
    bad.predicate = NSPredicate::predicateWithFormat("colour = %@", "x");
    err.clear();
    EXPECT_TRUE(s.ctx()->executeFetchRequest(bad, &err).isEmpty());
    EXPECT_FALSE(err.isEmpty());
    err.clear();
    EXPECT_TRUE(s.ctx()->executeFetchRequest(NSFetchRequest("Nothing"), &err).isEmpty());
    EXPECT_FALSE(err.isEmpty());
}

TEST(CoreDataStore, SetValueForKeyCoercesAndRefusesWhatDoesntFit) {
    QTemporaryDir dir;
    Store s(dir.path());
    zltest::LogCapture log;
    auto* a = addAzimuth(s.ctx(), "A", 1);
    EXPECT_TRUE(a->setValue(QVariant(12.75), "azimuth"));
    EXPECT_TRUE(a->setValue(QVariant(QStringLiteral("north")), "desc"));
    EXPECT_TRUE(a->setValue(QVariant(200.9), "colorGreen"));  // an NSNumber for an integer keeps its integer part
    EXPECT_TRUE(a->setValue(QVariant(0), "isActive"));
    EXPECT_EQ(a->azimuth(), 12.75);
    EXPECT_EQ(a->desc(), "north");
    EXPECT_EQ(a->colorGreen(), 200);
    EXPECT_FALSE(a->isActive());
    EXPECT_FALSE(a->setValue(QVariant(QStringLiteral("abc")), "distance"));
    EXPECT_DOUBLE_EQ(a->distance(), 1.5) << "a refused value leaves the old one";
    EXPECT_FALSE(a->setValue(QVariant(1), "colour"));
    EXPECT_EQ(log.warnings().size(), 2);
    EXPECT_EQ(a->valueForKey("desc").toString(), "north");
}

TEST(CoreDataStore, EditAndDeleteAreSavedAndPendingObjectsAreFetched) {
    QTemporaryDir dir;
    QString err;
    {
        Store s(dir.path());
        auto* a = addAzimuth(s.ctx(), "A", 1);
        addAzimuth(s.ctx(), "B", 2);
        auto* c = addAzimuth(s.ctx(), "C", 3);
        // Pending inserts are fetched; a pending deletion isn't.
        EXPECT_EQ(s.ctx()->fetchAll<Azimuth>(&err).size(), 3);
        s.ctx()->deleteObject(c);
        EXPECT_EQ(s.ctx()->fetchAll<Azimuth>(&err).size(), 2);
        ASSERT_TRUE(s.ctx()->save(&err));
        a->setValue(99.0, "azimuth");
        EXPECT_TRUE(s.ctx()->hasChanges());
        ASSERT_TRUE(s.ctx()->save(&err));
        s.ctx()->deleteObject(s.ctx()->fetchAll<Azimuth>(&err).at(1));
        ASSERT_TRUE(s.ctx()->save(&err));
        s.ctx()->flush();
    }
    Store s(dir.path());
    const auto all = s.ctx()->fetchAll<Azimuth>(&err);
    ASSERT_EQ(all.size(), 1);
    EXPECT_EQ(all[0]->id(), "A");
    EXPECT_DOUBLE_EQ(all[0]->azimuth(), 99.0);
    // New objects keep going after the highest stored one.
    addAzimuth(s.ctx(), "D", 4);
    ASSERT_TRUE(s.ctx()->save(&err));
    EXPECT_EQ(s.ctx()->fetchAll<Azimuth>(&err).last()->id(), "D");
}

TEST(CoreDataStore, AllFourEntitiesRoundTrip) {
    QTemporaryDir dir;
    QString err;
    {
        Store s(dir.path());
        auto* sec = s.ctx()->insertNewObject<Sector>();
        sec->setId("S");
        sec->setWidth(65.0);
        sec->setColorAlpha(0.35);
        sec->setDistance(2.0);
        auto* k = s.ctx()->insertNewObject<KmlFile>();
        k->setName("plan.kml");
        k->setIsActive(true);
        ASSERT_TRUE(s.ctx()->save(&err));
    }
    Store s(dir.path());
    auto secs = s.ctx()->fetchAll<Sector>(&err);
    ASSERT_EQ(secs.size(), 1);
    EXPECT_DOUBLE_EQ(secs[0]->width(), 65.0);
    EXPECT_DOUBLE_EQ(secs[0]->colorAlpha(), 0.35);
    auto files = s.ctx()->fetchAll<KmlFile>(&err);
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(files[0]->name(), "plan.kml");
    EXPECT_TRUE(files[0]->isActive());
}

TEST(CoreDataStore, AFileThatIsntAStoreIsLeftAloneAndSavesAreRefused) {
    QTemporaryDir dir;
    const QString path = QDir(dir.path()).filePath("Zenloft.sqlite");
    QByteArray garbage(8192, 'x');
    garbage.prepend("not a database at all\n");
    {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(garbage);
    }
    Store s(dir.path());
    EXPECT_FALSE(s.loaded);
    EXPECT_TRUE(s.error.contains(path)) << "the message names the file: " << s.error.toStdString();
    ASSERT_NE(s.ctx(), nullptr) << "screens still get a context";
    addAzimuth(s.ctx(), "A", 1);
    QString err;
    EXPECT_FALSE(s.ctx()->save(&err));
    EXPECT_FALSE(err.isEmpty());
    EXPECT_TRUE(s.ctx()->hasChanges()) << "the refused changes stay in the context";
    s.ctx()->flush();
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), garbage) << "not a byte of the file changed";
}

TEST(CoreDataStore, AStoreFromANewerVersionIsRefused) {
    QTemporaryDir dir;
    {
        Store s(dir.path());
        ASSERT_TRUE(s.loaded);
    }
    {
        zl::sqlite::Connection db;
        ASSERT_TRUE(db.open(QDir(dir.path()).filePath("Zenloft.sqlite")));
        ASSERT_TRUE(db.setUserVersion(99));
    }
    Store s(dir.path());
    EXPECT_FALSE(s.loaded);
    EXPECT_TRUE(s.error.contains("newer version")) << s.error.toStdString();
}

TEST(CoreDataStore, AWriteThatFailsIsKeptReportedAndWrittenLater) {
    using namespace zl::sqlite::faults;
    install();
    QTemporaryDir dir;
    QString err;
    {
        Store s(dir.path());
        ASSERT_TRUE(s.loaded);
        QStringList failures;
        QObject::connect(s.ctx(), &NSManagedObjectContext::storeWriteFailed,
                         [&](const QString& m) { failures << m; });
        {
            FailingWrites full(Fault::DiskFull);
            addAzimuth(s.ctx(), "A", 1);
            ASSERT_TRUE(s.ctx()->save(&err));
            EXPECT_FALSE(s.ctx()->flush()) << "the batch is still queued";
            ASSERT_TRUE(zltest::waitFor([&] { return !failures.isEmpty(); }));
        }
        EXPECT_TRUE(failures.first().startsWith("could not save: ")) << failures.first().toStdString();
        EXPECT_TRUE(failures.first().contains("full")) << failures.first().toStdString();
        EXPECT_EQ(s.ctx()->fetchAll<Azimuth>(&err).size(), 1) << "the change stays where the user sees it";
        s.container.storeFile()->retry();
        EXPECT_TRUE(s.ctx()->flush());
    }
    Store s(dir.path());
    EXPECT_EQ(s.ctx()->fetchAll<Azimuth>(&err).size(), 1);
}
