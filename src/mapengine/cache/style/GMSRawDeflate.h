#pragma once

#include <QByteArray>

// Raw deflate (no zlib header, no checksum), as style tables lie on disk.
// Both answer an empty array on failure.
QByteArray gmsRawDeflate(const QByteArray& data);
QByteArray gmsRawInflate(const QByteArray& compressed);
