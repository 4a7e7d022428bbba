#include "cf/Unicode.h"

namespace harlune::cf {

namespace {

/* The length of the sequence a lead byte starts, or 0 for an invalid lead. */
size_t sequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

}  // namespace

bool validateUTF8(std::string_view text, CFIndex *utf16Length) {
    CFIndex units = 0;
    size_t pos = 0;
    while (pos < text.size()) {
        const auto lead = static_cast<unsigned char>(text[pos]);
        const size_t length = sequenceLength(lead);
        if (length == 0 || text.size() - pos < length) return false;
        for (size_t i = 1; i < length; ++i) {
            if (!isContinuation(static_cast<unsigned char>(text[pos + i]))) return false;
        }
        const auto second = static_cast<unsigned char>(length > 1 ? text[pos + 1] : 0);
        // The second byte's range rules out overlong forms, surrogates and
        // code points beyond U+10FFFF.
        if (lead == 0xE0 && second < 0xA0) return false;
        if (lead == 0xED && second > 0x9F) return false;
        if (lead == 0xF0 && second < 0x90) return false;
        if (lead == 0xF4 && second > 0x8F) return false;
        units += (length == 4) ? 2 : 1;
        pos += length;
    }
    if (utf16Length != nullptr) *utf16Length = units;
    return true;
}

void appendUTF8(std::string &out, char32_t cp) {
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

char32_t nextCodePoint(std::string_view text, size_t &pos) {
    const auto lead = static_cast<unsigned char>(text[pos]);
    const size_t length = sequenceLength(lead);
    if (length <= 1 || text.size() - pos < length) {
        ++pos;
        return lead;
    }
    char32_t cp = lead & (0xFF >> (length + 1));
    for (size_t i = 1; i < length; ++i) cp = (cp << 6) | (static_cast<unsigned char>(text[pos + i]) & 0x3F);
    pos += length;
    return cp;
}

std::u16string toUTF16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    size_t pos = 0;
    while (pos < text.size()) {
        const char32_t cp = nextCodePoint(text, pos);
        if (cp >= 0x10000) {
            out.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(cp));
        }
    }
    return out;
}

std::string fromUTF16(const UniChar *units, size_t count) {
    std::string out;
    out.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const char32_t unit = units[i];
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
            appendUTF8(out, 0x10000 + ((unit - 0xD800) << 10) + (units[i + 1] - 0xDC00));
            ++i;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            appendUTF8(out, 0xFFFD);
        } else {
            appendUTF8(out, unit);
        }
    }
    return out;
}

bool isASCII(std::string_view text) {
    for (char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) return false;
    }
    return true;
}

}  // namespace harlune::cf
