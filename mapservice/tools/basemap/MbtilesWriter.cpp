#include "MbtilesWriter.h"

#include <QCryptographicHash>

#include <sqlite3.h>

namespace zenloft::basemap {

MbtilesWriter::~MbtilesWriter()
{
    sqlite3_finalize(m_insertMap);
    sqlite3_finalize(m_insertImage);
    sqlite3_close(m_db);
}

bool MbtilesWriter::exec(const char* sql, QString& error)
{
    char* msg = nullptr;
    if (sqlite3_exec(m_db, sql, nullptr, nullptr, &msg) == SQLITE_OK)
        return true;
    error = QString::fromUtf8(msg ? msg : "sqlite error");
    sqlite3_free(msg);
    return false;
}

bool MbtilesWriter::open(const QString& path, const std::map<QString, QString>& metadata, QString& error)
{
    if (sqlite3_open(path.toUtf8().constData(), &m_db) != SQLITE_OK) {
        error = QStringLiteral("cannot create %1").arg(path);
        return false;
    }
    if (!exec("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
              "CREATE TABLE metadata (name TEXT PRIMARY KEY, value TEXT);"
              "CREATE TABLE map (zoom_level INTEGER, tile_column INTEGER, tile_row INTEGER, tile_id TEXT);"
              "CREATE UNIQUE INDEX map_index ON map (zoom_level, tile_column, tile_row);"
              "CREATE TABLE images (tile_id TEXT PRIMARY KEY, tile_data BLOB);"
              "CREATE VIEW tiles AS SELECT map.zoom_level AS zoom_level, map.tile_column AS tile_column,"
              " map.tile_row AS tile_row, images.tile_data AS tile_data"
              " FROM map JOIN images ON images.tile_id = map.tile_id;"
              "BEGIN;",
              error))
        return false;
    sqlite3_stmt* meta = nullptr;
    sqlite3_prepare_v2(m_db, "INSERT INTO metadata VALUES (?, ?)", -1, &meta, nullptr);
    for (const auto& [k, v] : metadata) {
        const QByteArray kk = k.toUtf8(), vv = v.toUtf8();
        sqlite3_bind_text(meta, 1, kk.constData(), static_cast<int>(kk.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(meta, 2, vv.constData(), static_cast<int>(vv.size()), SQLITE_TRANSIENT);
        sqlite3_step(meta);
        sqlite3_reset(meta);
    }
    sqlite3_finalize(meta);
    if (sqlite3_prepare_v2(m_db, "INSERT INTO map VALUES (?, ?, ?, ?)", -1, &m_insertMap, nullptr) != SQLITE_OK
        || sqlite3_prepare_v2(m_db, "INSERT INTO images VALUES (?, ?)", -1, &m_insertImage, nullptr)
            != SQLITE_OK) {
        error = QString::fromUtf8(sqlite3_errmsg(m_db));
        return false;
    }
    return true;
}

bool MbtilesWriter::addTile(int z, int x, int y, const QByteArray& data, QString& error)
{
    const QByteArray hash = QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
    sqlite3_bind_int(m_insertMap, 1, z);
    sqlite3_bind_int(m_insertMap, 2, x);
    sqlite3_bind_int(m_insertMap, 3, (1 << z) - 1 - y);
    sqlite3_bind_text(m_insertMap, 4, hash.constData(), static_cast<int>(hash.size()), SQLITE_TRANSIENT);
    const int rc = sqlite3_step(m_insertMap);
    sqlite3_reset(m_insertMap);
    if (rc != SQLITE_DONE) {
        error = QString::fromUtf8(sqlite3_errmsg(m_db));
        return false;
    }
    if (!m_idByHash.count(hash)) {
        sqlite3_bind_text(m_insertImage, 1, hash.constData(), static_cast<int>(hash.size()), SQLITE_TRANSIENT);
        sqlite3_bind_blob(m_insertImage, 2, data.constData(), static_cast<int>(data.size()), SQLITE_TRANSIENT);
        const int rc = sqlite3_step(m_insertImage);
        sqlite3_reset(m_insertImage);
        if (rc != SQLITE_DONE) {
            error = QString::fromUtf8(sqlite3_errmsg(m_db));
            return false;
        }
        m_idByHash[hash] = hash;
        ++m_images;
    }
    ++m_tiles;
    return true;
}

bool MbtilesWriter::finish(QString& error)
{
    return exec("COMMIT;", error);
}

}  // namespace zenloft::basemap
