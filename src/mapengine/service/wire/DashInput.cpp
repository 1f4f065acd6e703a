#include "DashInput.h"

#include "DashErrors.h"
#include "ModifiedUtf8.h"

namespace zenloft::wire {

void DashInput::require(std::size_t n) const
{
    if (m_bytes.size() - m_pos >= n)
        return;
    if (!m_complete)
        throw DashNeedMoreData{};
    throw DashFramingError("body ends after " + std::to_string(m_bytes.size()) + " bytes, "
                           + std::to_string(n) + " more needed at " + std::to_string(m_pos));
}

std::uint16_t DashInput::readUInt16()
{
    require(2);
    const auto* p = reinterpret_cast<const unsigned char*>(m_bytes.data() + m_pos);
    m_pos += 2;
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}

std::uint32_t DashInput::readUInt32()
{
    require(4);
    const auto* p = reinterpret_cast<const unsigned char*>(m_bytes.data() + m_pos);
    m_pos += 4;
    return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8)
        | std::uint32_t(p[3]);
}

std::uint64_t DashInput::readUInt64()
{
    require(8);
    const std::uint64_t hi = readUInt32();
    return (hi << 32) | readUInt32();
}

std::string_view DashInput::readBytes(std::size_t n)
{
    require(n);
    const std::string_view v = m_bytes.substr(m_pos, n);
    m_pos += n;
    return v;
}

std::u16string DashInput::readString()
{
    const std::size_t start = m_pos;
    const std::uint16_t n = readUInt16();
    try {
        const std::string_view raw = readBytes(n);
        std::u16string out;
        if (!decodeModifiedUtf8(raw, out))
            throw DashFramingError("malformed modified UTF-8 at " + std::to_string(start));
        return out;
    } catch (const DashNeedMoreData&) {
        m_pos = start;
        throw;
    }
}

std::string DashInput::readUtf8String()
{
    return utf16ToUtf8(readString());
}

std::string_view DashInput::readLengthPrefixed()
{
    const std::size_t start = m_pos;
    const std::uint32_t n = readUInt32();
    try {
        return readBytes(n);
    } catch (const DashNeedMoreData&) {
        m_pos = start;
        throw;
    }
}

}  // namespace zenloft::wire
