#pragma once

#include <QByteArray>
#include <QString>

#include <map>

struct sqlite3;
struct sqlite3_stmt;

namespace zenloft::basemap {

// Writes an MBTiles file in the deduplicating layout (map + images, with the
// `tiles` view that readers use). Identical tiles share one image row.
class MbtilesWriter {
public:
    MbtilesWriter() = default;
    ~MbtilesWriter();
    MbtilesWriter(const MbtilesWriter&) = delete;
    MbtilesWriter& operator=(const MbtilesWriter&) = delete;

    bool open(const QString& path, const std::map<QString, QString>& metadata, QString& error);
    // z, x, y in XYZ numbering; stored flipped (TMS) as MBTiles wants.
    bool addTile(int z, int x, int y, const QByteArray& data, QString& error);
    bool finish(QString& error);

    int tileCount() const { return m_tiles; }
    int imageCount() const { return m_images; }

private:
    bool exec(const char* sql, QString& error);

    sqlite3* m_db = nullptr;
    sqlite3_stmt* m_insertMap = nullptr;
    sqlite3_stmt* m_insertImage = nullptr;
    std::map<QByteArray, QByteArray> m_idByHash;
    int m_tiles = 0;
    int m_images = 0;
};

}  // namespace zenloft::basemap
