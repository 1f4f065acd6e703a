// Import and export screens on real folders.

#include "AzimutImportVC.h"
#include "AzimuthExportVC.h"
#include "files/DocumentFolder.h"
#include "azimuth_fixture.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>

using aztest::ScreenTest;

namespace {

using zltest::readFile;

QByteArray reference(const char* name) {
    return readFile(zltest::sourcePath(QStringLiteral("tests/data/azimuth/") + QLatin1String(name)));
}

class Files : public ScreenTest {
protected:
    QString folder() const { return DocumentFolder::path(fake.context.paths, QStringLiteral("azimuths")); }
    void writeFile(const QString& name, const QByteArray& bytes) {
        ASSERT_FALSE(zltest::writeFile(QDir(folder()).filePath(name), bytes).isEmpty());
    }
    // Exports under a name on a fresh screen and waits for the write.
    std::pair<bool, QString> exportAs(const QString& name, AzimuthExportVC* vc = nullptr) {
        if (!vc) vc = open<AzimuthExportVC>("exportAzimuths");
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
    // Imports the named file of the folder on a fresh screen; true when it was read.
    bool importFile(const QString& name, bool deleteFirst = false) {
        AzimutImportVC* vc = showImport();
        int row = -1;
        for (int i = 0; i < vc->files.size(); ++i)
            if (vc->files[i].fileName() == name) row = i;
        EXPECT_GE(row, 0) << name.toStdString();
        vc->tableView->selectRow(row);
        vc->deleteAllAzimuths->userToggle(deleteFirst);
        QSignalSpy done(vc, &AzimutImportVC::importFinished);
        vc->importButtons->tap();
        EXPECT_TRUE(done.wait(5000));
        const bool ok = !done.isEmpty() && done.at(0).at(0).toBool();
        EXPECT_EQ(nav->topViewController() == vc, !ok) << "the screen closes only when the file was read";
        if (!ok) EXPECT_TRUE(vc->statusLbl->text().contains("Nothing was changed")) << name.toStdString();
        return ok;
    }
};

}  // namespace

TEST_F(Files, ExportWritesTheTextByteForByteAClashGetsTheStampAThirdIsRefusedAndNamesStayInTheFolder) {
    setManual(false, 52.0, 21.0);  // the manual position is written even when not in use
    addAzimuth(10.5, 2.0, "a", 255, 0, 0, true);
    addAzimuth(90.0, 1.5, "", 0, 0, 255, false);
    // A file where the folder should be: the screen stays and says why.
    const QString blocker = zltest::writeFile(fake.context.paths.documentsPath("azimuths"), "x");
    {
        zltest::LogCapture log;
        auto* vc = open<AzimuthExportVC>("exportAzimuths");
        EXPECT_FALSE(exportAs("x", vc).first);
        EXPECT_EQ(nav->topViewController(), vc);
        EXPECT_TRUE(vc->statusLbl->text().startsWith("Could not write")) << vc->statusLbl->text().toStdString();
        EXPECT_TRUE(log.contains("Unable to create directory: "));
    }
    ASSERT_TRUE(QFile::remove(blocker));
    const auto [ok, path] = exportAs("two");
    ASSERT_TRUE(ok) << path.toStdString();
    EXPECT_EQ(path, QDir(folder()).filePath("two.json"));
    EXPECT_EQ(readFile(path).toStdString(), reference("two_azimuths.json").toStdString());
    EXPECT_TRUE(fake.appDelegate.notice().contains(path));
    EXPECT_EQ(nav->depth(), 1) << "the screen closed";

    const auto [stampedOk, stamped] = exportAs("two");
    ASSERT_TRUE(stampedOk);
    const QString stamp = fake.clock.now().toLocalTime().toString("yyyy.MM.dd_HH.mm.ss");
    EXPECT_EQ(QFileInfo(stamped).fileName(), "two_" + stamp + ".json");
    EXPECT_EQ(readFile(stamped), readFile(path));
    // Both names taken: nothing is overwritten, the screen stays and says so.
    addAzimuth(2.0, 2.0, "three");
    auto* vc = open<AzimuthExportVC>("exportAzimuths");
    EXPECT_FALSE(exportAs("two", vc).first);
    EXPECT_EQ(std::pair(readFile(stamped), readFile(path)), std::pair(readFile(path), reference("two_azimuths.json")));
    EXPECT_EQ(nav->topViewController(), vc);
    EXPECT_TRUE(vc->statusLbl->text().contains("already exist")) << vc->statusLbl->text().toStdString();
    fake.clock.advance(1000);
    EXPECT_TRUE(exportAs("two", vc).first);
    EXPECT_EQ(QDir(folder()).entryList(QDir::Files).size(), 3);

    // A name that would lead out stays in the folder (the point export walks
    // the other hostile names through the same writer).
    EXPECT_EQ(exportAs("../evil"), std::pair(true, QDir(folder()).filePath(".._evil.json")));
}

TEST_F(Files, ImportReadsTheExportedTextTakesItsPositionGivesNewIdsAndDeleteFirstReplaces) {
    writeFile("two.json", reference("two_azimuths.json"));
    writeFile("b-other.txt", "x");
    AzimutImportVC* vc = showImport();
    ASSERT_EQ(vc->folder()->numberOfRowsInSection(0), 2) << "no filter by extension";
    EXPECT_EQ(vc->folder()->cellForRowAtIndexPath(0, 0).fields.value("file"), "b-other.txt");

    addAzimuth(5.0, 5.0, "kept");
    ASSERT_TRUE(importFile("two.json"));
    EXPECT_EQ(rows(), (QStringList{"5 5 255,0,0 on kept", "10.5 2 255,0,0 off a", "90 1.5 0,0,255 off "}))
        << rows().join('|').toStdString();
    EXPECT_EQ(manual(), std::tuple(true, 52.0, 21.0));
    ASSERT_TRUE(importFile("two.json"));
    QSet<QString> ids;
    for (const Azimuth* s : stored()) ids << s->id();
    EXPECT_EQ(ids.size(), 5) << "every import gives new ids";
    EXPECT_EQ(stored().at(1)->id().size(), 36);

    // A file at latitude 0 or without azimuths leaves the position.
    setManual(false, 10.0, 20.0);
    writeFile("zero.json", R"({"latitude": 0, "longitude": 5, "azimuths": [{"azimuth": 1}, {"azimuth": 2}]})");
    writeFile("empty.json", R"({"latitude": 7, "longitude": 8, "azimuths": []})");
    ASSERT_TRUE(importFile("zero.json", /*deleteFirst=*/true));
    ASSERT_TRUE(importFile("empty.json"));
    EXPECT_EQ(rows(), (QStringList{"1 0 0,0,0 off ", "2 0 0,0,0 off "}));
    EXPECT_EQ(manual(), std::tuple(false, 10.0, 20.0));
}

TEST_F(Files, FilesThatCantBeReadLeaveTheStoreAsItWas) {
    addAzimuth(1.0, 1.0, "old");
    setManual(false, 3.0, 4.0);
    // What the reader refuses is listed with the file's tests; here one of each path: refused, unreadable.
    const QStringList names = {"huge.json", "sub.json"};
    writeFile("huge.json", R"({"azimuths": [{"colorRed": 1e10}]})");
    QDir().mkpath(QDir(folder()).filePath("sub.json"));
    for (const QString& name : names) {
        EXPECT_FALSE(importFile(name, /*deleteFirst=*/true)) << name.toStdString();
        EXPECT_EQ(rows(), QStringList{"1 1 255,0,0 on old"}) << name.toStdString();
    }
    EXPECT_EQ(manual(), std::tuple(false, 3.0, 4.0));
}

TEST_F(Files, AnEmptyFolderOrNoChosenFileImportsNothingAndASecondTapWhileWorkingIsIgnored) {
    zltest::LogCapture log;
    AzimutImportVC* vc = showImport();
    EXPECT_EQ(vc->folder()->numberOfRowsInSection(0), 0);
    EXPECT_TRUE(log.contains("Error while enumerating files " + folder()));

    writeFile("two.json", reference("two_azimuths.json"));
    vc = showImport();
    EXPECT_EQ(vc->selectedFile, -1);
    QSignalSpy done(vc, &AzimutImportVC::importFinished);
    vc->importAzimuths();
    EXPECT_FALSE(vc->busy());
    QCoreApplication::processEvents();
    EXPECT_TRUE(done.isEmpty());
    EXPECT_EQ(nav->topViewController(), vc);

    // A second tap while working is ignored.
    vc->tableView->selectRow(0);
    vc->importButtons->tap();
    EXPECT_TRUE(vc->busy());
    vc->importButtons->tap();
    ASSERT_TRUE(done.wait(5000));
    QCoreApplication::processEvents();
    EXPECT_EQ(done.size(), 1);
    EXPECT_EQ(stored().size(), 2) << "imported once";

    auto* out = open<AzimuthExportVC>("exportAzimuths");
    QSignalSpy written(out, &AzimuthExportVC::exportFinished);
    out->filename->userEdit("once");
    out->exportAzimuths();
    out->exportAzimuths();
    ASSERT_TRUE(written.wait(5000));
    QCoreApplication::processEvents();
    EXPECT_EQ(written.size(), 1);
    EXPECT_EQ(QDir(folder()).entryList({"once*"}, QDir::Files).size(), 1);
}

TEST_F(Files, AFileFromElsewhereIsCopiedInListedAndChosen) {
    QTemporaryDir elsewhere;
    const QString source = zltest::writeFile(QDir(elsewhere.path()).filePath("from phone.json"),
                                             reference("two_azimuths.json"));
    AzimutImportVC* vc = showImport();
    QSignalSpy copied(vc, &AzimutImportVC::copyFinished);
    QSignalSpy listed(vc, &AzimutImportVC::filesListed);
    for (int copy = 1; copy <= 2; ++copy) {
        vc->copyFileIntoFolder(QUrl::fromLocalFile(source));
        ASSERT_TRUE(copied.wait(5000));
        ASSERT_TRUE(copied.last().at(0).toBool()) << vc->statusLbl->text().toStdString();
        ASSERT_TRUE(listed.wait(5000));
        ASSERT_EQ(vc->files.size(), copy);
        // Again: the copy gets a stamp rather than replacing the first.
        EXPECT_TRUE(vc->files[vc->selectedFile].fileName().startsWith(copy == 1 ? "from phone.json" : "from phone_"));
    }
    EXPECT_EQ(readFile(source), reference("two_azimuths.json")) << "the original stays";

    vc->copyFileIntoFolder(QUrl::fromLocalFile(QDir(elsewhere.path()).filePath("missing.json")));
    ASSERT_TRUE(copied.wait(5000));
    EXPECT_FALSE(copied.last().at(0).toBool());
    EXPECT_TRUE(vc->statusLbl->text().startsWith("Could not copy"));
    vc->copyFileIntoFolder(QUrl("https://example.invalid/a.json"));
    EXPECT_FALSE(copied.last().at(0).toBool());
}
