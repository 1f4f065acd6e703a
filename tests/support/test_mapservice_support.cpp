// The test-made MBTiles writer and the map service child, checked against
// sqlite itself and against small stand-in programs.
#include "mapservice_child.h"
#include "mbtiles_writer.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sqlite3.h>

namespace {

// Every row of the tiles table, keyed by (zoom, column, TMS row).
std::map<std::tuple<int, int, int>, QByteArray> readRows(const QString& path)
{
    std::map<std::tuple<int, int, int>, QByteArray> rows;
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_stmt* st = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db, "SELECT zoom_level, tile_column, tile_row, tile_data FROM tiles", -1, &st,
                                 nullptr),
              SQLITE_OK);
    while (st && sqlite3_step(st) == SQLITE_ROW)
        rows[{sqlite3_column_int(st, 0), sqlite3_column_int(st, 1), sqlite3_column_int(st, 2)}] =
            QByteArray(static_cast<const char*>(sqlite3_column_blob(st, 3)), sqlite3_column_bytes(st, 3));
    sqlite3_finalize(st);
    sqlite3_close(db);
    return rows;
}

}  // namespace

TEST(MbtilesWriter, TilesLandInTmsRowsByteForByte)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("t.mbtiles");
    const QByteArray binary("\x00\x01\xff zero inside", 15);
    QString error;
    ASSERT_TRUE(zltest::writeMbtiles(path, {{{0, 0, 0}, "root"}, {{2, 3, 0}, binary}, {{3, 1, 6}, ""}}, &error))
        << error.toStdString();
    const auto rows = readRows(path);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows.at({0, 0, 0}), "root");
    EXPECT_EQ(rows.at({2, 3, 3}), binary);  // the northern row is the last TMS row
    EXPECT_EQ(rows.at({3, 1, 1}), "");

    // Every zoom level filled by the callback.
    const QString full = dir.filePath("full.mbtiles");
    ASSERT_TRUE(zltest::writeMbtiles(full, 2, [](int z, int x, int y) {
        return QByteArray::number(z) + "/" + QByteArray::number(x) + "/" + QByteArray::number(y);
    }));
    const auto all = readRows(full);
    EXPECT_EQ(all.size(), 1u + 4u + 16u);
    EXPECT_EQ(all.at({2, 1, 0}), "2/1/3");
}

TEST(MbtilesWriter, AFileThatCannotBeWrittenIsRefusedWithItsPath)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("t.mbtiles");
    ASSERT_TRUE(zltest::writeMbtiles(path, {{{0, 0, 0}, "first"}}));
    QString error;
    EXPECT_FALSE(zltest::writeMbtiles(path, {{{0, 0, 0}, "second"}}, &error));  // already has its tables
    EXPECT_TRUE(error.contains(path)) << error.toStdString();
    EXPECT_EQ(readRows(path).at({0, 0, 0}), "first");

    error.clear();
    EXPECT_FALSE(zltest::writeMbtiles(dir.filePath("no/such/folder/t.mbtiles"), {}, &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST(MbtilesWriter, PngBytesDecodeToThePicture)
{
    QImage img(4, 3, QImage::Format_ARGB32);
    img.fill(qRgba(10, 20, 30, 40));
    const QByteArray png = zltest::pngBytes(img);
    ASSERT_TRUE(png.startsWith("\x89PNG"));
    EXPECT_EQ(QImage::fromData(png).convertToFormat(QImage::Format_ARGB32), img);
}

TEST(MapServiceChild, AProgramThatCannotStartGivesNoEndpointAndAReason)
{
    zltest::MapServiceChild child;
    EXPECT_FALSE(child.start(QStringLiteral("/nonexistent/zenloft-mapservice"), {}, 5000).isValid());
    EXPECT_TRUE(child.error().contains("did not start")) << child.error().toStdString();
    EXPECT_FALSE(child.isRunning());
    child.stop();  // nothing to stop
}

TEST(MapServiceChild, TheEndpointLineIsReadAndEverythingPrintedKept)
{
    zltest::MapServiceChild child;
    // echo prints the arguments it gets: the loopback ones first.
    const QUrl url = child.start(QStringLiteral("/bin/echo"), {"endpoint", "http://127.0.0.1:4711/"}, 5000);
    EXPECT_EQ(url, QUrl("http://127.0.0.1:4711/"));
    EXPECT_EQ(child.endpoint(), url);
    EXPECT_TRUE(child.error().isEmpty());
    child.stop();
    EXPECT_FALSE(child.isRunning());
    EXPECT_EQ(child.standardOutput(), "--address 127.0.0.1 --port 0 endpoint http://127.0.0.1:4711/\n");
    EXPECT_EQ(child.standardError(), "");

    // A second start forgets the first run.
    EXPECT_FALSE(child.start(QStringLiteral("/bin/echo"), {"listening", "nowhere"}, 5000).isValid());
    EXPECT_FALSE(child.endpoint().isValid());
    EXPECT_TRUE(child.error().contains("listening nowhere")) << child.error().toStdString();
    EXPECT_FALSE(child.standardOutput().contains("4711"));
}
