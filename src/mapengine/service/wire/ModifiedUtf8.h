#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zenloft::wire {

// Modified UTF-8 as the framing uses it: U+0000 is C0 80, each UTF-16 unit is
// encoded on its own (so a surrogate pair takes six bytes).
std::size_t modifiedUtf8Length(std::u16string_view text);
void appendModifiedUtf8(std::string& out, std::u16string_view text);

// Decodes modified UTF-8 back to UTF-16 units. Returns false on a malformed
// sequence (bad lead byte, missing continuation byte).
bool decodeModifiedUtf8(std::string_view bytes, std::u16string& out);

// Plain conversions for callers that hold UTF-8 (the service, logs).
std::u16string utf8ToUtf16(std::string_view utf8);
std::string utf16ToUtf8(std::u16string_view utf16);

}  // namespace zenloft::wire
