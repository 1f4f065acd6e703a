#include "GMSDASHGzipInflater.h"

#include <zlib.h>

GMSDASHGzipInflater::GMSDASHGzipInflater() : m_stream(new z_stream{})
{
    // 16 + MAX_WBITS: gzip wrapper only.
    if (inflateInit2(m_stream, 16 + MAX_WBITS) != Z_OK)
        m_failed = true;
}

GMSDASHGzipInflater::~GMSDASHGzipInflater()
{
    inflateEnd(m_stream);
    delete m_stream;
}

bool GMSDASHGzipInflater::feed(const char* data, std::size_t size, std::string& out)
{
    if (m_failed)
        return false;
    if (m_finished)
        return size == 0;
    m_stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
    m_stream->avail_in = static_cast<uInt>(size);
    char buf[64 * 1024];
    while (m_stream->avail_in > 0 || m_stream->avail_out == 0) {
        m_stream->next_out = reinterpret_cast<Bytef*>(buf);
        m_stream->avail_out = sizeof buf;
        const int rc = inflate(m_stream, Z_NO_FLUSH);
        out.append(buf, sizeof buf - m_stream->avail_out);
        if (rc == Z_STREAM_END) {
            m_finished = true;
            return m_stream->avail_in == 0;
        }
        if (rc != Z_OK && rc != Z_BUF_ERROR) {
            m_failed = true;
            return false;
        }
        if (rc == Z_BUF_ERROR && m_stream->avail_in == 0)
            break;
    }
    return true;
}
