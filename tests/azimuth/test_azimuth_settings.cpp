// The azimuth list and the azimuth form, driven through their screen objects on a real store.

#include "AzimutImportVC.h"
#include "AzimuthExportVC.h"
#include "NewAzimuthVC.h"
#include "SettingsLocationVC.h"
#include "azimuth_fixture.h"
#include "azimuthSettingsVC.h"
#include "settings/ColorForm.h"
#include "settings/Units.h"

#include <QAbstractItemModelTester>

using aztest::ScreenTest;

namespace {

class AzimuthList : public ScreenTest {
protected:
    azimuthSettingsVC* show() { return open<azimuthSettingsVC>("settingsVC"); }
    static QVariant field(azimuthSettingsVC* vc, int section, int row, const char* name) {
        return vc->cellForRowAtIndexPath(section, row).fields.value(name);
    }
    // The text each row of the azimuth section shows.
    static QStringList azimuthRows(azimuthSettingsVC* vc) {
        QStringList out;
        for (int r = 0; r < vc->numberOfRowsInSection(1); ++r) {
            const QVariantMap f = vc->cellForRowAtIndexPath(1, r).fields;
            out << f.value("labelName", f.value("label")).toString();
        }
        return out;
    }
};

class AzimuthForm : public ScreenTest {
protected:
    NewAzimuthVC* showNew() { return open<NewAzimuthVC>("newAzimuth", QStringLiteral("1")); }
    NewAzimuthVC* showEdit(const QString& id) {
        open<azimuthSettingsVC>("settingsVC")->performSegueWithIdentifier("newAzimuth", id);
        return qobject_cast<NewAzimuthVC*>(nav->topViewController());
    }
    static void type(UITextField* field, const QString& text) {
        field->userEdit(text);
        field->endEditing();
    }
    static bool isFault(UILabel* label) { return label->textColor() == Palette::fault(); }
    // Which of the azimuth, distance and colour labels show a fault, e.g. "010".
    static QString faults(NewAzimuthVC* vc) {
        return QString::number(isFault(vc->azimuthLabel)) + QString::number(isFault(vc->distanceLabel)) +
               QString::number(isFault(vc->colorLabel));
    }
};

}  // namespace

TEST_F(AzimuthList, RowsShowTheActionsAndEachAzimuthWithItsSwitchAndColour) {
    azimuthSettingsVC* vc = show();
    ASSERT_TRUE(vc);
    EXPECT_EQ(azimuthRows(vc), (QStringList{"add new azimuth", "import", "export"}));
    EXPECT_EQ((QVariantList{field(vc, 0, 0, "descriptionName"), field(vc, 2, 1, "descriptionName")}),
              (QVariantList{"automatic (GPS)", "km"}));
    EXPECT_EQ(vc->tableView()->rowCount(), 1 + 3 + 2);

    addAzimuth(10.5, 2.0, "mast", 255, 59, 48);
    addAzimuth(90.0, 1.5, "", 0, 0, 255, /*active=*/false);
    addAzimuth(270.0, 10.0);
    setManual(true, 52.0, 21.0);
    vc = show();
    QAbstractItemModelTester tester(vc->tableView(), QAbstractItemModelTester::FailureReportingMode::Warning);
    EXPECT_EQ(azimuthRows(vc), (QStringList{"10.5 °, 2.0 km: mast", "90.0 °, 1.5 km", "270.0 °, 10.0 km",
                                            "add new azimuth", "import", "export"}))
        << "an empty desc has no colon";
    EXPECT_EQ(std::pair(vc->cellForRowAtIndexPath(1, 0).cellClass, field(vc, 1, 0, "labelColor").value<QColor>()),
              std::pair(QString("settingsCellTypeIII"), Palette::fromComponents(255, 59, 48)));
    EXPECT_EQ((QVariantList{field(vc, 1, 1, "setEnabled"), field(vc, 1, 2, "tag"), field(vc, 0, 0, "descriptionName")}),
              (QVariantList{false, 2, "manual"}));
    for (auto [section, row, editable] : {std::tuple{1, 2, true}, {1, 3, false}, {0, 0, false}})
        EXPECT_EQ(vc->canEditRowAtIndexPath(section, row), editable) << section << "/" << row;
}

TEST_F(AzimuthList, SwitchesSwipeDeleteAndTheUnitsRowWriteTheStoreAndTheSettings) {
    addAzimuth(10.0, 10.0, "first");
    addAzimuth(20.0, 1.0, "second");
    azimuthSettingsVC* vc = show();
    UITableView* table = vc->tableView();
    for (bool on : {false, true}) {
        table->setCellControl(table->indexOf(1, 0), "setEnabled", on);
        table->setCellControl(table->indexOf(2, 0), "settingState", !on);
        EXPECT_EQ(std::pair(stored().first()->isActive(), defaults().boolForKey(SettingsKey::hideCompassIndicator)),
                  std::pair(on, !on));
    }

    table->selectRow(table->indexOf(2, 1));
    EXPECT_EQ(std::tuple(defaults().boolForKey(SettingsKey::useImperialUnits), field(vc, 2, 1, "descriptionName"),
                         azimuthRows(vc).first()),
              std::tuple(true, QVariant("mi"), QString("10.0 °, 6.2 mi: first")));
    vc->didSelectRowAtIndexPath(2, 1);
    EXPECT_EQ(std::pair(defaults().boolForKey(SettingsKey::useImperialUnits), azimuthRows(vc).first()),
              std::pair(false, QString("10.0 °, 10.0 km: first")));

    // Swipe delete asks nothing; "add new azimuth" can't go.
    table->deleteRow(table->indexOf(1, 0));
    table->deleteRow(table->indexOf(1, 1));
    EXPECT_EQ(std::pair(rows(), azimuthRows(vc).first(2)),
              std::pair(QStringList{"20 1 255,0,0 on second"}, QStringList{"20.0 °, 1.0 km: second", "add new azimuth"}));
}

TEST_F(AzimuthList, RowsLeadToTheirScreensWithTheRightSenderAndReturningShowsTheChanges) {
    Azimuth* a = addAzimuth(10.0, 1.0);
    azimuthSettingsVC* vc = show();
    // The editor gets the azimuth's id, or "1" for a new one, which it takes as no id.
    for (auto [section, row, cls, id] : {std::tuple{0, 0, "SettingsLocationVC", ""}, {1, 0, "NewAzimuthVC", "ID-1"},
                                         {1, 1, "NewAzimuthVC", ""}, {1, 2, "AzimutImportVC", ""},
                                         {1, 3, "AzimuthExportVC", ""}, {2, 0, "azimuthSettingsVC", ""}}) {
        vc->didSelectRowAtIndexPath(section, row);
        EXPECT_TRUE(nav->topViewController()->inherits(cls)) << cls;
        if (auto* editor = qobject_cast<NewAzimuthVC*>(nav->topViewController())) EXPECT_EQ(editor->uuid, id);
        while (nav->topViewController() != vc) nav->popViewControllerAnimated(false);
    }
    vc->performSegueWithIdentifier("newAzimuth", 42);  // a sender that isn't a text gives an empty id
    auto* form = qobject_cast<NewAzimuthVC*>(nav->topViewController());
    EXPECT_EQ(form->uuid, QString());

    // Back on the list, the new azimuth and the location source show.
    form->azimuth->userEdit("33");
    form->distance->userEdit("4");
    setManual(true, 1.0, 2.0);
    form->button->tap();
    EXPECT_EQ(nav->topViewController(), vc);
    EXPECT_EQ(azimuthRows(vc).mid(0, 2) << field(vc, 0, 0, "descriptionName").toString(),
              (QStringList{"10.0 °, 1.0 km", "33.0 °, 4.0 km", "manual"}));
}

TEST_F(AzimuthForm, ANewAzimuthIsCheckedStoredWithItsFractionTheFormClosesAndWithoutADelegateNothingIsSaved) {
    NewAzimuthVC* vc = showNew();
    ASSERT_TRUE(vc);
    EXPECT_EQ(vc->title(), "add azimuth");
    vc->azimuth->userEdit("bad");
    type(vc->colorHex, "#0A0B0C");
    EXPECT_EQ(std::pair(vc->blueValue->text(), faults(vc)), std::pair(QString("12"), QString("000")))
        << "hex editing doesn't validate";
    type(vc->azimuth, "725.5");
    type(vc->distance, "");
    type(vc->redValue, "abc");
    EXPECT_EQ(faults(vc), "011") << "no range is applied; the colour field still says abc";
    vc->button->tap();
    EXPECT_EQ(std::pair(stored().size(), nav->topViewController()), std::pair(qsizetype(0), (UIViewController*)vc));
    vc->azimuth->userEdit("1x");
    EXPECT_FALSE(vc->validateForm());
    EXPECT_EQ(vc->azimuthFin, 725.5) << "the last good value stays";

    type(vc->azimuth, "12,5");
    EXPECT_EQ(faults(vc), "011") << "a good value clears the fault";
    type(vc->distance, "3.25");
    type(vc->redValue, "300");
    vc->pointDesc->userEdit("north \"mast\"");
    vc->greenSlider->userSlide(128.9f);
    vc->button->tap();
    EXPECT_EQ(rows(), QStringList{"12.5 3.25 300,128,12 on north \"mast\""}) << "colours are not clamped";
    const QString id = stored().value(0)->id();
    EXPECT_EQ(std::tuple(id.size(), id.toUpper(), nav->depth()), std::tuple(qsizetype(36), id, 1)) << "the form closed";

    // Without an application delegate nothing is listed or saved.
    azimuthSettingsVC list(fake.context);
    NewAzimuthVC detached(fake.context);
    list.appDelegate = detached.appDelegate = nullptr;
    list.loadViewIfNeeded();
    detached.loadViewIfNeeded();
    detached.azimuth->userEdit("1");
    detached.distance->userEdit("1");
    detached.add();
    EXPECT_EQ(std::pair(list.numberOfRowsInSection(1), stored().size()), std::pair(3, qsizetype(1)));
}

TEST_F(AzimuthForm, AnEditDropsTheFractionMilesStoreTheShownValueTimesTheFactorAndAFailedEditChangesNothing) {
    Azimuth* a = addAzimuth(10.5, 2.0, "mast", 1, 2, 3);
    NewAzimuthVC* vc = showEdit(a->id());
    ASSERT_TRUE(vc);
    EXPECT_EQ(std::pair(vc->title(), vc->button->title()), std::pair(QString("edit azimuth"), QString("update")));
    EXPECT_EQ((QStringList{vc->azimuth->text(), vc->distance->text(), vc->pointDesc->text(), vc->greenValue->text()}),
              (QStringList{"10.5", "2.00", "mast", "2"}));
    vc->button->tap();
    EXPECT_EQ(std::tuple(rows(), stored().first()->id(), nav->depth()),
              std::tuple(QStringList{"10 2 1,2,3 on mast"}, a->id(), 2)) << "back on the list";

    vc = showEdit(a->id());
    type(vc->azimuth, "-123.7");
    vc->button->tap();
    EXPECT_EQ(stored().first()->azimuth(), -123.0);

    defaults().setBool(true, SettingsKey::useImperialUnits);
    vc = showEdit(a->id());
    EXPECT_EQ((QStringList{vc->distanceLabel->text(), vc->distance->text()}), (QStringList{"Distance [mi]", "1.24"}));
    vc->button->tap();
    EXPECT_EQ(stored().first()->distance(), 1.24 * 1.609344);
    vc = showNew();
    type(vc->azimuth, "1");
    type(vc->distance, "1");
    vc->button->tap();
    EXPECT_EQ(stored().last()->distance(), 1.609344);

    // Too large for an edit: refused, the form stays and says so.
    vc = showEdit(a->id());
    type(vc->azimuth, "1e12");
    zltest::LogCapture log;
    vc->button->tap();
    EXPECT_TRUE(log.contains("doesn't fit 32 bits"));
    EXPECT_EQ(std::tuple(stored().first()->azimuth(), nav->topViewController() == vc, vc->statusLbl->text().isEmpty(),
                         isFault(vc->azimuthLabel)),
              std::tuple(-123.0, true, false, true));
    // An id no longer stored: the form closes with nothing written.
    vc = showEdit(a->id());
    context()->deleteObject(a);
    ASSERT_TRUE(context()->save(nullptr));
    type(vc->azimuth, "1");
    vc->button->tap();
    EXPECT_EQ(rows(), QStringList{"1 1.60934 255,0,0 on "}) << rows().join('|').toStdString();
    EXPECT_EQ(nav->depth(), 2);
}

