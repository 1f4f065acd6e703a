#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace google::protobuf { class MessageLite; }

namespace zenloft::wire {

// Appends framing values to a byte buffer: big-endian integers, modified
// UTF-8 strings with a 16-bit byte count, length-prefixed messages.
class DashOutput {
public:
    DashOutput() = default;
    explicit DashOutput(std::string initial) : m_bytes(std::move(initial)) {}

    void writeUInt16(std::uint16_t v);
    void writeUInt32(std::uint32_t v);
    void writeUInt64(std::uint64_t v);
    void writeInt64(std::int64_t v) { writeUInt64(static_cast<std::uint64_t>(v)); }
    void writeBytes(std::string_view raw) { m_bytes.append(raw); }

    // Throws DashStringTooLongError above 65535 encoded bytes, leaving the
    // buffer as it was.
    void writeString(std::u16string_view text);

    // 32-bit length and then the serialised message.
    void writeMessage(const google::protobuf::MessageLite& message);
    // 32-bit length and then the bytes as they are.
    void writeLengthPrefixed(std::string_view raw);

    std::size_t size() const { return m_bytes.size(); }
    const std::string& bytes() const { return m_bytes; }
    std::string take() { return std::move(m_bytes); }
    void reserve(std::size_t n) { m_bytes.reserve(n); }

private:
    std::string m_bytes;
};

}  // namespace zenloft::wire
