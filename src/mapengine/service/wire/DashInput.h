#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zenloft::wire {

// Reads framing values from bytes that may still be arriving. Reading past
// the available bytes throws DashNeedMoreData while the input is open (more
// may come) and DashFramingError once it is complete (the body is cut short).
// Callers that stream save position() before a unit and rewind on
// DashNeedMoreData.
class DashInput {
public:
    DashInput() = default;
    DashInput(std::string_view bytes, bool complete) : m_bytes(bytes), m_complete(complete) {}

    void reset(std::string_view bytes, bool complete, std::size_t position)
    {
        m_bytes = bytes;
        m_complete = complete;
        m_pos = position;
    }

    std::uint16_t readUInt16();
    std::uint32_t readUInt32();
    std::uint64_t readUInt64();
    std::int64_t readInt64() { return static_cast<std::int64_t>(readUInt64()); }
    std::u16string readString();
    std::string readUtf8String();
    std::string_view readBytes(std::size_t n);
    // 32-bit length and the block it announces.
    std::string_view readLengthPrefixed();

    std::size_t position() const { return m_pos; }
    void seek(std::size_t pos) { m_pos = pos; }
    std::size_t available() const { return m_bytes.size() - m_pos; }
    bool atEnd() const { return m_complete && m_pos == m_bytes.size(); }
    bool isComplete() const { return m_complete; }

private:
    void require(std::size_t n) const;

    std::string_view m_bytes;
    std::size_t m_pos = 0;
    bool m_complete = true;
};

}  // namespace zenloft::wire
