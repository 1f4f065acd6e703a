#include "DashOutput.h"

#include "DashErrors.h"
#include "ModifiedUtf8.h"

#include <google/protobuf/message_lite.h>

namespace zenloft::wire {

void DashOutput::writeUInt16(std::uint16_t v)
{
    const char b[2] = {static_cast<char>(v >> 8), static_cast<char>(v)};
    m_bytes.append(b, 2);
}

void DashOutput::writeUInt32(std::uint32_t v)
{
    const char b[4] = {static_cast<char>(v >> 24), static_cast<char>(v >> 16),
                       static_cast<char>(v >> 8), static_cast<char>(v)};
    m_bytes.append(b, 4);
}

void DashOutput::writeUInt64(std::uint64_t v)
{
    writeUInt32(static_cast<std::uint32_t>(v >> 32));
    writeUInt32(static_cast<std::uint32_t>(v));
}

void DashOutput::writeString(std::u16string_view text)
{
    const std::size_t n = modifiedUtf8Length(text);
    if (n > 0xFFFF)
        throw DashStringTooLongError("string of " + std::to_string(n)
                                     + " bytes does not fit a 16-bit length");
    writeUInt16(static_cast<std::uint16_t>(n));
    appendModifiedUtf8(m_bytes, text);
}

void DashOutput::writeMessage(const google::protobuf::MessageLite& message)
{
    const std::size_t n = message.ByteSizeLong();
    if (n > 0xFFFFFFFFu)
        throw DashFramingError("message too large for a 32-bit length");
    writeUInt32(static_cast<std::uint32_t>(n));
    const std::size_t at = m_bytes.size();
    m_bytes.resize(at + n);
    message.SerializeWithCachedSizesToArray(reinterpret_cast<std::uint8_t*>(m_bytes.data() + at));
}

void DashOutput::writeLengthPrefixed(std::string_view raw)
{
    if (raw.size() > 0xFFFFFFFFu)
        throw DashFramingError("block too large for a 32-bit length");
    writeUInt32(static_cast<std::uint32_t>(raw.size()));
    m_bytes.append(raw);
}

}  // namespace zenloft::wire
