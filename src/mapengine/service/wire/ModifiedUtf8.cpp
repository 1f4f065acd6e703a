#include "ModifiedUtf8.h"

namespace zenloft::wire {

std::size_t modifiedUtf8Length(std::u16string_view text)
{
    std::size_t n = 0;
    for (char16_t c : text) {
        if (c == 0)
            n += 2;
        else if (c < 0x80)
            n += 1;
        else if (c < 0x800)
            n += 2;
        else
            n += 3;
    }
    return n;
}

void appendModifiedUtf8(std::string& out, std::u16string_view text)
{
    for (char16_t c : text) {
        if (c != 0 && c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
}

bool decodeModifiedUtf8(std::string_view bytes, std::u16string& out)
{
    out.clear();
    out.reserve(bytes.size());
    std::size_t i = 0;
    const auto cont = [&](std::size_t k) {
        return k < bytes.size() && (static_cast<unsigned char>(bytes[k]) & 0xC0) == 0x80;
    };
    while (i < bytes.size()) {
        const unsigned char b = static_cast<unsigned char>(bytes[i]);
        if (b < 0x80) {
            out.push_back(b);
            i += 1;
        } else if ((b & 0xE0) == 0xC0) {
            if (!cont(i + 1))
                return false;
            out.push_back(static_cast<char16_t>(((b & 0x1F) << 6) | (bytes[i + 1] & 0x3F)));
            i += 2;
        } else if ((b & 0xF0) == 0xE0) {
            if (!cont(i + 1) || !cont(i + 2))
                return false;
            out.push_back(static_cast<char16_t>(((b & 0x0F) << 12) | ((bytes[i + 1] & 0x3F) << 6)
                                                | (bytes[i + 2] & 0x3F)));
            i += 3;
        } else {
            return false;
        }
    }
    return true;
}

std::u16string utf8ToUtf16(std::string_view s)
{
    std::u16string out;
    out.reserve(s.size());
    std::size_t i = 0;
    while (i < s.size()) {
        const unsigned char b = static_cast<unsigned char>(s[i]);
        char32_t cp = 0xFFFD;
        std::size_t len = 1;
        if (b < 0x80) {
            cp = b;
        } else if ((b & 0xE0) == 0xC0 && i + 1 < s.size()) {
            cp = ((b & 0x1F) << 6) | (s[i + 1] & 0x3F);
            len = 2;
        } else if ((b & 0xF0) == 0xE0 && i + 2 < s.size()) {
            cp = ((b & 0x0F) << 12) | ((s[i + 1] & 0x3F) << 6) | (s[i + 2] & 0x3F);
            len = 3;
        } else if ((b & 0xF8) == 0xF0 && i + 3 < s.size()) {
            cp = ((b & 0x07) << 18) | ((s[i + 1] & 0x3F) << 12) | ((s[i + 2] & 0x3F) << 6)
                | (s[i + 3] & 0x3F);
            len = 4;
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(cp));
        }
        i += len;
    }
    return out;
}

std::string utf16ToUtf8(std::u16string_view s)
{
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        char32_t cp = s[i];
        if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] < 0xE000) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            ++i;
        }
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    return out;
}

}  // namespace zenloft::wire
