// Import and export screens on real folders: the exchanged text byte for
// byte, name clashes with the stamp, names that try to leave the folder,
// files from other installations, files that can't be read (the store stays
// as it was), copying a file in from elsewhere, and random input.

#include "AzimutImportVC.h"
#include "AzimuthExportVC.h"
#include "AzimuthFile.h"
#include "AzimuthFolder.h"
#include "azimuth_fixture.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>

#include <random>

using aztest::ScreenTest;

namespace {

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

QByteArray reference(const char* name) {
    return readAll(zltest::sourcePath(QStringLiteral("tests/data/azimuth/") + QLatin1String(name)));
}

class Files : public ScreenTest {
protected:
    QString folder() const { return AzimuthFolder::path(fake.context.paths); }

    AzimuthExportVC* showExport() {
        return open<AzimuthExportVC>("exportAzimuths");
    }
    // Exports under a name and waits for the write.
    std::pair<bool, QString> exportAs(AzimuthExportVC* vc, const QString& name) {
        QSignalSpy done(vc, &AzimuthExportVC::exportFinished);
        vc->filename->userEdit(name);
        vc->exportAzimuths();
        if (!done.wait(5000)) return {false, "<no answer>"};
        return {done.at(0).at(0).toBool(), done.at(0).at(1).toString()};
    }

    AzimutImportVC* showImport() {
        auto* vc = open<AzimutImportVC>("importAzimuths");
        QSignalSpy listed(vc, &AzimutImportVC::filesListed);
        EXPECT_TRUE(listed.wait(5000));
        return vc;
    }
    // Imports the named file of the folder; true when it was read.
    bool importFile(AzimutImportVC* vc, const QString& name, bool deleteFirst = false) {
        int row = -1;
        for (int i = 0; i < vc->files.size(); ++i)
            if (vc->files[i].fileName() == name) row = i;
        EXPECT_GE(row, 0) << name.toStdString();
        vc->tableView->selectRow(row);
        EXPECT_EQ(vc->selectedFile, row);
        vc->deleteAllAzimuths->userToggle(deleteFirst);
        QSignalSpy done(vc, &AzimutImportVC::importFinished);
        vc->importButtons->tap();
        EXPECT_TRUE(done.wait(5000));
        return !done.isEmpty() && done.at(0).at(0).toBool();
    }
    QStringList descs() {
        QStringList out;
        for (const Azimuth* a : stored()) out << a->desc();
        return out;
    }
};

}  // namespace

TEST_F(Files, ExportWritesTheExchangedTextByteForByteAndSaysWhere) {
    setManual(false, 52.0, 21.0);  // the manual position is written even when not in use
    addAzimuth(10.5, 2.0, "a", 255, 0, 0, true);
    addAzimuth(90.0, 1.5, "", 0, 0, 255, false);
    AzimuthExportVC* vc = showExport();
    ASSERT_TRUE(vc);
    EXPECT_EQ(vc->title(), "export");
    EXPECT_EQ(vc->filenameLbl->text(), "filename");
    EXPECT_EQ(vc->exportTitleLbl->text(), "export azimuth markers to file");
    EXPECT_FALSE(QDir(folder()).exists());
    const auto [ok, path] = exportAs(vc, "two");
    ASSERT_TRUE(ok) << path.toStdString();
    EXPECT_EQ(path, QDir(folder()).filePath("two.json"));
    EXPECT_EQ(readAll(path).toStdString(), reference("two_azimuths.json").toStdString());
    EXPECT_TRUE(appDelegate->notice().contains(path));
    EXPECT_EQ(nav->depth(), 1) << "the screen closed";
}

TEST_F(Files, ExportWithoutSettingsOrAzimuthsAndWithAnEmptyName) {
    AzimuthExportVC* vc = showExport();
    const auto [ok, path] = exportAs(vc, "");
    ASSERT_TRUE(ok);
    EXPECT_EQ(QFileInfo(path).fileName(), ".json");
    EXPECT_EQ(readAll(path), "{\n\"latitude\": 0.0,\n\"longitude\": 0.0,\n\"azimuths\": [\n]\n}");
}

TEST_F(Files, AClashGetsTheStampAndAThirdWithinTheSecondIsRefused) {
    addAzimuth(1.0, 1.0, "one");
    AzimuthExportVC* vc = showExport();
    ASSERT_TRUE(exportAs(vc, "same").first);
    vc = showExport();
    const auto [ok, stamped] = exportAs(vc, "same");
    ASSERT_TRUE(ok);
    const QString stamp = clock.now().toLocalTime().toString("yyyy.MM.dd_HH.mm.ss");
    EXPECT_EQ(QFileInfo(stamped).fileName(), "same_" + stamp + ".json");
    EXPECT_EQ(readAll(stamped), readAll(QDir(folder()).filePath("same.json")));

    // Both names taken: nothing is overwritten, the screen stays and says so.
    addAzimuth(2.0, 2.0, "two");
    vc = showExport();
    const QByteArray before = readAll(stamped);
    const auto third = exportAs(vc, "same");
    EXPECT_FALSE(third.first);
    EXPECT_EQ(readAll(stamped), before);
    EXPECT_EQ(nav->topViewController(), vc);
    EXPECT_TRUE(vc->statusLbl->text().contains("already exist")) << vc->statusLbl->text().toStdString();

    clock.advance(1000);
    EXPECT_TRUE(exportAs(vc, "same").first);
    EXPECT_EQ(QDir(folder()).entryList(QDir::Files).size(), 3);
}

TEST_F(Files, NamesWithSlashesOrDotsStayInTheFolder) {
    const QStringList outsideBefore = QDir(fake.context.paths.documentsDir()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    struct Case {
        const char* typed;
        const char* file;
    };
    for (const Case c : {Case{"../evil", ".._evil.json"}, Case{"a/b", "a_b.json"}, Case{"..", "...json"},
                         Case{"/abs", "_abs.json"}, Case{"../../x", ".._.._x.json"}}) {
        AzimuthExportVC* vc = showExport();
        const auto [ok, path] = exportAs(vc, c.typed);
        ASSERT_TRUE(ok) << c.typed << ": " << path.toStdString();
        EXPECT_EQ(QFileInfo(path).absolutePath(), QDir(folder()).absolutePath()) << c.typed;
        EXPECT_EQ(QFileInfo(path).fileName(), c.file) << c.typed;
    }
    QStringList outsideAfter = QDir(fake.context.paths.documentsDir()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    outsideAfter.removeAll("azimuths");
    EXPECT_EQ(outsideAfter, outsideBefore);
    EXPECT_FALSE(QFileInfo::exists(QDir(dir.path()).filePath("evil.json")));
}

TEST_F(Files, AnExportThatCantBeWrittenStaysAndSaysWhy) {
    writeFile(fake.context.paths.documentsPath("azimuths"), "a file where the folder should be");
    zltest::LogCapture log;
    AzimuthExportVC* vc = showExport();
    const auto [ok, path] = exportAs(vc, "x");
    EXPECT_FALSE(ok);
    EXPECT_EQ(nav->topViewController(), vc);
    EXPECT_TRUE(vc->statusLbl->text().startsWith("Could not write")) << vc->statusLbl->text().toStdString();
    EXPECT_TRUE(log.contains("Unable to create directory: "));
}

TEST_F(Files, ImportReadsTheExportedTextAndTakesItsPosition) {
    writeFile(QDir(folder()).filePath("two.json"), reference("two_azimuths.json"));
    writeFile(QDir(folder()).filePath("b-other.txt"), "x");
    AzimutImportVC* vc = showImport();
    EXPECT_EQ(vc->title(), "import");
    EXPECT_EQ(vc->selectFileToImport->text(), "select file to import");
    EXPECT_EQ(vc->deleteAllBeforeImportLabel->text(), "delete existing azimuths before import");
    ASSERT_EQ(vc->numberOfRowsInSection(0), 2) << "no filter by extension";
    EXPECT_EQ(vc->cellForRowAtIndexPath(0, 0).cellClass, "importCell");
    EXPECT_EQ(vc->cellForRowAtIndexPath(0, 0).fields.value("file"), "b-other.txt");

    addAzimuth(5.0, 5.0, "kept");
    ASSERT_TRUE(importFile(vc, "two.json"));
    EXPECT_EQ(nav->depth(), 1) << "the screen closed";
    EXPECT_EQ(descs(), (QStringList{"kept", "a", ""}));
    const Azimuth* a = stored().at(1);
    EXPECT_EQ(a->azimuth(), 10.5);
    EXPECT_EQ(a->distance(), 2.0);
    EXPECT_EQ(a->colorRed(), 255);
    EXPECT_EQ(stored().at(2)->colorBlue(), 255);
    EXPECT_EQ(a->id().size(), 36);
    EXPECT_NE(a->id(), stored().at(2)->id());
    EXPECT_TRUE(defaults().boolForKey(SettingsKey::useGeocoder));
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::latitude), 52.0);
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::longitude), 21.0);
}

TEST_F(Files, ImportingTwiceGivesEveryAzimuthTwiceWithNewIds) {
    writeFile(QDir(folder()).filePath("two.json"), reference("two_azimuths.json"));
    ASSERT_TRUE(importFile(showImport(), "two.json"));
    ASSERT_TRUE(importFile(showImport(), "two.json"));
    ASSERT_EQ(stored().size(), 4);
    QSet<QString> ids;
    for (const Azimuth* a : stored()) ids << a->id();
    EXPECT_EQ(ids.size(), 4);
}

TEST_F(Files, DeleteBeforeImportReplacesTheStoredAzimuths) {
    writeFile(QDir(folder()).filePath("n.json"), reference("numbers_as_numbers.json"));
    addAzimuth(1.0, 1.0, "old");
    ASSERT_TRUE(importFile(showImport(), "n.json", /*deleteFirst=*/true));
    EXPECT_EQ(descs(), (QStringList{"north-east", ""}));
    EXPECT_EQ(stored().at(0)->colorGreen(), 128);
    EXPECT_EQ(stored().at(1)->azimuth(), 270.5);
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::latitude), 48.5);
}

TEST_F(Files, AFileAtLatitudeZeroOrWithNoAzimuthsLeavesThePositionAlone) {
    setManual(false, 10.0, 20.0);
    writeFile(QDir(folder()).filePath("zero.json"),
              R"({"latitude": 0, "longitude": 5, "azimuths": [{"azimuth": 1}, {"azimuth": 2}]})");
    writeFile(QDir(folder()).filePath("empty.json"), R"({"latitude": 7, "longitude": 8, "azimuths": []})");
    ASSERT_TRUE(importFile(showImport(), "zero.json"));
    EXPECT_EQ(stored().size(), 2);
    ASSERT_TRUE(importFile(showImport(), "empty.json"));
    EXPECT_EQ(stored().size(), 2);
    EXPECT_FALSE(defaults().boolForKey(SettingsKey::useGeocoder));
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::latitude), 10.0);
}

TEST_F(Files, AFileThatCantBeReadLeavesTheStoreAsItWasAndSaysSo) {
    writeFile(QDir(folder()).filePath("text.json"), "this is not JSON");
    writeFile(QDir(folder()).filePath("noarray.json"), R"({"latitude": 1.0, "longitude": 2.0})");
    writeFile(QDir(folder()).filePath("huge.json"), R"({"azimuths": [{"colorRed": 1e10}]})");
    QDir().mkpath(QDir(folder()).filePath("sub.json"));
    addAzimuth(1.0, 1.0, "old");
    setManual(false, 3.0, 4.0);
    for (const char* name : {"text.json", "noarray.json", "huge.json", "sub.json"}) {
        AzimutImportVC* vc = showImport();
        EXPECT_FALSE(importFile(vc, name, /*deleteFirst=*/true)) << name;
        EXPECT_EQ(nav->topViewController(), vc) << name << ": the screen stays";
        EXPECT_TRUE(vc->statusLbl->text().contains("Nothing was changed")) << vc->statusLbl->text().toStdString();
        EXPECT_EQ(descs(), QStringList{"old"}) << name;
        EXPECT_FALSE(defaults().boolForKey(SettingsKey::useGeocoder));
    }
}

TEST_F(Files, TheButtonWithoutAChosenFileDoesNothing) {
    writeFile(QDir(folder()).filePath("two.json"), reference("two_azimuths.json"));
    AzimutImportVC* vc = showImport();
    EXPECT_EQ(vc->selectedFile, -1);
    QSignalSpy done(vc, &AzimutImportVC::importFinished);
    vc->importAzimuths();
    EXPECT_FALSE(vc->busy());
    QCoreApplication::processEvents();
    EXPECT_TRUE(done.isEmpty());
    EXPECT_EQ(nav->topViewController(), vc);
}

TEST_F(Files, AMissingFolderGivesAnEmptyListAndALogLine) {
    zltest::LogCapture log;
    AzimutImportVC* vc = showImport();
    EXPECT_EQ(vc->numberOfRowsInSection(0), 0);
    EXPECT_TRUE(log.contains("Error while enumerating files " + folder()));
}

TEST_F(Files, AFileFromElsewhereIsCopiedInListedAndChosen) {
    QTemporaryDir elsewhere;
    const QString source = QDir(elsewhere.path()).filePath("from phone.json");
    writeFile(source, reference("two_azimuths.json"));
    AzimutImportVC* vc = showImport();
    QSignalSpy copied(vc, &AzimutImportVC::copyFinished);
    QSignalSpy listed(vc, &AzimutImportVC::filesListed);
    vc->copyFileIntoFolder(QUrl::fromLocalFile(source));
    ASSERT_TRUE(copied.wait(5000));
    ASSERT_TRUE(copied.at(0).at(0).toBool()) << vc->statusLbl->text().toStdString();
    ASSERT_TRUE(listed.wait(5000));
    ASSERT_EQ(vc->files.size(), 1);
    EXPECT_EQ(vc->files[0].fileName(), "from phone.json");
    EXPECT_EQ(vc->selectedFile, 0);
    EXPECT_EQ(readAll(source), reference("two_azimuths.json")) << "the original stays";

    // Again: the copy gets a stamp rather than replacing the first.
    vc->copyFileIntoFolder(QUrl::fromLocalFile(source));
    ASSERT_TRUE(copied.wait(5000));
    ASSERT_TRUE(listed.wait(5000));
    ASSERT_EQ(vc->files.size(), 2);
    EXPECT_TRUE(vc->files[vc->selectedFile].fileName().startsWith("from phone_"));

    vc->copyFileIntoFolder(QUrl::fromLocalFile(QDir(elsewhere.path()).filePath("missing.json")));
    ASSERT_TRUE(copied.wait(5000));
    EXPECT_FALSE(copied.last().at(0).toBool());
    EXPECT_TRUE(vc->statusLbl->text().startsWith("Could not copy"));
    vc->copyFileIntoFolder(QUrl("https://example.invalid/a.json"));
    EXPECT_FALSE(copied.last().at(0).toBool());
}

TEST_F(Files, RandomAndTruncatedFilesNeverChangeTheStore) {
    addAzimuth(1.0, 1.0, "old");
    setManual(false, 3.0, 4.0);
    const QByteArray good = reference("two_azimuths.json");
    std::mt19937 rng(1122);
    for (int round = 0; round < 24; ++round) {
        QByteArray bytes;
        if (round % 2 == 0) {
            bytes = good.left(int(rng() % good.size()));  // truncated
        } else {
            bytes = QByteArray(int(rng() % 300), '\0');
            for (char& c : bytes) c = char(rng() % 256);
        }
        const QString name = QStringLiteral("f%1.json").arg(round);
        writeFile(QDir(folder()).filePath(name), bytes);
        EXPECT_FALSE(importFile(showImport(), name, /*deleteFirst=*/true)) << round;
        EXPECT_EQ(descs(), QStringList{"old"}) << round;
    }
    EXPECT_FALSE(defaults().boolForKey(SettingsKey::useGeocoder));
}

TEST_F(Files, ExportedTextsWithQuotesAndLineBreaksImportBack) {
    const QString nasty = QStringLiteral("a \"b\"\\c\nd\te\x02");
    addAzimuth(12.25, 0.125, nasty, 1, 2, 3);
    AzimuthExportVC* vc = showExport();
    ASSERT_TRUE(exportAs(vc, "nasty").first);
    ASSERT_TRUE(importFile(showImport(), "nasty.json", /*deleteFirst=*/true));
    ASSERT_EQ(stored().size(), 1);
    EXPECT_EQ(stored().first()->desc(), nasty);
    EXPECT_EQ(stored().first()->azimuth(), 12.25);
    EXPECT_EQ(stored().first()->distance(), 0.125);
}

TEST_F(Files, ASecondTapWhileWorkingIsIgnored) {
    writeFile(QDir(folder()).filePath("two.json"), reference("two_azimuths.json"));
    AzimutImportVC* vc = showImport();
    vc->tableView->selectRow(0);
    QSignalSpy done(vc, &AzimutImportVC::importFinished);
    vc->importButtons->tap();
    EXPECT_TRUE(vc->busy());
    vc->importButtons->tap();
    ASSERT_TRUE(done.wait(5000));
    QCoreApplication::processEvents();
    EXPECT_EQ(done.size(), 1);
    EXPECT_EQ(stored().size(), 2) << "imported once";

    AzimuthExportVC* out = showExport();
    QSignalSpy written(out, &AzimuthExportVC::exportFinished);
    out->filename->userEdit("once");
    out->exportAzimuths();
    out->exportAzimuths();
    ASSERT_TRUE(written.wait(5000));
    QCoreApplication::processEvents();
    EXPECT_EQ(written.size(), 1);
    EXPECT_EQ(QDir(folder()).entryList({"once*"}, QDir::Files).size(), 1);
}
