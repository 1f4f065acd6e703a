#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <map>
#include <tuple>

class QImage;

namespace zltest {

// A tile address as the map asks for it: zoom, x, y with y counted from the
// north (XYZ). The writer turns y into MBTiles' TMS row.
using MbtilesKey = std::tuple<int, int, int>;
using MbtilesTiles = std::map<MbtilesKey, QByteArray>;

// Writes a new MBTiles file (zl::MbtilesWriter) holding exactly the given
// tiles. False, with the reason and the path in *error when given, if the
// file cannot be written.
bool writeMbtiles(const QString& path, const MbtilesTiles& tiles, QString* error = nullptr);

// Every tile of zooms 0 to maxZoom, made by tile(z, x, y).
bool writeMbtiles(const QString& path, int maxZoom, const std::function<QByteArray(int z, int x, int y)>& tile,
                  QString* error = nullptr);

// The picture encoded as PNG.
QByteArray pngBytes(const QImage& image);

}  // namespace zltest
