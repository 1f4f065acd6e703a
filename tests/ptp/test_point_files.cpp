// The point files: the export byte for byte, its clash, hostile names and failed write; the import of what we and
// others write, of files that can't be read, cancelled or tapped twice, and of random bytes.

#include "PointFile.h"
#include "files/DocumentFolder.h"
#include "ptpMarkersExport.h"
#include "ptpSettingsImport.h"
#include "ptp_fixture.h"

#include <QDir>
#include <QSemaphore>
#include <QSignalSpy>
#include <QThreadPool>

#include <random>

using ptptest::ScreenTest;
using zltest::readFile;

namespace {

QByteArray golden(int points) {
    return readFile(zltest::sourcePath(QStringLiteral("tests/data/ptp_export_%1.json").arg(points)));
}

// What the user sees of a point, and what a file carries of it.
using Seen = std::tuple<QString, QString, double, double, qint64, qint64, qint64>;
Seen seen(const realm_ptp& p) {
    return {p.name, p.ptp_description, p.latitude, p.longitude, p.markerRed, p.markerGreen, p.markerBlue};
}

class PointFiles : public ScreenTest {
protected:
    QString folder(const char* name) const { return DocumentFolder::path(fake.context.paths, QLatin1String(name)); }
    QString inMarkers(const QString& file) const { return QDir(folder("markers")).filePath(file); }
    QList<Seen> stored() const {
        QList<Seen> out;
        for (const realm_ptp& p : points()) out << seen(p);
        return out;
    }
    // Opens a screen and waits for its first answer from the worker.
    template <class T, class Signal>
    T* show(const char* segue, Signal ready) {
        auto* vc = open<T>(segue);
        EXPECT_TRUE(QSignalSpy(vc, ready).wait(5000));
        return vc;
    }
    ptpMarkersExport* showExport() { return show<ptpMarkersExport>("ptpMarkersExport", &ptpMarkersExport::counted); }
    ptpSettingsImport* showImport() {
        return show<ptpSettingsImport>("ptpSettingsImport", &ptpSettingsImport::filesListed);
    }
    // Exports under a name and waits for the write: (ok, path).
    std::pair<bool, QString> exportAs(const QString& name, ptpMarkersExport* vc = nullptr) {
        if (!vc) vc = showExport();
        QSignalSpy done(vc, &ptpMarkersExport::exportFinished);
        vc->filename->userEdit(name);
        vc->exportPoints();
        if (!done.wait(5000)) return {false, "<no answer>"};
        EXPECT_EQ(nav->topViewController() == vc, !done.at(0).at(0).toBool()) << "closes only when written";
        return {done.at(0).at(0).toBool(), done.at(0).at(1).toString()};
    }
    void choose(ptpSettingsImport* vc, const QString& name, bool clearFirst) {
        vc->tableView->selectRow(int(vc->files.indexOf(QUrl::fromLocalFile(inMarkers(name)))));
        vc->deleteAllPoints->userToggle(clearFirst);
    }
    // Imports a file of "markers" by a tap; true when its points were stored.
    bool importFile(const QString& name, bool clearFirst = false, ptpSettingsImport* vc = nullptr) {
        if (!vc) vc = showImport();
        choose(vc, name, clearFirst);
        QSignalSpy done(vc, &ptpSettingsImport::importFinished);
        vc->importBtn->tap();
        EXPECT_TRUE(done.wait(5000));
        const bool ok = !done.isEmpty() && done.at(0).at(0).toBool();
        EXPECT_EQ(nav->topViewController() == vc, !ok) << "the screen closes only when the points were stored";
        return ok;
    }
    void put(const QString& name, const QByteArray& bytes) {
        ASSERT_FALSE(zltest::writeFile(inMarkers(name), bytes).isEmpty());
    }
};

}  // namespace

TEST_F(PointFiles, ExportWritesByteForByteClashesIntoAzimuthsKeepsNamesInTheFolderAndSaysWhenItCant) {
    for (int n = 0; n <= 2; ++n) {
        if (n == 1) addPoint("Mast A", 54.0, 21.00123, "roof, north side", 255, 128, 0);
        if (n == 2) addPoint(QString::fromUtf8("Zażółć"), -33.8688, 151.2093, "", 0, 0, 255);
        ptpMarkersExport* vc = showExport();
        EXPECT_EQ(vc->titleTXT->text(), QStringLiteral("found %1 entries").arg(n));
        const auto [ok, path] = exportAs(QStringLiteral("p%1").arg(n), vc);
        ASSERT_TRUE(ok) << path.toStdString();
        EXPECT_EQ(path, inMarkers(QStringLiteral("p%1.json").arg(n)));
        EXPECT_EQ(readFile(path).toStdString(), golden(n).toStdString()) << n;
        EXPECT_TRUE(vc->statusLabel->text().contains(path));
        EXPECT_EQ(vc->titleTXT->text(), "done");
    }
    const auto [stampedOk, stamped] = exportAs("p2");
    ASSERT_TRUE(stampedOk) << stamped.toStdString();
    EXPECT_EQ(stamped, QDir(folder("azimuths")).filePath("p2_" + DocumentFolder::stamp(clock.now()) + ".json"));
    EXPECT_EQ(readFile(stamped), golden(2));
    // Both taken: nothing is overwritten, the screen stays and says so.
    addPoint("third", 1.0, 1.0);
    auto* vc = showExport();
    EXPECT_FALSE(exportAs("p2", vc).first);
    EXPECT_EQ(std::pair(readFile(inMarkers("p2.json")), readFile(stamped)), std::pair(golden(2), golden(2)));
    EXPECT_TRUE(vc->statusLabel->text().contains("already exist")) << vc->statusLabel->text().toStdString();

    const QDir documents(fake.context.paths.documentsDir());
    const QStringList outsideBefore = documents.entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    for (auto [typed, file] : {std::pair{"../evil", ".._evil.json"}, {"a/b", "a_b.json"}, {"..", "...json"},
                               {"/abs", "_abs.json"}, {"", ".json"}}) {
        const auto [typedOk, typedPath] = exportAs(typed);
        ASSERT_TRUE(typedOk) << typed << ": " << typedPath.toStdString();
        EXPECT_EQ(typedPath, inMarkers(file)) << typed;
    }
    EXPECT_EQ(documents.entryList(QDir::AllEntries | QDir::NoDotAndDotDot), outsideBefore);

    for (int i = 3; i < 99; ++i) addPoint(QStringLiteral("p%1").arg(i), 1.0, 2.0);
    EXPECT_EQ(showExport()->titleTXT->text(), "found 99 entries");
    addPoint("p99", 1.0, 2.0);
    EXPECT_EQ(showExport()->titleTXT->text(), "found 100 entries\nexport can take a while");
    QList<std::pair<qsizetype, qsizetype>> heard;
    PointFile::exportText(QList<realm_ptp>(25), [&](qsizetype done, qsizetype total) { heard.append({done, total}); });
    EXPECT_EQ(heard, (QList<std::pair<qsizetype, qsizetype>>{{10, 25}, {20, 25}})) << "every tenth record";

    ASSERT_TRUE(QDir(folder("markers")).removeRecursively());
    ASSERT_FALSE(zltest::writeFile(folder("markers"), "a file where the folder should be").isEmpty());
    zltest::LogCapture log;
    vc = showExport();
    EXPECT_FALSE(exportAs("x", vc).first);
    EXPECT_TRUE(vc->statusLabel->text().startsWith("Could not write")) << vc->statusLabel->text().toStdString();
    EXPECT_FALSE(vc->busy());
}

TEST_F(PointFiles, WhatWeWriteReadsBackAndOtherInstallationsFilesMarkerFilesAndEmptyOnesAreRead) {
    addPoint("say \"hi\" \\ there", 52.123456789012, -0.000123, "two\nlines\t\"quoted\"", 1, 2, 3);
    addPoint(QString::fromUtf8("Zażółć"), -89.9, 179.99999, "", 0, 0, 255);
    const QList<Seen> before = stored();
    ASSERT_TRUE(exportAs("round").first);
    ASSERT_TRUE(importFile("round.json", /*clearFirst=*/true));
    EXPECT_EQ(stored(), before);
    ASSERT_TRUE(importFile("round.json"));
    EXPECT_EQ(stored(), before + before) << "a file read twice doubles the points";
    QSet<QString> ids;
    for (const realm_ptp& p : points()) ids << p.id;
    EXPECT_EQ(std::pair(ids.size(), ids.begin()->size()), std::pair(qsizetype(4), qsizetype(36)));

    // The validation area's marker export shares name, latitude and longitude.
    put("markers.json", "{\n\"markers\": [\n{\n\"name\": \"A\",\"desc\": \"B\",\"latitude\": \"52.1\",\"longitude\": "
                        "\"21.0\",\"colorRed\" : \"255\",\"colorGreen\" : \"0\",\"colorBlue\" : \"0\"}]\n}");
    // Numbers as numbers, texts holding numbers, a missing "blue", unknown keys, something that isn't an entry, a comma
    // behind the last one.
    put("other.json", R"({"version": 3, "markers": [{"name": 12, "description": true, "latitude": 48.5,
        "longitude": "-3.25", "red": "7.9", "green": 300, "extra": {"x": []}}, "stray", ]})");
    put("missing.json", R"({"points": [{"name": "x"}]})");
    put("empty.json", R"({"markers": []})");
    ASSERT_TRUE(importFile("markers.json", /*clearFirst=*/true));
    ASSERT_TRUE(importFile("other.json"));
    ASSERT_TRUE(importFile("missing.json"));
    EXPECT_EQ(stored(), (QList<Seen>{{"A", "", 52.1, 21.0, 0, 0, 0},
                                     {"12", "true", 48.5, -3.25, 7, 300, 0},
                                     {"", "", 0.0, 0.0, 0, 0, 0}}))
        << "a file without the list adds nothing";
    ASSERT_TRUE(importFile("empty.json", /*clearFirst=*/true));
    EXPECT_TRUE(stored().isEmpty()) << "clearing first with an empty list empties the store";
}

TEST_F(PointFiles, FilesThatCantBeReadLeaveTheStoreAsItWasAndSayWhyThenOneCopiedInIsReadAndRandomOnesNeverHalfWrite) {
    addPoint("Mast A", 54.0, 21.00123, "roof, north side", 255, 128, 0);
    const QList<Seen> before = stored();
    put("text.json", "this is not JSON");
    put("huge.json", R"({"markers": [{"name": "a"}, {"red": 1e19}]})");
    QDir().mkpath(inMarkers("sub.json"));
    put("gone.json", "{}");
    ptpSettingsImport* vc = showImport();
    ASSERT_TRUE(QFile::remove(inMarkers("gone.json")));  // between listing and reading
    for (const char* name : {"text.json", "huge.json", "sub.json", "gone.json"}) {
        EXPECT_FALSE(importFile(name, /*clearFirst=*/true, vc)) << name;
        EXPECT_EQ(std::pair(stored(), vc->importInfo->hidden() && !vc->busy()), std::pair(before, true)) << name;
        EXPECT_TRUE(vc->statusLbl->text().contains("Nothing was changed")) << name;
    }
    // The folder kept for later point files is made on a worker of its own.
    EXPECT_TRUE(zltest::waitFor([&] { return QDir(folder("ptp")).exists(); }));

    // A file from elsewhere is copied into "markers" and chosen.
    QTemporaryDir elsewhere;
    const QString source = zltest::writeFile(QDir(elsewhere.path()).filePath("site list.json"), golden(1));
    QSignalSpy listed(vc, &ptpSettingsImport::filesListed);
    vc->copyFileIntoFolder(QUrl::fromLocalFile(source));
    ASSERT_TRUE(listed.wait(5000));
    EXPECT_EQ(vc->files.value(vc->selectedFile).toLocalFile(), inMarkers("site list.json"));
    EXPECT_TRUE(importFile("site list.json", /*clearFirst=*/true, vc)) << "another import after the failures";
    EXPECT_EQ(stored().size(), 1);

    // Random and truncated files never crash and never half-write.
    const QString path = inMarkers("f.json");
    std::mt19937 rng(4711);
    const QByteArray good = golden(2);
    for (int round = 0; round < 200; ++round) {
        QByteArray bytes = good.left(int(rng() % (good.size() + 1)));
        if (round % 2)
            for (int k = 0; k < 1 + round % 5; ++k)
                if (!bytes.isEmpty()) bytes[int(rng() % bytes.size())] = char(rng() % 256);
        ASSERT_FALSE(zltest::writeFile(path, bytes).isEmpty());
        QString why;
        const auto parsed = PointFile::parse(bytes, &why);
        // All of the file, after the store was emptied if asked; or nothing at all.
        QList<Seen> expected = parsed && round % 3 == 0 ? QList<Seen>() : stored();
        for (const realm_ptp& p : parsed.value_or(QList<realm_ptp>())) expected << seen(p);
        PointFile::Job job;
        const auto outcome = ptpSettingsImport::importFile(fake.realm, path, round % 3 == 0, job);
        ASSERT_EQ(outcome.ok, parsed.has_value()) << outcome.error.toStdString();
        ASSERT_EQ(stored(), expected) << round << ": " << bytes.toStdString();
        EXPECT_TRUE(parsed || (!why.isEmpty() && outcome.error.contains(why)));
    }
}

TEST_F(PointFiles, ACancelLeavesTheStoreAsItWasEvenHalfwayThroughTheWriteTheImportTellsHowFarItIsAndRunsOncePerTap) {
    addPoint("Mast A", 54.0, 21.00123, "roof, north side", 255, 128, 0);
    QByteArray many = "{\"markers\": [";
    for (int i = 0; i < 100; ++i) many += QStringLiteral("%1{\"name\": \"n%2\"}").arg(i ? "," : "").arg(i).toUtf8();
    put("many.json", many + "]}");
    const QString path = inMarkers("many.json");
    const QList<Seen> before = stored();
    PointFile::Job cancelled;
    const auto outcome = ptpSettingsImport::importFile(fake.realm, path, /*clearFirst=*/true, cancelled, [&] {
        if (cancelled.state().done >= 50) cancelled.cancelled = true;  // in the write, after the store was emptied
    });
    EXPECT_EQ(std::pair(outcome.cancelled, outcome.ok), std::pair(true, false));
    EXPECT_EQ(stored(), before);
    fake.realm.reset();  // and on disk too
    EXPECT_EQ(stored(), before);

    // What the screen shows as it goes: saving counts every tenth from 0.
    PointFile::Job job;
    QStringList shown;
    const auto wake = [&] {
        const auto s = job.state();
        shown << (s.total ? QStringLiteral("%1 %2/%3").arg(s.phase).arg(s.done).arg(s.total) : s.phase);
    };
    ASSERT_TRUE(ptpSettingsImport::importFile(fake.realm, path, /*clearFirst=*/true, job, wake).ok);
    QStringList expected{"processing file, please wait...", "I'm clearing database..."};
    for (int i = 0; i < 100; i += 10) expected << QStringLiteral("saving data %1/100").arg(i);
    EXPECT_EQ(shown, expected);
    EXPECT_EQ(stored().size(), 100);

    // From the screen: one import per tap, a cancel before it runs, another after it.
    put("one.json", R"({"markers": [{"name": "one"}]})");
    ptpSettingsImport* vc = showImport();
    choose(vc, "one.json", /*clearFirst=*/false);
    QSignalSpy done(vc, &ptpSettingsImport::importFinished);
    // Hold the workers so that the taps land while the import waits to run.
    QThreadPool& pool = *QThreadPool::globalInstance();
    const int threads = pool.maxThreadCount();
    pool.setMaxThreadCount(1);
    QSemaphore gate;
    pool.start([&gate] { gate.acquire(); });
    vc->importBtn->tap();
    EXPECT_EQ(std::pair(vc->busy(), vc->importInfo->hidden()), std::pair(true, false));
    vc->importBtn->tap();
    vc->cancelBtn->tap();
    gate.release();
    ASSERT_TRUE(done.wait(5000));
    pool.setMaxThreadCount(threads);
    QCoreApplication::processEvents();
    EXPECT_EQ(done.size(), 1);
    ASSERT_FALSE(done.at(0).at(0).toBool()) << "cancelled, so the screen stays";
    EXPECT_EQ(stored().size(), 100);
    EXPECT_TRUE(vc->statusLbl->text().contains("cancelled"));

    vc->importBtn->tap();
    vc->importBtn->tap();
    ASSERT_TRUE(done.wait(5000));
    QCoreApplication::processEvents();
    EXPECT_EQ(done.size(), 2);
    EXPECT_EQ(std::pair(stored().size(), stored().last()), std::pair(qsizetype(101), Seen{"one", "", 0, 0, 0, 0, 0}))
        << "imported once";
    EXPECT_EQ(nav->depth(), 1);
}
