// The marker editor: its four modes and the two stores they write, the
// position from the device, a long press or an address search, the colour
// controls, and the saves it refuses.

#include "GMSServices.h"
#include "fake_context.h"
#include "screens/validationAddMarkerVC.h"
#include "settings/ColorForm.h"
#include "settings/Units.h"
#include "store/CoreData.h"
#include "testsupport.h"
#include "ui/NavigationController.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QSignalSpy>
#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

using Prepare = std::function<void(validationAddMarkerVC*)>;

// The screen below the editor: fills its fields as a management list does.
class Caller : public UIViewController {
public:
    Prepare prepare;
    void prepareForSegue(UIStoryboardSegue& segue, const QVariant&) override {
        if (auto* editor = qobject_cast<validationAddMarkerVC*>(segue.destinationViewController))
            if (prepare) prepare(editor);
    }
};

inline const bool kServicesShutAtEnd = [] {
    struct ServicesShutdown : ::testing::Environment {
        void TearDown() override { GMSServices::waitForTileWorkers(); }
    };
    ::testing::AddGlobalTestEnvironment(new ServicesShutdown);
    return true;
}();

class MarkerEditor : public ::testing::Test {
protected:
    void SetUp() override {
        // Maps draw the built-in coordinate tiles: no network. The key is given once per process.
        static const bool keyed = (GMSServices::provideAPIKey(QString(39, QChar('A'))), true);
        Q_UNUSED(keyed);
        nav = std::make_unique<NavigationController>();
        const ScreenContext context = fake.context;
        nav->registerScreen(QStringLiteral("addPoint"), [context] { return new validationAddMarkerVC(context); },
                            QUrl());
        caller = new Caller;
        nav->setRootViewController(caller, QUrl());
    }
    void TearDown() override {
        nav.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (fake.appDelegate.hasOpenedStore()) fake.appDelegate.persistentContainer()->viewContext()->flush();
    }

    validationAddMarkerVC* open(addPointType mode, const Prepare& more = {}) {
        while (nav->depth() > 1) nav->popViewControllerAnimated(false);
        caller->prepare = [mode, more](validationAddMarkerVC* vc) {
            vc->mode = mode;
            if (more) more(vc);
        };
        EXPECT_TRUE(caller->performSegueWithIdentifier(QStringLiteral("addPoint")));
        return qobject_cast<validationAddMarkerVC*>(nav->topViewController());
    }
    bool stayed() const { return nav->depth() == 2; }

    NSManagedObjectContext* context() const { return fake.appDelegate.persistentContainer()->viewContext(); }
    void addMarker(const QString& id, bool active) {
        Marker* m = context()->insertNewObject<Marker>();
        m->setId(id);
        m->setName(QStringLiteral("old"));
        m->setIsActive(active);
        ASSERT_TRUE(context()->save(nullptr));
    }
    // One line per record of both stores: "M|id|name|desc|lat,lon|r,g,b|on" or
    // "P|id|name|desc|lat,lon|r,g,b"; a new id shows as "<new>".
    QStringList stored() const {
        QStringList out;
        auto id = [](const QString& id) {
            static const QRegularExpression uuid(QStringLiteral("^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$"));
            return uuid.match(id).hasMatch() ? QStringLiteral("<new>") : id;
        };
        for (const Marker* m : context()->fetchAll<Marker>(nullptr))
            out << QString::asprintf("M|%s|%s|%s|%g,%g|%d,%d,%d|%s", qPrintable(id(m->id())), qPrintable(m->name()),
                                     qPrintable(m->desc()), m->latitude(), m->longitude(), m->colorRed(),
                                     m->colorGreen(), m->colorBlue(), m->isActive() ? "on" : "off");
        if (const auto realm = fake.realm.open(nullptr))
            for (const realm_ptp& p : realm->points())
                out << QString::asprintf("P|%s|%s|%s|%g,%g|%lld,%lld,%lld", qPrintable(id(p.id)), qPrintable(p.name),
                                         qPrintable(p.ptp_description), p.latitude, p.longitude, p.markerRed,
                                         p.markerGreen, p.markerBlue);
        return out;
    }

    mutable zltest::FakeScreenContext fake;
    std::unique_ptr<NavigationController> nav;
    Caller* caller = nullptr;
};

// What an edit hands over: a stored entry at (10, 20) coloured (1, 2, 3).
Prepare editOf(const QString& id) {
    return [id](validationAddMarkerVC* vc) {
        vc->id = id;
        vc->latitude = 10.0;
        vc->longitude = 20.0;
        vc->name = QStringLiteral("old");
        vc->desc = QStringLiteral("d");
        vc->valueRed = 1;
        vc->valueGreen = 2;
        vc->valueBlue = 3;
    };
}

}  // namespace

TEST_F(MarkerEditor, EachModeShowsItsTextsAndWritesItsStoreAnEditKeepingIdAndActivity) {
    addMarker(QStringLiteral("M-1"), /*active=*/false);
    realm_ptp::addPoint(fake.realm, "p", "", 0, 0, 9, 9, 9, QStringLiteral("P-1"));
    fake.backend->fix(50.0, 19.0);
    const struct {
        addPointType mode;
        const char* texts;
        QString result;
    } cases[] = {
        {addMarkerForValidation, "add marker", "M|<new>|new|d|50,19|127,127,127|on"},
        {editMarkerForValidation, "edit marker", "M|M-1|new|d|10,20|1,2,3|off"},
        {addPointForPTP, "add point", "P|<new>|new|d|50,19|127,127,127"},
        {editPointForPTP, "edit point", "P|P-1|new|d|10,20|1,2,3"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.texts);
        const QStringList before = stored();
        const bool edit = c.mode == editMarkerForValidation || c.mode == editPointForPTP;
        validationAddMarkerVC* vc = open(c.mode, edit ? editOf(c.mode == editPointForPTP ? "P-1" : "M-1") : Prepare{});
        ASSERT_TRUE(vc);
        EXPECT_EQ(std::pair(vc->title(), vc->addButton->title()), std::pair(QString(c.texts), QString(c.texts)));
        EXPECT_EQ(std::tuple(vc->marker->map(), vc->mapView()->cameraLatitude(), vc->mapView()->cameraZoom()),
                  std::tuple(vc->mapView(), edit ? 10.0 : 50.0, 18.0));
        EXPECT_EQ(std::tuple(vc->nameTXT->text(), vc->decBlue->text(), vc->sliderBlue->value(), vc->colorHex->text()),
                  edit ? std::tuple(QString("old"), QString("3"), 3.0f, QString("#010203"))
                       : std::tuple(QString(), QString("127"), 127.0f, QString("#7F7F7F")));
        vc->nameTXT->userEdit("new");
        vc->descTXT->userEdit("d");
        vc->addButton->tap();
        EXPECT_EQ(nav->depth(), 1) << "a save goes back";
        QStringList after = stored();
        if (edit) {
            EXPECT_EQ(after.size(), before.size());
            EXPECT_TRUE(after.contains(c.result)) << after.join('\n').toStdString();
        } else {
            for (const QString& row : before) after.removeOne(row);
            EXPECT_EQ(after, QStringList{c.result});
        }
    }
}

TEST_F(MarkerEditor, WithoutAPositionTheSaveIsRefusedAndALongPressGivesOne) {
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusDenied);
    fake.backend->fix(50.0, 19.0);
    for (addPointType mode : {addMarkerForValidation, addPointForPTP}) {
        validationAddMarkerVC* vc = open(mode);
        EXPECT_FALSE(vc->markerLocalisation);
        EXPECT_EQ(vc->marker->map(), nullptr);
        EXPECT_FALSE(vc->addMarker());
        EXPECT_TRUE(stayed());
        EXPECT_EQ(vc->statusLbl->text(), "No position yet: long press on the map or search an address.");
        EXPECT_EQ(stored().size(), mode == addMarkerForValidation ? 0 : 1) << "nothing is written";

        fake.player.played.clear();
        vc->didLongPressAtCoordinate(vc->mapView(), {1.5, 2.5});
        const GMSMarkerPtr first = vc->marker;
        vc->didLongPressAtCoordinate(vc->mapView(), {-33.25, 151.0});
        EXPECT_EQ(fake.player.played, (QList<int>{1520, 1520}));
        EXPECT_EQ(std::pair(first->map(), vc->marker->map()), std::pair((GMSMapView*)nullptr, vc->mapView()))
            << "the marker is replaced";
        EXPECT_EQ(vc->marker->position().latitude, -33.25);
        EXPECT_TRUE(vc->addMarker());
        EXPECT_TRUE(vc->statusLbl->text().isEmpty());
    }
    EXPECT_EQ(stored(), (QStringList{"M|<new>|||-33.25,151|127,127,127|on", "P|<new>|||-33.25,151|127,127,127"}));
}

TEST_F(MarkerEditor, TheColourComesFromSlidersAndDecimalFieldsNeverFromTheHexAndRecoloursTheMarker) {
    validationAddMarkerVC* vc = open(addPointForPTP);
    vc->didLongPressAtCoordinate(vc->mapView(), {1.0, 2.0});
    auto markerIs = [vc](QColor c) { return vc->marker->icon() == GMSMarker::markerImageWithColor(c); };
    EXPECT_TRUE(markerIs(Palette::fromComponents(127, 127, 127)));

    vc->colorHex->userEdit("#FF0000");
    vc->colorHex->endEditing();
    EXPECT_EQ(std::tuple(vc->valueRed, vc->colorHex->text()), std::tuple(127, QString("#FF0000")))
        << "typed hex text changes nothing";

    vc->decRed->userEdit("abc");
    vc->decRed->endEditing();
    vc->sliderGreen->userSlide(200.7f);
    vc->decBlue->userEdit("300");
    vc->decBlue->endEditing();
    EXPECT_EQ(std::tuple(vc->sliderRed->value(), vc->decGreen->text(), vc->sliderBlue->value(), vc->colorHex->text()),
              std::tuple(0.0f, QString("200"), 255.0f, QString("#00C812C")));
    EXPECT_TRUE(markerIs(Palette::fromComponents(0, 200, 300)));
    EXPECT_TRUE(vc->addMarker());
    EXPECT_EQ(stored(), QStringList{"P|<new>|||1,2|0,200,300"});
}

TEST_F(MarkerEditor, AnAddressFoundSetsThePositionButPutsNoMarkerOnTheMap) {
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusDenied);
    validationAddMarkerVC* vc = open(addMarkerForValidation);
    vc->geocodeFinished({}, CLError{kCLErrorNetwork, "offline"});
    vc->geocodeFinished({CLPlacemark{std::nullopt, "nowhere"}}, std::nullopt);
    EXPECT_FALSE(vc->markerLocalisation) << "a failed search changes nothing";

    CLLocation found;
    found.coordinate = {40.0, -3.5};
    vc->geocodeFinished({CLPlacemark{found, "somewhere"}}, std::nullopt);
    EXPECT_EQ(std::tuple(vc->marker->map(), vc->marker->position().longitude, vc->mapView()->cameraLatitude(),
                         vc->mapView()->cameraZoom()),
              std::tuple((GMSMapView*)nullptr, -3.5, 40.0, 18.0));
    EXPECT_TRUE(vc->addMarker());
    EXPECT_EQ(stored(), QStringList{"M|<new>|||40,-3.5|127,127,127|on"});

    // A second search replaces the first: one answer (here: no service) comes back.
    vc = open(addMarkerForValidation);
    QSignalSpy done(vc, &validationAddMarkerVC::searchFinished);
    QSignalSpy keyboard(vc, &validationAddMarkerVC::endEditing);
    vc->searchTXT->userEdit("Main Street 1");
    vc->szukajLokalizacji();
    vc->szukajLokalizacji();
    ASSERT_TRUE(zltest::waitFor([&] { return !done.isEmpty(); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(std::pair(done.size(), keyboard.size()), std::pair(qsizetype(1), qsizetype(2)));
    EXPECT_FALSE(vc->markerLocalisation);
}

TEST_F(MarkerEditor, AColourBeyond32BitsIsRefusedForMarkersOnlyAndAFailedSaveStays) {
    addMarker(QStringLiteral("M-1"), true);
    realm_ptp::addPoint(fake.realm, "p", "", 0, 0, 9, 9, 9, QStringLiteral("P-1"));
    const qint64 wide = qint64(1) << 33;
    const QStringList before = stored();
    for (addPointType mode : {addMarkerForValidation, editMarkerForValidation}) {
        validationAddMarkerVC* vc = open(mode, [&](validationAddMarkerVC* vc) {
            editOf(QStringLiteral("M-1"))(vc);
            vc->valueGreen = wide;
        });
        vc->didLongPressAtCoordinate(vc->mapView(), {1.0, 2.0});
        EXPECT_FALSE(vc->addMarker());
        EXPECT_EQ(vc->statusLbl->text(), "This colour is out of range: use 0 to 255.");
        EXPECT_TRUE(stayed());
        EXPECT_EQ(stored(), before);
    }
    // A marker that is gone is no conversion: the save runs and the screen closes.
    EXPECT_TRUE(open(editMarkerForValidation, [&](validationAddMarkerVC* vc) {
                    editOf(QStringLiteral("gone"))(vc);
                    vc->valueGreen = wide;
                })->addMarker());
    // The point list keeps 64 bits.
    EXPECT_TRUE(open(editPointForPTP, [&](validationAddMarkerVC* vc) {
                    editOf(QStringLiteral("P-1"))(vc);
                    vc->valueGreen = wide;
                })->addMarker());
    EXPECT_EQ(stored().last(), "P|P-1|old|d|10,20|1,8589934592,3");
}

TEST_F(MarkerEditor, AStoreThatCantSaveIsLoggedAndTheScreenStays) {
    zltest::writeFile(fake.dir.filePath("Zenloft.sqlite"), QByteArray(2048, 'z'));
    zltest::LogCapture log;
    validationAddMarkerVC* vc = open(addMarkerForValidation);
    vc->didLongPressAtCoordinate(vc->mapView(), {1.0, 2.0});
    EXPECT_FALSE(vc->addMarker());
    EXPECT_TRUE(stayed());
    EXPECT_TRUE(log.contains("could not save: ")) << log.messages().join('\n').toStdString();
}
