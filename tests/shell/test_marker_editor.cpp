// The marker editor: its four modes and the two stores they write, the position from the device, a long press or an
// address search, the colour through the shared form, and the saves it refuses.

#include "screen_fixture.h"
#include "screens/validationAddMarkerVC.h"
#include "settings/Units.h"
#include "store/CoreData.h"

#include <QFileInfo>
#include <QSignalSpy>

namespace {

void registerNothing(NavigationController&, const ScreenContext&) {}

class MarkerEditor : public zltest::ScreenTest<&registerNothing> {
protected:
    // Opens the editor as the lists do; with an id, as an edit of an entry at (10, 20) coloured (1, green, 3).
    validationAddMarkerVC* open(addPointType mode, const QString& id = {}, qint64 green = 2) {
        while (nav->depth() > 1) nav->popViewControllerAnimated(false);
        auto* vc = new validationAddMarkerVC(fake.context);
        vc->mode = mode;
        if (!id.isEmpty()) {
            std::tie(vc->id, vc->latitude, vc->longitude, vc->name, vc->desc) = std::tuple(id, 10.0, 20.0, "old", "d");
            std::tie(vc->valueRed, vc->valueGreen, vc->valueBlue) = std::tuple(1, green, 3);
        }
        nav->pushViewController(vc, QUrl(), false);
        return vc;
    }
    bool stayed() const { return nav->depth() == 2; }

    NSManagedObjectContext* context() const { return fake.appDelegate.persistentContainer()->viewContext(); }
    // One line per record of both stores: "M|id|name|desc|lat,lon|r,g,b|on" or "P|id|name|desc|lat,lon|r,g,b"; a new
    // (36-character) id shows as "<new>".
    QStringList stored() const {
        QStringList out;
        auto id = [](const QString& s) { return s.size() == 36 && s == s.toUpper() ? QStringLiteral("<new>") : s; };
        for (const Marker* m : context()->fetchAll<Marker>(nullptr))
            out << QString::asprintf("M|%s|%s|%s|%g,%g|%d,%d,%d|%s", qPrintable(id(m->id())), qPrintable(m->name()),
                                     qPrintable(m->desc()), m->latitude(), m->longitude(), m->colorRed(),
                                     m->colorGreen(), m->colorBlue(), m->isActive() ? "on" : "off");
        for (const realm_ptp& p : fake.realm.open(nullptr)->points())
            out << QString::asprintf("P|%s|%s|%s|%g,%g|%lld,%lld,%lld", qPrintable(id(p.id)), qPrintable(p.name),
                                     qPrintable(p.ptp_description), p.latitude, p.longitude, p.markerRed, p.markerGreen,
                                     p.markerBlue);
        return out;
    }
};

}  // namespace

TEST_F(MarkerEditor, EachModeWritesItsStoreAnEditKeepsIdAndActivityAndOnlyPointsTakeColoursBeyond32Bits) {
    Marker* m = context()->insertNewObject<Marker>();
    m->setId("M-1");
    m->setIsActive(false);
    ASSERT_TRUE(context()->save(nullptr));
    realm_ptp::addPoint(fake.realm, "p", "", 0, 0, 9, 9, 9, "P-1");
    fake.backend->fix(50.0, 19.0);
    for (auto [mode, id, texts] : {std::tuple{addMarkerForValidation, "", "add marker"},
                                   {editMarkerForValidation, "M-1", "edit marker"},
                                   {addPointForPTP, "", "add point"},
                                   {editPointForPTP, "P-1", "edit point"}}) {
        SCOPED_TRACE(texts);
        const bool edit = *id;
        validationAddMarkerVC* vc = open(mode, id);
        EXPECT_EQ(std::tuple(vc->title(), vc->addButton->title(), vc->marker->map(), vc->mapView()->cameraLatitude(),
                             vc->mapView()->cameraZoom()),
                  std::tuple(QString(texts), QString(texts), vc->mapView(), edit ? 10.0 : 50.0, 18.0));
        EXPECT_EQ(std::tuple(vc->nameTXT->text(), vc->decBlue->text(), vc->sliderBlue->value(), vc->colorHex->text()),
                  edit ? std::tuple(QString("old"), QString("3"), 3.0f, QString("#010203"))
                       : std::tuple(QString(), QString("127"), 127.0f, QString("#7F7F7F")));
        vc->nameTXT->userEdit("new");
        vc->descTXT->userEdit("d");
        vc->addButton->tap();
        EXPECT_EQ(nav->depth(), 1) << "a save goes back";
    }
    const QStringList saved{"M|M-1|new|d|10,20|1,2,3|off", "M|<new>|new|d|50,19|127,127,127|on",
                            "P|P-1|new|d|10,20|1,2,3", "P|<new>|new|d|50,19|127,127,127"};
    EXPECT_EQ(stored(), saved);

    // The markers keep colours in 32 bits: wider ones are refused; a marker that is gone needs no conversion; the point
    // list keeps 64 bits.
    const qint64 wide = qint64(1) << 33;
    for (addPointType mode : {addMarkerForValidation, editMarkerForValidation}) {
        validationAddMarkerVC* vc = open(mode, "M-1", wide);
        EXPECT_FALSE(vc->addMarker());
        EXPECT_EQ(vc->statusLbl->text(), "This colour is out of range: use 0 to 255.");
        EXPECT_EQ(std::pair(stayed(), stored()), std::pair(true, saved));
    }
    EXPECT_TRUE(open(editMarkerForValidation, "gone", wide)->addMarker());
    EXPECT_TRUE(open(editPointForPTP, "P-1", wide)->addMarker());
    EXPECT_EQ(stored().value(2), "P|P-1|old|d|10,20|1,8589934592,3");
}

TEST_F(MarkerEditor, WithoutAPositionOrAStoreTheSaveIsRefusedALongPressOrAnAddressGivesOneAndTheFormTheColour) {
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusDenied);
    fake.backend->fix(50.0, 19.0);
    validationAddMarkerVC* vc = open(addMarkerForValidation);
    EXPECT_EQ(std::pair(vc->markerLocalisation.has_value(), vc->marker->map()), std::pair(false, (GMSMapView*)nullptr));
    EXPECT_FALSE(vc->addMarker());
    EXPECT_TRUE(stayed());
    EXPECT_EQ(vc->statusLbl->text(), "No position yet: long press on the map or search an address.");
    EXPECT_TRUE(stored().isEmpty()) << "nothing is written";

    vc->didLongPressAtCoordinate(vc->mapView(), {1.5, 2.5});
    const GMSMarkerPtr first = vc->marker;
    vc->didLongPressAtCoordinate(vc->mapView(), {-33.25, 151.0});
    EXPECT_EQ(fake.player.played, (QList<int>{1520, 1520}));
    EXPECT_EQ(std::pair(first->map(), vc->marker->map()), std::pair((GMSMapView*)nullptr, vc->mapView()));
    EXPECT_TRUE(vc->addMarker());
    EXPECT_TRUE(vc->statusLbl->text().isEmpty());
    EXPECT_EQ(stored(), QStringList{"M|<new>|||-33.25,151|127,127,127|on"});

    // An address found sets the position but puts no marker on the map. The colour comes from the sliders and decimal
    // fields, never from the hex, and recolours the marker.
    vc = open(addPointForPTP);
    CLLocation found;
    found.coordinate = {40.0, -3.5};
    vc->geocodeFinished({CLPlacemark{found, "somewhere"}}, std::nullopt);
    EXPECT_EQ(std::tuple(vc->marker->map(), vc->marker->position().longitude, vc->mapView()->cameraLatitude(),
                         vc->mapView()->cameraZoom()),
              std::tuple((GMSMapView*)nullptr, -3.5, 40.0, 18.0));
    vc->colorHex->userEdit("#FF0000");
    vc->colorHex->endEditing();
    vc->sliderGreen->userSlide(200.7f);
    vc->decBlue->userEdit("300");
    vc->decBlue->endEditing();
    EXPECT_EQ(std::tuple(vc->valueRed, vc->decGreen->text(), vc->sliderBlue->value(), vc->colorHex->text()),
              std::tuple(127, QString("200"), 255.0f, QString("#7FC812C")));
    EXPECT_EQ(vc->marker->icon(), GMSMarker::markerImageWithColor(Palette::fromComponents(127, 200, 300)));
    EXPECT_TRUE(vc->addMarker());
    EXPECT_EQ(stored().last(), "P|<new>|||40,-3.5|127,200,300");

    // A second search replaces the first: one answer (here: no service) comes back.
    vc = open(addMarkerForValidation);
    QSignalSpy done(vc, &validationAddMarkerVC::searchFinished);
    QSignalSpy keyboard(vc, &validationAddMarkerVC::endEditing);
    vc->szukajLokalizacji();
    vc->szukajLokalizacji();
    ASSERT_TRUE(zltest::waitFor([&] { return !done.isEmpty(); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(std::pair(done.size(), keyboard.size()), std::pair(qsizetype(1), qsizetype(2)));

    // Stores that fail keep the screen.
    zltest::LogCapture log;
    zltest::FakeScreenContext broken;  // neither of its stores opens
    zltest::writeFile(broken.dir.filePath("Zenloft.sqlite"), QByteArray(2048, 'z'));
    zltest::writeFile(broken.dir.filePath("default.realm"), QByteArray(4096, '\x7f'));
    for (addPointType mode : {addMarkerForValidation, addPointForPTP}) {
        validationAddMarkerVC* vc = open(mode);
        std::tie(vc->appDelegate, vc->realm) = std::tuple(&broken.appDelegate, &broken.realm);
        vc->didLongPressAtCoordinate(vc->mapView(), {1.0, 2.0});
        EXPECT_FALSE(vc->addMarker());
        EXPECT_TRUE(stayed());
        EXPECT_EQ(vc->statusLbl->text().startsWith("The point list can't be read: "), mode == addPointForPTP);
    }
    EXPECT_TRUE(log.contains("could not save: ")) << log.messages().join('\n').toStdString();
    EXPECT_EQ(QFileInfo(broken.dir.filePath("default.realm")).size(), 4096);
}
