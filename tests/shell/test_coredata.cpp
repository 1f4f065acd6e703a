// The "Zenloft" store: every operation the screens use.

#include "SqliteConnection.h"
#include "SqliteFaults.h"
#include "store/Entities.h"
#include "testsupport.h"

#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

struct Store {
    explicit Store(const QString& dir) : container("Zenloft", dir) { loaded = container.loadPersistentStores(&error); }
    NSManagedObjectContext* ctx() { return container.viewContext(); }
    template <class T>
    QList<T*> all() { return ctx()->fetchAll<T>(nullptr); }
    bool save() { return ctx()->save(nullptr); }
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

TEST(CoreDataStore, InsertSaveReopenKeepsValuesTypesAndStoreOrderOfEveryEntity) {
    QTemporaryDir dir;
    {
        Store s(dir.path());
        ASSERT_TRUE(s.loaded) << s.error.toStdString();
        for (int i = 0; i < 5; ++i) addAzimuth(s.ctx(), QStringLiteral("ID-%1").arg(i), i * 10.0);
        auto* m = s.ctx()->insertNewObject<Marker>();
        m->setName(QStringLiteral("mast \"A\" ✓"));
        m->setLongitude(-0.125);
        auto* sec = s.ctx()->insertNewObject<Sector>();
        sec->setWidth(65.0);
        sec->setColorAlpha(0.35);
        auto* kml = s.ctx()->insertNewObject<KmlFile>();
        kml->setName("plan.kml");
        kml->setIsActive(true);
        EXPECT_TRUE(s.ctx()->hasChanges());
        ASSERT_TRUE(s.save());
        EXPECT_FALSE(s.ctx()->hasChanges());
        EXPECT_TRUE(s.ctx()->flush());
    }
    Store s(dir.path());
    ASSERT_TRUE(s.loaded);
    // Unset colours and Booleans read 0 and false; a description never set stays absent.
    QStringList rows, expected;
    for (const Azimuth* a : s.all<Azimuth>())
        rows << a->id() + QString::asprintf(" %g %g %d %d %d %d", a->azimuth(), a->distance(), a->colorRed(),
                                            a->colorGreen(), a->isActive(), a->desc().isNull());
    for (int i = 0; i < 5; ++i) expected << QString::asprintf("ID-%d %d 1.5 255 0 1 1", i, i * 10);
    EXPECT_EQ(rows, expected);
    ASSERT_EQ(s.all<Marker>().size() + s.all<Sector>().size() + s.all<KmlFile>().size(), 3);
    const Marker* m = s.all<Marker>()[0];
    const Sector* sec = s.all<Sector>()[0];
    const KmlFile* kml = s.all<KmlFile>()[0];
    EXPECT_EQ(std::tuple(m->name(), m->longitude(), m->isActive(), sec->width(), sec->colorAlpha(), kml->name(),
                         kml->isActive()),
              std::tuple(QStringLiteral("mast \"A\" ✓"), -0.125, false, 65.0, 0.35, QString("plan.kml"), true));
}

TEST(CoreDataStore, FetchByIdWithLimitAndDuplicatesBadRequestsAndSetValueForKey) {
    QTemporaryDir dir;
    Store s(dir.path());
    addAzimuth(s.ctx(), "A", 1);
    addAzimuth(s.ctx(), "B", 2);
    addAzimuth(s.ctx(), "A", 3);
    QString err;
    auto hits = s.ctx()->fetchWithId<Azimuth>("A", 1, &err);
    ASSERT_EQ(hits.size(), 1);
    EXPECT_EQ(hits[0]->azimuth(), 1.0) << "the first in store order";
    EXPECT_EQ(std::tuple(s.ctx()->fetchWithId<Azimuth>("A", 0, &err).size(),
                         s.ctx()->fetchWithId<Azimuth>("nope", 0, &err).size(), err),
              std::tuple(2, 0, QString()));

    NSFetchRequest bad(Azimuth::entityName());
    bad.predicate = NSPredicate::predicateWithFormat("colour = %@", "x");
    for (const NSFetchRequest& request : {bad, NSFetchRequest("Nothing")}) {
        err.clear();
        EXPECT_TRUE(s.ctx()->executeFetchRequest(request, &err).isEmpty());
        EXPECT_FALSE(err.isEmpty());
    }

    // setValue:forKey: coerces, and refuses what doesn't fit.
    zltest::LogCapture log;
    auto* a = hits[0];
    EXPECT_TRUE(a->setValue(QVariant(12.75), "azimuth"));
    EXPECT_TRUE(a->setValue(QVariant(QStringLiteral("north")), "desc"));
    EXPECT_TRUE(a->setValue(QVariant(200.9), "colorGreen"));  // an NSNumber for an integer keeps its integer part
    EXPECT_TRUE(a->setValue(QVariant(0), "isActive"));
    EXPECT_EQ(std::tuple(a->azimuth(), a->valueForKey("desc").toString(), a->colorGreen(), a->isActive()),
              std::tuple(12.75, QString("north"), 200, false));
    EXPECT_FALSE(a->setValue(QVariant(QStringLiteral("abc")), "distance"));
    EXPECT_EQ(a->distance(), 1.5) << "a refused value leaves the old one";
    EXPECT_FALSE(a->setValue(QVariant(1), "colour"));
    EXPECT_EQ(log.warnings().size(), 2);
}

TEST(CoreDataStore, EditAndDeleteAreSavedAndPendingObjectsAreFetched) {
    QTemporaryDir dir;
    {
        Store s(dir.path());
        auto* a = addAzimuth(s.ctx(), "A", 1);
        addAzimuth(s.ctx(), "B", 2);
        // Pending inserts are fetched; a pending deletion isn't.
        s.ctx()->deleteObject(addAzimuth(s.ctx(), "C", 3));
        EXPECT_EQ(s.all<Azimuth>().size(), 2);
        ASSERT_TRUE(s.save());
        a->setValue(99.0, "azimuth");
        s.ctx()->deleteObject(s.all<Azimuth>().at(1));
        ASSERT_TRUE(s.save());
    }
    Store s(dir.path());
    ASSERT_EQ(s.all<Azimuth>().size(), 1);
    EXPECT_EQ(std::pair(s.all<Azimuth>()[0]->id(), s.all<Azimuth>()[0]->azimuth()), std::pair(QString("A"), 99.0));
    // New objects keep going after the highest stored one.
    addAzimuth(s.ctx(), "D", 4);
    ASSERT_TRUE(s.save());
    EXPECT_EQ(s.all<Azimuth>().last()->id(), "D");
}

TEST(CoreDataStore, AFileThatIsntAStoreIsLeftAloneSavesAreRefusedAndANewerStoreIsRefused) {
    QTemporaryDir dir;
    const QString path = QDir(dir.path()).filePath("Zenloft.sqlite");
    const QByteArray garbage = "not a database at all\n" + QByteArray(8192, 'x');
    ASSERT_EQ(zltest::writeFile(path, garbage), path);
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
    EXPECT_EQ(zltest::readFile(path), garbage) << "not a byte of the file changed";

    // A store from a newer version is refused too.
    QTemporaryDir newer;
    ASSERT_TRUE(Store(newer.path()).loaded);
    {
        zl::sqlite::Connection db;
        ASSERT_TRUE(db.open(QDir(newer.path()).filePath("Zenloft.sqlite")));
        ASSERT_TRUE(db.setUserVersion(99));
    }
    Store s2(newer.path());
    EXPECT_FALSE(s2.loaded);
    EXPECT_TRUE(s2.error.contains("newer version")) << s2.error.toStdString();
}

TEST(CoreDataStore, AWriteThatFailsIsKeptReportedAndWrittenLater) {
    using namespace zl::sqlite::faults;
    install();
    QTemporaryDir dir;
    {
        Store s(dir.path());
        ASSERT_TRUE(s.loaded);
        QStringList failures;
        QObject::connect(s.ctx(), &NSManagedObjectContext::storeWriteFailed, [&](const QString& m) { failures << m; });
        {
            zltest::LogCapture log;  // the failure is also logged
            FailingWrites full(Fault::DiskFull);
            addAzimuth(s.ctx(), "A", 1);
            ASSERT_TRUE(s.save());
            EXPECT_FALSE(s.ctx()->flush()) << "the batch is still queued";
            ASSERT_TRUE(zltest::waitFor([&] { return !failures.isEmpty(); }));
        }
        EXPECT_TRUE(failures.first().startsWith("could not save: ") && failures.first().contains("full"))
            << failures.first().toStdString();
        EXPECT_EQ(s.all<Azimuth>().size(), 1) << "the change stays where the user sees it";
        s.container.storeFile()->retry();
        EXPECT_TRUE(s.ctx()->flush());
    }
    EXPECT_EQ(Store(dir.path()).all<Azimuth>().size(), 1);
}
