#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace zl {

// Read-only access to one MBTiles file (table or view `tiles` with
// zoom_level, tile_column, tile_row in TMS order, tile_data). Each thread
// that reads gets its own connection, so lookups from a pool of threads
// never share a lock.
class MbtilesReader {
public:
    explicit MbtilesReader(std::string path);
    ~MbtilesReader();
    MbtilesReader(const MbtilesReader&) = delete;
    MbtilesReader& operator=(const MbtilesReader&) = delete;

    const std::string& path() const { return m_path; }

    // Opens the file once and checks that tiles can be read from it.
    bool check(std::string& error) const;

    // The tile at zoom z, column x, row y counted from the north (XYZ).
    // False when there is no such tile or the file cannot be read.
    bool tile(int z, int x, int y, std::string& data) const;

    struct ThreadConnection;

private:
    ThreadConnection* connection() const;

    std::string m_path;
    std::uint64_t m_id;
};

// Writes a new MBTiles file in the deduplicating layout: `map` places,
// `images` data, and the `tiles` view that readers use. Identical tiles
// share one image row. Everything is one transaction, committed by finish().
class MbtilesWriter {
public:
    MbtilesWriter();
    ~MbtilesWriter();
    MbtilesWriter(const MbtilesWriter&) = delete;
    MbtilesWriter& operator=(const MbtilesWriter&) = delete;

    // Refuses a file that already holds tiles. Errors name the file.
    bool open(const std::string& path, const std::map<std::string, std::string>& metadata, std::string& error);
    // z, x, y in XYZ numbering; stored flipped (TMS) as MBTiles wants. One
    // tile per place.
    bool addTile(int z, int x, int y, const std::string& data, std::string& error);
    bool finish(std::string& error);

    int tileCount() const { return m_tiles; }
    int imageCount() const { return m_images; }

private:
    bool fail(std::string& error);

    struct Private;
    std::unique_ptr<Private> d;
    int m_tiles = 0;
    int m_images = 0;
};

}  // namespace zl
