// The point lists: the distance against an independent sphere, the radius edge, the four stable orders and the search;
// then the chooser and the management list through their screen objects on a real store.

#include "LocationManager.h"
#include "PointList.h"
#include "ptpSettingsList.h"
#include "ptpSettingsManageVC.h"
#include "ptp_fixture.h"
#include "screens/validationAddMarkerVC.h"
#include "settings/Units.h"
#include "ui/UITabBarController.h"

#include <GeographicLib/Geodesic.hpp>
#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include <cmath>
#include <random>

using ptptest::ScreenTest;

namespace {

dbEntries row(const QString& name, double distance, const QString& desc = QString()) {
    dbEntries e;
    e.name = name;
    e.distance = distance;
    e.desc = desc;
    e.id = name + QString::number(distance);
    return e;
}

// "name@distance" per row, in order.
QStringList order(const QList<dbEntries>& rows) {
    QStringList out;
    for (const dbEntries& e : rows) out << QStringLiteral("%1@%2").arg(e.name).arg(e.distance);
    return out;
}
QString column(const QList<dbEntries>& rows, QString dbEntries::*field) {
    QStringList out;
    for (const dbEntries& e : rows) out << e.*field;
    return out.join(',');
}

realm_ptp stored(const QString& name, double lat, double lon) {
    realm_ptp p;
    p.name = name;
    p.latitude = lat;
    p.longitude = lon;
    return p;
}

class PointLists : public ScreenTest {
protected:
    // The list tab of the location container, opened from the settings for the given point.
    ptpSettingsList* showList(pointType type) {
        open<UIViewController>("ptpSettings")
            ->performSegueWithIdentifier("ptpLocation", type == pointType::to ? "to" : "from");
        auto* tabs = qobject_cast<UITabBarController*>(nav->topViewController());
        if (tabs) tabs->setSelectedIndex(1);
        auto* vc = tabs ? qobject_cast<ptpSettingsList*>(tabs->selectedViewController()) : nullptr;
        EXPECT_TRUE(vc && zltest::waitFor([vc] { return vc->realm != nullptr; }));
        return vc;
    }
    // "text|desc" per row as the table shows it.
    static QStringList rows(PointListScreen* vc) {
        QStringList out;
        for (int r = 0; r < vc->tableView->rowCount(); ++r) {
            const QVariantMap f = vc->tableView->data(vc->tableView->index(r), UITableView::FieldsRole).toMap();
            out << f.value("name").toString() + "|" + f.value("desc").toString();
        }
        return out;
    }
    void type(PointListScreen* vc, const QString& text) { vc->searchBar->userEdit(text); }
};

}  // namespace

TEST(PointDistance, AgreesWithTheSphereOfItsConstantsACoincidentPointIsZeroOrNotANumberAndTheRadiusIsIn) {
    // Degrees of arc times 60 nautical miles of 1.1515 statute miles.
    const double radiusKm = 60.0 * 1.1515 * 1.609344 * 180.0 / M_PI;
    const GeographicLib::Geodesic sphere(radiusKm, 0.0);
    std::mt19937 random(20261125);
    std::uniform_real_distribution<double> lat(-90.0, 90.0), lon(-180.0, 180.0);
    for (int i = 0; i < 2000; ++i) {
        const double lat1 = lat(random), lon1 = lon(random), lat2 = lat(random), lon2 = lon(random);
        double expected = 0.0;
        sphere.Inverse(lat1, lon1, lat2, lon2, expected);
        ASSERT_NEAR(PointList::pointDistance(lat1, lon1, lat2, lon2), expected, 1e-3)
            << lat1 << "," << lon1 << " " << lat2 << "," << lon2;
    }
    EXPECT_NEAR(PointList::pointDistance(0.0, 179.5, 0.0, -179.5), 60.0 * 1.1515 * 1.609344, 1e-9) << "antimeridian";

    // At 54° the cosine of a coincident point comes to exactly 1; at 0.08° rounding lifts it above.
    EXPECT_EQ(PointList::pointDistance(54.0, 19.0, 54.0, 19.0), 0.0);
    EXPECT_TRUE(std::isnan(PointList::pointDistance(0.08, 19.0, 0.08, 19.0)));

    QList<dbEntries> within;
    PointList::appendWithin(within, {stored("here", 0.08, 19.0), stored("north", 0.09, 19.0)}, 0.08, 19.0, 1.0e9);
    EXPECT_EQ(column(within, &dbEntries::name), "north") << "not a number is dropped under any radius";

    const QList<realm_ptp> points{stored("same", 54.0, 19.0), stored("far", 54.1, 19.3)};
    const double edge = PointList::pointDistance(54.0, 19.0, 54.1, 19.3);
    for (auto [radius, kept] : {std::pair{edge, 2}, {std::nextafter(edge, 0.0), 1}, {0.0, 1}, {-1.0, 0}}) {
        QList<dbEntries> rows{row("kept before", 1.0)};
        PointList::appendWithin(rows, points, 54.0, 19.0, radius);
        EXPECT_EQ(rows.size(), 1 + kept) << radius << ": appends to what was there";
    }
}

TEST(PointOrder, TheSettingPicksOneOfFourStableOrdersOfWhatTheSearchKeeps) {
    // Two "Mast" rows, an equal distance for "beta" and "Beta", case apart.
    const QList<dbEntries> store{row("beta", 2.0), row("Mast", 5.0), row("alpha", 1.0),
                                 row("Mast", 3.0), row("Beta", 2.0), row("Zulu", 4.0)};
    const QStringList nearest{"alpha@1", "beta@2", "Beta@2", "Mast@3", "Zulu@4", "Mast@5"};
    for (auto [setting, expected] : {
             std::pair<qint64, QStringList>{0, nearest},
             {1, {"Mast@5", "Zulu@4", "Mast@3", "beta@2", "Beta@2", "alpha@1"}},
             {2, {"Beta@2", "Mast@3", "Mast@5", "Zulu@4", "alpha@1", "beta@2"}},
             {3, {"beta@2", "alpha@1", "Zulu@4", "Mast@5", "Mast@3", "Beta@2"}},
             {7, nearest},
             {-1, nearest},
         }) {
        QList<dbEntries> rows = store;
        PointList::sortEntries(rows, setting);
        EXPECT_EQ(order(rows), expected) << "ptpListSortBy " << setting;
    }

    // By code points after composition: U+FF21 stands below U+1F600, though its UTF-16 unit is above the surrogate;
    // equal names go nearest first.
    const QString composedE = QString::fromUtf8("caf\u00e9"), decomposedE = QString::fromUtf8("cafe\u0301");
    const QString fullwidthA = QString::fromUtf8("\uff21"), smiley = QString::fromUtf8("\U0001F600");
    QList<dbEntries> rows{row(decomposedE, 2.0), row(smiley, 4.0), row("cafe", 3.0), row(fullwidthA, 5.0),
                          row(composedE, 1.0), row("caf", 6.0)};
    PointList::sortEntries(rows, 2);
    EXPECT_EQ(order(rows),
              (QStringList{"caf@6", "cafe@3", composedE + "@1", decomposedE + "@2", fullwidthA + "@5", smiley + "@4"}))
        << "equal after composition: nearest first";

    // The one-pass load gives what appending and sorting give, and many equal keys keep their order.
    std::mt19937 random(11);
    std::uniform_int_distribution<int> pick(0, 5);
    QList<realm_ptp> points;
    for (int i = 0; i < 300; ++i) {
        // Few names and a grid of nine places: some thirty points at each distance.
        points << stored(QStringList{"b", "B", "a", "mast", QString::fromUtf8("\u00e9"), "e\u0301"}[pick(random)],
                         54.0 + 0.01 * (pick(random) % 3), 19.0 + 0.01 * (pick(random) % 3));
        points.last().id = QString::number(i);
    }
    for (qint64 setting : {0, 1, 2, 3, 7}) {
        QList<dbEntries> expected;
        PointList::appendWithin(expected, points, 54.02, 19.02, 2.0);
        PointList::sortEntries(expected, setting);
        ASSERT_TRUE(expected.size() > 50 && expected.size() < 300) << expected.size();
        EXPECT_EQ(column(PointList::load(points, 54.02, 19.02, 2.0, setting), &dbEntries::id),
                  column(expected, &dbEntries::id))
            << setting;
        for (qsizetype i = 1; i < expected.size(); ++i) {
            const dbEntries &a = expected[i - 1], &b = expected[i];
            if (a.distance == b.distance && (setting < 2 || setting == 7 || a.name == b.name)) {
                ASSERT_LT(a.id.toInt(), b.id.toInt()) << "ptpListSortBy " << setting << " at " << i;
            }
        }
    }

    // The search looks at name and description, lower-cased, and keeps the order.
    const QList<dbEntries> hits{row("Tower", 1.0, "north mast"), row("52", 2.0, "roof"),
                                row(QString::fromUtf8("\u0141\u00f3d\u017a"), 3.0, ""), row("MAST B", 4.0, "south"),
                                row("Hill", 5.0, QString::fromUtf8("Caf\u00c9"))};
    for (auto [text, expected] : {
             std::pair<QString, QStringList>{"mast", {"Tower@1", "MAST B@4"}},
             {"52", {"52@2"}},
             {"0", {}},  // coordinates and distances are never looked at
             {QString::fromUtf8("\u0141\u00d3D"), {QString::fromUtf8("\u0141\u00f3d\u017a@3")}},
             {QString::fromUtf8("caf\u00e9"), {"Hill@5"}},
             {"cafe", {}},
             {"", {"Tower@1", "52@2", QString::fromUtf8("\u0141\u00f3d\u017a@3"), "MAST B@4", "Hill@5"}},
         })
        EXPECT_EQ(order(PointList::search(hits, text)), expected) << text.toStdString();
}

TEST_F(PointLists, TheListMeasuresFromTheManualPointOrTheFixInKmFiltersAndWritesTheChoice) {
    setManual(true, 54.0, 19.0);
    defaults().setDouble(20.0, SettingsKey::maxDistance);
    EXPECT_FALSE(showList(pointType::to)->labelBottomLbl->hidden()) << "nothing stored: the label stays";

    addPoint("far", 54.0, 20.0, "beyond the radius");
    addPoint("near", 54.1, 19.0, "north mast", 1, 2, 3);
    addPoint("here", 54.0, 19.0, "roof");
    defaults().setBool(true, SettingsKey::useImperialUnits);
    defaults().setInteger(3, SettingsKey::ptpListSortBy);
    ptpSettingsList* to = showList(pointType::to);
    QAbstractItemModelTester tester(to->tableView, QAbstractItemModelTester::FailureReportingMode::Warning);
    EXPECT_EQ(rows(to), (QStringList{"11.12 km : near|north mast", "0.00 km : here|roof"})) << "km whatever the units";
    EXPECT_EQ(to->cellForRowAtIndexPath(0, 0).fields.value("colorIndicator").value<QColor>(),
              Palette::fromComponents(1, 2, 3));
    EXPECT_TRUE(to->labelBottomLbl->hidden());

    const auto settings = [this] {
        QVariantList out;
        for (const QString& key : {SettingsKey::latitude, SettingsKey::longitude, SettingsKey::toLatitude,
                                   SettingsKey::toLongitude, SettingsKey::toName, SettingsKey::toDesc})
            out << defaults().objectForKey(key);
        return out;
    };
    to->tableView->selectRow(1);
    EXPECT_EQ(settings(), (QVariantList{54.0, 19.0, 54.0, 19.0, "here", "roof"}));

    ptpSettingsList* from = showList(pointType::from);
    QSignalSpy endEditing(from, &PointListScreen::endEditing);
    addPoint("north hill", 54.0, 19.1);  // a search doesn't read the store
    type(from, "NORTH");
    EXPECT_EQ(rows(from), QStringList{"11.12 km : near|north mast"});
    from->tableView->selectRow(0);
    from->didSelectRowAtIndexPath(0, 5);  // no such row
    EXPECT_EQ(settings(), (QVariantList{54.1, 19.0, 54.0, 19.0, "near", "north mast"}))
        << "the target keeps its place but takes the from point's name";
    from->searchBar->endEditing();
    EXPECT_EQ(endEditing.count(), 1);

    // Without a manual point the list takes the known fix, or waits for one.
    setManual(false, 0.0, 0.0);
    defaults().setDouble(5.0, SettingsKey::maxDistance);
    backend->fix(54.0, 19.01);
    EXPECT_EQ(rows(showList(pointType::from)), QStringList{"0.65 km : here|roof"});

    // No fix yet: one is asked for, and the list loads when it comes, once.
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusNotDetermined);
    ptpSettingsList* waiting = showList(pointType::from);
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusAuthorizedWhenInUse);
    EXPECT_TRUE(rows(waiting).isEmpty());
    backend->fix(54.0, 19.0);
    EXPECT_EQ(rows(waiting), QStringList{"0.00 km : here|roof"});
    backend->fix(54.0, 19.02);
    EXPECT_EQ(waiting->entries.size(), 1) << "one load per screen";

    // No fix at all: the failure is logged, the list stays empty.
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusNotDetermined);
    ptpSettingsList* failed = showList(pointType::from);
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusAuthorizedWhenInUse);
    zltest::LogCapture log;
    clock.advance(LocationManager::kRequestLocationTimeoutMs);
    EXPECT_TRUE(log.contains("Failed to find user's location: No location found in time"));
    EXPECT_TRUE(rows(failed).isEmpty());
    EXPECT_FALSE(failed->labelBottomLbl->hidden());
}

TEST_F(PointLists, TheManagementListReloadsAtEachAppearanceOpensTheEditorAndDeletesWhatTheStoreLets) {
    setManual(true, 54.0, 19.0);
    defaults().setDouble(50.0, SettingsKey::maxDistance);
    addPoint("mast", 54.1, 19.0, "roof", 10, 20, 30);
    auto* vc = open<ptpSettingsManageVC>("PtpSettingsManageVC");
    ASSERT_TRUE(vc && zltest::waitFor([vc] { return vc->realm != nullptr; }));
    QAbstractItemModelTester tester(vc->tableView, QAbstractItemModelTester::FailureReportingMode::Warning);
    EXPECT_EQ(rows(vc), QStringList{"11.12 km : mast|roof"});

    vc->addPoint();
    auto* editor = qobject_cast<validationAddMarkerVC*>(nav->topViewController());
    ASSERT_TRUE(editor);
    EXPECT_EQ(std::pair(editor->mode, editor->id), std::pair(addPointForPTP, QString()));
    // Back from the editor, a point added beyond the radius is stored but not listed.
    addPoint("new", 54.0, 19.1, "", 1, 2, 3);
    addPoint("c mast", 54.3, 19.0);
    addPoint("beyond", 60.0, 19.0);
    type(vc, "new");
    nav->popViewControllerAnimated(false);
    EXPECT_EQ(rows(vc), (QStringList{"6.54 km : new|", "11.12 km : mast|roof", "33.36 km : c mast|"}))
        << "the search isn't reapplied";

    vc->tableView->selectRow(1);
    editor = qobject_cast<validationAddMarkerVC*>(nav->topViewController());
    ASSERT_TRUE(editor);
    EXPECT_EQ((QVariantList{int(editor->mode), editor->id, editor->name, editor->desc, editor->latitude,
                            editor->longitude, editor->valueRed, editor->valueGreen, editor->valueBlue}),
              (QVariantList{int(editPointForPTP), "P-1", "mast", "roof", 54.1, 19.0, 10, 20, 30}));
    nav->popViewControllerAnimated(false);
    validationAddMarkerVC untouched(fake.context);
    EXPECT_EQ(std::pair(vc->fillEditor(untouched, 9), untouched.mode), std::pair(false, addMarkerForValidation));

    const auto names = [](const QList<dbEntries>& list) { return column(list, &dbEntries::name); };
    // During a search: the row goes from the store, the shown rows and all rows.
    type(vc, "mast");
    vc->tableView->deleteRow(0);
    EXPECT_EQ(std::tuple(rows(vc), names(vc->entries), points().size()),
              std::tuple(QStringList{"33.36 km : c mast|"}, QString("new,c mast"), qsizetype(3)));
    type(vc, "MAST");
    EXPECT_EQ(rows(vc), QStringList{"33.36 km : c mast|"}) << "the search follows the deletion";

    // Two records of one id: the store deletes neither, and the list shows what it holds.
    realm_ptp::addPoint(fake.realm, "twin", "", 54.05, 19.0, 0, 0, 0, "TWIN");
    realm_ptp::addPoint(fake.realm, "twin", "", 54.05, 19.0, 0, 0, 0, "TWIN");
    vc->viewWillAppear(false);
    vc->tableView->deleteRow(0);
    EXPECT_EQ(std::tuple(names(vc->filtred), names(vc->entries), vc->tableView->rowCount(), points().size()),
              std::tuple(QString("twin,twin,new,c mast"), QString("twin,twin,new,c mast"), 4, qsizetype(5)));

    // Records deleted elsewhere: the list drops them; the last one here leaves an empty table.
    fake.realm.open(nullptr)->write([](Realm& r, QString*) {
        r.remove(r.points().filter("id = %@", "TWIN"));
        return true;
    }, nullptr);
    vc->tableView->deleteRow(0);
    ASSERT_EQ(rows(vc), (QStringList{"6.54 km : new|", "33.36 km : c mast|"}));
    vc->tableView->deleteRow(0);
    vc->tableView->deleteRow(0);
    EXPECT_TRUE(rows(vc).isEmpty());
    EXPECT_EQ(points().size(), 1);
}
