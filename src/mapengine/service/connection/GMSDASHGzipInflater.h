#pragma once

#include <string>

struct z_stream_s;

// Streaming gzip decoding of a response body, chunk by chunk.
class GMSDASHGzipInflater {
public:
    GMSDASHGzipInflater();
    ~GMSDASHGzipInflater();
    GMSDASHGzipInflater(const GMSDASHGzipInflater&) = delete;
    GMSDASHGzipInflater& operator=(const GMSDASHGzipInflater&) = delete;

    // Appends what the chunk decodes to. False on corrupt data.
    bool feed(const char* data, std::size_t size, std::string& out);
    // True once the gzip trailer has been read.
    bool finished() const { return m_finished; }

private:
    z_stream_s* m_stream;
    bool m_finished = false;
    bool m_failed = false;
};
