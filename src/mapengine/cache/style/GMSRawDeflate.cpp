#include "GMSRawDeflate.h"

#include <zlib.h>

QByteArray gmsRawDeflate(const QByteArray& data) {
    if (data.isEmpty()) return {};
    z_stream z{};
    if (deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
    QByteArray out(int(deflateBound(&z, uLong(data.size()))), Qt::Uninitialized);
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    z.avail_in = uInt(data.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = uInt(out.size());
    const int rc = deflate(&z, Z_FINISH);
    const auto produced = qsizetype(z.total_out);
    deflateEnd(&z);
    if (rc != Z_STREAM_END) return {};
    out.truncate(produced);
    return out;
}

QByteArray gmsRawInflate(const QByteArray& compressed) {
    if (compressed.isEmpty()) return {};
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) return {};
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.constData()));
    z.avail_in = uInt(compressed.size());
    QByteArray out;
    char buf[16384];
    int rc = Z_OK;
    // Bounded: each round either consumes input or produces output, or stops.
    while (rc == Z_OK) {
        z.next_out = reinterpret_cast<Bytef*>(buf);
        z.avail_out = sizeof buf;
        rc = inflate(&z, Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END) break;
        const qsizetype got = qsizetype(sizeof buf - z.avail_out);
        out.append(buf, got);
        if (rc == Z_OK && got == 0 && z.avail_in == 0) break;  // truncated stream
    }
    inflateEnd(&z);
    return rc == Z_STREAM_END ? out : QByteArray();
}
