#include "mbtiles_writer.h"

#include <QBuffer>
#include <QImage>

#include <sqlite3.h>

namespace zltest {

namespace {

bool fail(sqlite3* db, const QString& path, QString* error)
{
    if (error)
        *error = QStringLiteral("%1: %2").arg(path, QString::fromUtf8(db ? sqlite3_errmsg(db) : "out of memory"));
    return false;
}

}  // namespace

bool writeMbtiles(const QString& path, const MbtilesTiles& tiles, QString* error)
{
    sqlite3* db = nullptr;
    if (sqlite3_open(path.toUtf8().constData(), &db) != SQLITE_OK) {
        fail(db, path, error);
        sqlite3_close(db);
        return false;
    }
    bool ok = sqlite3_exec(db,
                           "CREATE TABLE metadata (name TEXT, value TEXT);"
                           "CREATE TABLE tiles (zoom_level INTEGER, tile_column INTEGER, tile_row INTEGER,"
                           " tile_data BLOB);"
                           "CREATE UNIQUE INDEX tile_index ON tiles (zoom_level, tile_column, tile_row);"
                           "BEGIN;",
                           nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_stmt* st = nullptr;
    ok = ok && sqlite3_prepare_v2(db, "INSERT INTO tiles VALUES (?,?,?,?)", -1, &st, nullptr) == SQLITE_OK;
    for (auto it = tiles.begin(); ok && it != tiles.end(); ++it) {
        const auto& [z, x, y] = it->first;
        const QByteArray& data = it->second;
        sqlite3_bind_int(st, 1, z);
        sqlite3_bind_int(st, 2, x);
        sqlite3_bind_int(st, 3, (1 << z) - 1 - y);
        sqlite3_bind_blob(st, 4, data.constData(), int(data.size()), SQLITE_STATIC);
        ok = sqlite3_step(st) == SQLITE_DONE;
        sqlite3_reset(st);
    }
    sqlite3_finalize(st);
    ok = ok && sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!ok)
        fail(db, path, error);
    return sqlite3_close(db) == SQLITE_OK && ok;
}

bool writeMbtiles(const QString& path, int maxZoom, const std::function<QByteArray(int z, int x, int y)>& tile,
                  QString* error)
{
    MbtilesTiles tiles;
    for (int z = 0; z <= maxZoom; ++z)
        for (int x = 0; x < (1 << z); ++x)
            for (int y = 0; y < (1 << z); ++y)
                tiles[{z, x, y}] = tile(z, x, y);
    return writeMbtiles(path, tiles, error);
}

QByteArray pngBytes(const QImage& image)
{
    QByteArray bytes;
    QBuffer buf(&bytes);
    buf.open(QIODevice::WriteOnly);
    image.save(&buf, "PNG");
    return bytes;
}

}  // namespace zltest
