#include "Mbtiles.h"

#include "SqliteConnection.h"

#include <QCryptographicHash>

#include <atomic>
#include <cstdio>
#include <optional>
#include <set>
#include <unordered_map>

namespace zl {

using sqlite::Connection;
using sqlite::Reset;
using sqlite::Statement;

namespace {

std::atomic<std::uint64_t> g_nextReaderId{1};

int tmsRow(int z, int y) { return (1 << z) - 1 - y; }

const char* const kSelectTile =
    "SELECT tile_data FROM tiles WHERE zoom_level = ?1 AND tile_column = ?2 AND tile_row = ?3";

}  // namespace

struct MbtilesReader::ThreadConnection {
    Connection db;
    Statement* select = nullptr;
};

namespace {
// Connections of this thread, by reader id; closed when the thread ends.
struct ThreadConnections {
    std::unordered_map<std::uint64_t, std::unique_ptr<MbtilesReader::ThreadConnection>> byReader;
};
thread_local ThreadConnections t_connections;
}  // namespace

MbtilesReader::MbtilesReader(std::string path) : m_path(std::move(path)), m_id(g_nextReaderId++) {}

MbtilesReader::~MbtilesReader() {
    // Connections of other threads close when those threads end (the
    // server's pool is gone by the time readers are destroyed); ids are
    // never reused, so a stale entry is never picked up again.
    t_connections.byReader.erase(m_id);
}

MbtilesReader::ThreadConnection* MbtilesReader::connection() const {
    auto& slot = t_connections.byReader[m_id];
    if (slot) return slot->select ? slot.get() : nullptr;
    slot = std::make_unique<ThreadConnection>();
    if (!slot->db.open(QString::fromStdString(m_path), Connection::Access::ReadOnly) ||
        !(slot->select = slot->db.statement(kSelectTile))) {
        std::fprintf(stderr, "cannot read tiles from %s: %s\n", m_path.c_str(),
                     qPrintable(slot->db.error()));
        return nullptr;
    }
    return slot.get();
}

bool MbtilesReader::check(std::string& error) const {
    Connection db;
    bool ok = db.open(QString::fromStdString(m_path), Connection::Access::ReadOnly);
    if (ok) {
        Statement* s = db.statement("SELECT zoom_level, tile_column, tile_row, tile_data FROM tiles LIMIT 1");
        ok = s && (s->step() || !s->failed());
    }
    if (!ok) error = m_path + ": " + db.error().toStdString();
    return ok;
}

bool MbtilesReader::tile(int z, int x, int y, std::string& data) const {
    if (z < 0 || z > 30 || x < 0 || y < 0 || x >= (1 << z) || y >= (1 << z)) return false;
    ThreadConnection* c = connection();
    if (!c) return false;
    Reset reset(*c->select);
    c->select->bind(1, z);
    c->select->bind(2, x);
    c->select->bind(3, tmsRow(z, y));
    if (!c->select->step()) return false;
    const QByteArray blob = c->select->blob(0);
    if (blob.isEmpty()) return false;
    data.assign(blob.constData(), size_t(blob.size()));
    return true;
}

struct MbtilesWriter::Private {
    Connection db;
    std::optional<sqlite::Transaction> transaction;
    std::set<QByteArray> hashes;
};

MbtilesWriter::MbtilesWriter() : d(std::make_unique<Private>()) {}
MbtilesWriter::~MbtilesWriter() = default;

bool MbtilesWriter::fail(std::string& error) {
    error = d->db.path().toStdString() + ": " + d->db.error().toStdString();
    return false;
}

bool MbtilesWriter::open(const std::string& path, const std::map<std::string, std::string>& metadata,
                         std::string& error) {
    if (!d->db.open(QString::fromStdString(path)) ||
        // A written file is read, never updated: no journal to keep.
        !d->db.exec(QStringLiteral(
            "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
            "CREATE TABLE metadata (name TEXT PRIMARY KEY, value TEXT);"
            "CREATE TABLE map (zoom_level INTEGER, tile_column INTEGER, tile_row INTEGER, tile_id TEXT);"
            "CREATE UNIQUE INDEX map_index ON map (zoom_level, tile_column, tile_row);"
            "CREATE TABLE images (tile_id TEXT PRIMARY KEY, tile_data BLOB);"
            "CREATE VIEW tiles AS SELECT map.zoom_level AS zoom_level, map.tile_column AS tile_column,"
            " map.tile_row AS tile_row, images.tile_data AS tile_data"
            " FROM map JOIN images ON images.tile_id = map.tile_id;")))
        return fail(error);
    d->transaction.emplace(d->db);
    if (!d->transaction->isActive()) return fail(error);
    for (const auto& [name, value] : metadata)
        if (!d->db.query(QStringLiteral("INSERT INTO metadata VALUES (?, ?)"),
                         {QString::fromStdString(name), QString::fromStdString(value)}))
            return fail(error);
    return true;
}

bool MbtilesWriter::addTile(int z, int x, int y, const std::string& data, std::string& error) {
    const QByteArray bytes = QByteArray::fromRawData(data.data(), qsizetype(data.size()));
    const QByteArray hash = QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex();
    const QString id = QString::fromLatin1(hash);
    if (!d->db.query(QStringLiteral("INSERT INTO map VALUES (?, ?, ?, ?)"), {z, x, tmsRow(z, y), id}))
        return fail(error);
    if (!d->hashes.count(hash)) {
        if (!d->db.query(QStringLiteral("INSERT INTO images VALUES (?, ?)"), {id, QByteArray(bytes)}))
            return fail(error);
        d->hashes.insert(hash);
        ++m_images;
    }
    ++m_tiles;
    return true;
}

bool MbtilesWriter::finish(std::string& error) {
    if (!d->transaction || !d->transaction->commit()) return fail(error);
    d->transaction.reset();
    d->db.close();
    return true;
}

}  // namespace zl
