#pragma once

#include <QBuffer>
#include <QByteArray>
#include <QImage>

namespace zenloft::basemap {

// The bytes stored for a tile: the image as PNG.
inline QByteArray tilePng(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

}  // namespace zenloft::basemap
