#include "mbtiles_writer.h"

#include "Mbtiles.h"

#include <QBuffer>
#include <QImage>

namespace zltest {

bool writeMbtiles(const QString& path, const MbtilesTiles& tiles, QString* error)
{
    zl::MbtilesWriter writer;
    std::string why;
    bool ok = writer.open(path.toStdString(), {}, why);
    for (auto it = tiles.begin(); ok && it != tiles.end(); ++it) {
        const auto& [z, x, y] = it->first;
        ok = writer.addTile(z, x, y, it->second.toStdString(), why);
    }
    ok = ok && writer.finish(why);
    if (!ok && error)
        *error = QString::fromStdString(why);
    return ok;
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
