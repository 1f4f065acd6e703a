// The MBTiles file: written in the deduplicating layout, read back through
// the `tiles` view from several threads.
#include "Mbtiles.h"
#include "SqliteConnection.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using Rows = std::map<std::tuple<int, int, int>, std::string>;

// Every row of the tiles view, keyed by (zoom, column, TMS row).
Rows readRows(const std::string& path) {
    Rows rows;
    zl::sqlite::Connection db;
    EXPECT_TRUE(db.open(QString::fromStdString(path), zl::sqlite::Connection::Access::ReadOnly));
    EXPECT_TRUE(db.query("SELECT zoom_level, tile_column, tile_row, tile_data FROM tiles", {}, [&](const auto& row) {
        rows[{int(row.int64(0)), int(row.int64(1)), int(row.int64(2))}] = row.blob(3).toStdString();
    }));
    return rows;
}

}  // namespace

TEST(Mbtiles, TilesLandInTmsRowsByteForByteSharedWhenEqualReadBackByXyzAndBadFilesAreRefused) {
    QTemporaryDir dir;
    const std::string path = dir.filePath("t.mbtiles").toStdString();
    const std::string binary("\x00\x01\xff zero inside", 15);
    {
        zl::MbtilesWriter w;
        std::string error;
        ASSERT_TRUE(w.open(path, {{"name", "t"}, {"format", "png"}}, error)) << error;
        for (const auto& [z, x, y, data] : std::vector<std::tuple<int, int, int, std::string>>{
                 {0, 0, 0, "root"}, {2, 3, 0, binary}, {2, 1, 1, "root"}, {3, 1, 6, ""}})
            ASSERT_TRUE(w.addTile(z, x, y, data, error)) << error;
        EXPECT_FALSE(w.addTile(2, 3, 0, "again", error));  // one tile per place
        EXPECT_NE(error.find(path), std::string::npos) << error;
        ASSERT_TRUE(w.finish(error)) << error;
        EXPECT_EQ(std::pair(w.tileCount(), w.imageCount()), std::pair(4, 3));
    }
    // The northern row is the last TMS row.
    const Rows rows{{{0, 0, 0}, "root"}, {{2, 1, 2}, "root"}, {{2, 3, 3}, binary}, {{3, 1, 1}, ""}};
    EXPECT_EQ(readRows(path), rows);

    zl::MbtilesReader reader(path);
    std::string error;
    ASSERT_TRUE(reader.check(error)) << error;
    // Each thread reads on its own connection.
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&] {
            for (int n = 0; n < 50; ++n) {
                std::string data;
                if (!reader.tile(2, 3, 0, data) || data != binary) ++wrong;
                if (!reader.tile(2, 1, 1, data) || data != "root") ++wrong;
                // Absent, empty, and outside the zoom's grid.
                if (reader.tile(2, 0, 0, data) || reader.tile(3, 1, 6, data) || reader.tile(1, 2, 0, data) ||
                    reader.tile(-1, 0, 0, data))
                    ++wrong;
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(wrong.load(), 0);

    // Files that can't be written or read are refused with their path.
    zl::MbtilesWriter again;
    EXPECT_FALSE(again.open(path, {}, error));  // already has its tables
    EXPECT_NE(error.find(path), std::string::npos) << error;
    EXPECT_EQ(readRows(path).at({0, 0, 0}), "root");

    zl::MbtilesWriter nowhere;
    EXPECT_FALSE(nowhere.open(dir.filePath("no/such/folder/t.mbtiles").toStdString(), {}, error));

    for (const std::string& bad : {dir.filePath("missing.mbtiles").toStdString(), dir.path().toStdString()}) {
        zl::MbtilesReader reader(bad);
        error.clear();
        EXPECT_FALSE(reader.check(error));
        EXPECT_EQ(error.rfind(bad, 0), 0u) << error;
        std::string data;
        EXPECT_FALSE(reader.tile(0, 0, 0, data));
    }
}
