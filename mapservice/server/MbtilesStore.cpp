#include "MbtilesStore.h"

#include <sqlite3.h>

#include <atomic>
#include <cstdio>
#include <unordered_map>

namespace zenloft::mapservice {

namespace {
std::atomic<std::uint64_t> g_nextStoreId{1};
}

struct MbtilesStore::Connection {
    sqlite3* db = nullptr;
    sqlite3_stmt* select = nullptr;
    bool failed = false;

    ~Connection()
    {
        sqlite3_finalize(select);
        sqlite3_close(db);
    }
};

namespace {
// Connections of this thread, by store id; closed when the thread ends.
struct ThreadConnections {
    std::unordered_map<std::uint64_t, MbtilesStore::Connection*> byStore;
    ~ThreadConnections()
    {
        for (auto& [id, c] : byStore)
            delete c;
    }
};
thread_local ThreadConnections t_connections;
}  // namespace

MbtilesStore::MbtilesStore(std::string path) : m_path(std::move(path)), m_id(g_nextStoreId++) {}

MbtilesStore::~MbtilesStore()
{
    // Connections of other threads close when those threads end (the
    // server's pool is gone by the time stores are destroyed); ids are
    // never reused, so a stale entry is never picked up again.
    auto it = t_connections.byStore.find(m_id);
    if (it != t_connections.byStore.end()) {
        delete it->second;
        t_connections.byStore.erase(it);
    }
}

MbtilesStore::Connection* MbtilesStore::connection() const
{
    auto& slot = t_connections.byStore[m_id];
    if (slot)
        return slot->failed ? nullptr : slot;
    slot = new Connection;
    if (sqlite3_open_v2(m_path.c_str(), &slot->db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr)
            != SQLITE_OK
        || sqlite3_prepare_v3(slot->db,
                              "SELECT tile_data FROM tiles WHERE zoom_level = ?1 AND tile_column = ?2"
                              " AND tile_row = ?3",
                              -1, SQLITE_PREPARE_PERSISTENT, &slot->select, nullptr)
            != SQLITE_OK) {
        std::fprintf(stderr, "zenloft-mapservice: cannot read tiles from %s: %s\n", m_path.c_str(),
                     slot->db ? sqlite3_errmsg(slot->db) : "out of memory");
        slot->failed = true;
        return nullptr;
    }
    return slot;
}

bool MbtilesStore::check(std::string& error) const
{
    sqlite3* db = nullptr;
    bool ok = sqlite3_open_v2(m_path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK;
    sqlite3_stmt* st = nullptr;
    ok = ok
        && sqlite3_prepare_v2(db, "SELECT zoom_level, tile_column, tile_row, tile_data FROM tiles LIMIT 1",
                              -1, &st, nullptr)
            == SQLITE_OK;
    if (ok) {
        const int rc = sqlite3_step(st);
        ok = rc == SQLITE_ROW || rc == SQLITE_DONE;
    }
    if (!ok)
        error = m_path + ": " + (db ? sqlite3_errmsg(db) : "cannot open");
    sqlite3_finalize(st);
    sqlite3_close(db);
    return ok;
}

bool MbtilesStore::tile(int z, int x, int y, std::string& data) const
{
    if (z < 0 || z > 30 || x < 0 || y < 0 || x >= (1 << z) || y >= (1 << z))
        return false;
    Connection* c = connection();
    if (!c)
        return false;
    const int tmsRow = (1 << z) - 1 - y;
    sqlite3_bind_int(c->select, 1, z);
    sqlite3_bind_int(c->select, 2, x);
    sqlite3_bind_int(c->select, 3, tmsRow);
    bool found = false;
    if (sqlite3_step(c->select) == SQLITE_ROW) {
        const void* blob = sqlite3_column_blob(c->select, 0);
        const int n = sqlite3_column_bytes(c->select, 0);
        if (blob && n > 0) {
            data.assign(static_cast<const char*>(blob), static_cast<std::size_t>(n));
            found = true;
        }
    }
    sqlite3_reset(c->select);
    return found;
}

}  // namespace zenloft::mapservice
