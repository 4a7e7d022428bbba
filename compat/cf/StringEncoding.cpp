#include "cf/StringEncoding.h"

#include "cf/Unicode.h"

#include <algorithm>

namespace harlune::cf {

namespace {

/* The code points of MacRoman bytes 0x80 to 0xFF; the lower half is ASCII. */
constexpr char16_t kMacRomanHigh[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1,  // 0x80
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8,  // 0x88
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,  // 0x90
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC,  // 0x98
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF,  // 0xA0
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,  // 0xA8
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211,  // 0xB0
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8,  // 0xB8
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,  // 0xC0
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153,  // 0xC8
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA,  // 0xD0
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,  // 0xD8
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,  // 0xE0
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,  // 0xE8
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,  // 0xF0
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,  // 0xF8
};

bool unicodeToMacRoman(char32_t cp, unsigned char &byte) {
    if (cp < 0x80) {
        byte = static_cast<unsigned char>(cp);
        return true;
    }
    const auto *end = kMacRomanHigh + 128;
    const auto *found = std::find(kMacRomanHigh, end, static_cast<char16_t>(cp));
    if (cp > 0xFFFF || found == end) return false;
    byte = static_cast<unsigned char>(0x80 + (found - kMacRomanHigh));
    return true;
}

bool decodeUTF16(std::string &out, const unsigned char *bytes, size_t length, CFStringEncoding encoding,
                 bool isExternalRepresentation) {
    if (length % 2 != 0) return false;
    bool bigEndian = encoding == kCFStringEncodingUTF16BE;
    if (encoding == kCFStringEncodingUTF16) bigEndian = (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__);
    size_t start = 0;
    const bool mayHaveMark = encoding == kCFStringEncodingUTF16 || isExternalRepresentation;
    if (mayHaveMark && length >= 2) {
        if (bytes[0] == 0xFE && bytes[1] == 0xFF) {
            bigEndian = true;
            start = 2;
        } else if (bytes[0] == 0xFF && bytes[1] == 0xFE) {
            bigEndian = false;
            start = 2;
        }
    }
    std::u16string units;
    units.reserve((length - start) / 2);
    for (size_t i = start; i < length; i += 2) {
        units.push_back(static_cast<char16_t>(bigEndian ? (bytes[i] << 8 | bytes[i + 1])
                                                        : (bytes[i + 1] << 8 | bytes[i])));
    }
    out += fromUTF16(reinterpret_cast<const UniChar *>(units.data()), units.size());
    return true;
}

}  // namespace

bool isEightBitEncoding(CFStringEncoding encoding) {
    switch (encoding) {
    case kCFStringEncodingUTF8:
    case kCFStringEncodingASCII:
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingISOLatin1:
        return true;
    default:
        return false;
    }
}

bool isSupportedEncoding(CFStringEncoding encoding) {
    return isEightBitEncoding(encoding) || encoding == kCFStringEncodingUTF16 ||
           encoding == kCFStringEncodingUTF16BE || encoding == kCFStringEncodingUTF16LE;
}

char32_t macRomanToUnicode(unsigned char byte) { return byte < 0x80 ? byte : kMacRomanHigh[byte - 0x80]; }

bool decodeToUTF8(std::string &out, const unsigned char *bytes, size_t length, CFStringEncoding encoding,
                  bool isExternalRepresentation) {
    if (length > 0 && bytes == nullptr) return false;
    const std::string_view view(reinterpret_cast<const char *>(bytes), length);
    switch (encoding) {
    case kCFStringEncodingUTF8: {
        std::string_view text = view;
        // A UTF-8 byte-order mark is not part of the text.
        if (isExternalRepresentation && text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
        if (!validateUTF8(text, nullptr)) return false;
        out.append(text);
        return true;
    }
    case kCFStringEncodingASCII:
        if (!isASCII(view)) return false;
        out.append(view);
        return true;
    case kCFStringEncodingMacRoman:
        for (size_t i = 0; i < length; ++i) appendUTF8(out, macRomanToUnicode(bytes[i]));
        return true;
    case kCFStringEncodingISOLatin1:
        for (size_t i = 0; i < length; ++i) appendUTF8(out, bytes[i]);
        return true;
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
        return decodeUTF16(out, bytes, length, encoding, isExternalRepresentation);
    default:
        return false;
    }
}

bool encodeFromUTF8(std::string &out, std::string_view utf8, CFStringEncoding encoding) {
    if (encoding == kCFStringEncodingUTF8) {
        out.append(utf8);
        return true;
    }
    if (!isEightBitEncoding(encoding)) return false;
    size_t pos = 0;
    while (pos < utf8.size()) {
        const char32_t cp = nextCodePoint(utf8, pos);
        unsigned char byte = 0;
        if (encoding == kCFStringEncodingASCII) {
            if (cp >= 0x80) return false;
            byte = static_cast<unsigned char>(cp);
        } else if (encoding == kCFStringEncodingISOLatin1) {
            if (cp > 0xFF) return false;
            byte = static_cast<unsigned char>(cp);
        } else if (!unicodeToMacRoman(cp, byte)) {
            return false;
        }
        out.push_back(static_cast<char>(byte));
    }
    return true;
}

}  // namespace harlune::cf
