#pragma once

#include <cstdint>
#include <string>

namespace zenloft::mapservice {

// Read-only access to one MBTiles file (table or view `tiles` with
// zoom_level, tile_column, tile_row in TMS order, tile_data). Each thread
// that reads gets its own SQLite connection, so lookups never share a lock.
class MbtilesStore {
public:
    explicit MbtilesStore(std::string path);
    ~MbtilesStore();
    MbtilesStore(const MbtilesStore&) = delete;
    MbtilesStore& operator=(const MbtilesStore&) = delete;

    const std::string& path() const { return m_path; }

    // Opens the file once and checks that tiles can be read from it.
    bool check(std::string& error) const;

    // The tile at zoom z, column x, row y counted from the north (XYZ).
    // False when there is no such tile or the file cannot be read.
    bool tile(int z, int x, int y, std::string& data) const;

    struct Connection;  // one SQLite connection of one thread

private:
    Connection* connection() const;

    std::string m_path;
    std::uint64_t m_id;
};

}  // namespace zenloft::mapservice
