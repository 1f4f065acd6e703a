#include "MbtilesFixture.h"

#include <QBuffer>
#include <QImage>

#include <sqlite3.h>

#include <stdexcept>

namespace zltest {

namespace {
std::string png(QColor colour, int seed)
{
    QImage img(256, 256, QImage::Format_RGB32);
    img.fill(colour);
    for (int i = 0; i < 256; ++i)
        img.setPixel(i, (i * seed) % 256, qRgb(seed * 10 % 256, i, 255 - i));
    QByteArray bytes;
    QBuffer buf(&bytes);
    buf.open(QIODevice::WriteOnly);
    img.save(&buf, "PNG");
    return bytes.toStdString();
}
}  // namespace

MbtilesFixture::MbtilesFixture()
{
    m_path = m_dir.filePath("test.mbtiles").toStdString();
    m_tiles[{0, 0, 0}] = png(Qt::blue, 1);
    m_tiles[{1, 0, 0}] = png(Qt::green, 2);
    m_tiles[{1, 1, 0}] = png(Qt::yellow, 3);
    m_tiles[{2, 3, 1}] = png(Qt::red, 4);
    sqlite3* db = nullptr;
    if (sqlite3_open(m_path.c_str(), &db) != SQLITE_OK)
        throw std::runtime_error("cannot create test MBTiles");
    sqlite3_exec(db,
                 "CREATE TABLE metadata (name TEXT, value TEXT);"
                 "CREATE TABLE tiles (zoom_level INTEGER, tile_column INTEGER, tile_row INTEGER,"
                 " tile_data BLOB);"
                 "CREATE UNIQUE INDEX tile_index ON tiles (zoom_level, tile_column, tile_row);",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO tiles VALUES (?,?,?,?)", -1, &st, nullptr);
    for (const auto& [key, data] : m_tiles) {
        const auto [z, x, y] = key;
        sqlite3_bind_int(st, 1, z);
        sqlite3_bind_int(st, 2, x);
        sqlite3_bind_int(st, 3, (1 << z) - 1 - y);
        sqlite3_bind_blob(st, 4, data.data(), static_cast<int>(data.size()), SQLITE_TRANSIENT);
        sqlite3_step(st);
        sqlite3_reset(st);
    }
    sqlite3_finalize(st);
    sqlite3_close(db);
}

zenloft::wire::GMSx_GMMMapTileProto tileProto(int type, int z, int x, int y)
{
    zenloft::wire::GMSx_GMMMapTileProto t;
    t.set_tile_type(static_cast<zenloft::wire::GMSx_GMMTileType>(type));
    t.set_zoom_level(z);
    t.set_tile_index_x(x);
    t.set_tile_index_y(y);
    return t;
}

std::string framedTileBody(const std::string& apiKey,
                           const zenloft::wire::GMSx_GMMMapTileRequestProto& tiles, bool withCookieRequest)
{
    using namespace zenloft::wire;
    DashOutput out;
    DashRequestHeader h;
    h.language = u"en";
    h.platform = u"ios:test";
    h.softwareVersion = u"1";
    writeRequestHeader(out, h);
    if (withCookieRequest)
        out.writeUInt16(kDashUserCookieRequest);
    GMSx_GMMClientPropertiesRequestProto props;
    props.mutable_ios_api_app_fingerprint()->set_api_key(apiKey);
    out.writeUInt16(kDashClientPropertiesRequest);
    out.writeMessage(props);
    out.writeUInt16(kDashMapTileRequest);
    out.writeMessage(tiles);
    return out.take();
}

}  // namespace zltest
