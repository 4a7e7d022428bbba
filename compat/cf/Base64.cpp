#include "cf/Base64.h"

namespace harlune::cf {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int decodeDigit(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

std::string base64Encode(const uint8_t *bytes, size_t length) {
    std::string out;
    out.reserve((length + 2) / 3 * 4);
    for (size_t i = 0; i < length; i += 3) {
        const uint32_t b0 = bytes[i];
        const uint32_t b1 = i + 1 < length ? bytes[i + 1] : 0;
        const uint32_t b2 = i + 2 < length ? bytes[i + 2] : 0;
        const uint32_t group = b0 << 16 | b1 << 8 | b2;
        out.push_back(kAlphabet[group >> 18 & 0x3F]);
        out.push_back(kAlphabet[group >> 12 & 0x3F]);
        out.push_back(i + 1 < length ? kAlphabet[group >> 6 & 0x3F] : '=');
        out.push_back(i + 2 < length ? kAlphabet[group & 0x3F] : '=');
    }
    return out;
}

bool base64Decode(std::string_view text, std::vector<uint8_t> &out) {
    uint32_t group = 0;
    size_t digits = 0;   // alphabet characters in the current group
    size_t padding = 0;  // "=" seen so far
    for (char c : text) {
        if (isSpace(c)) continue;
        if (c == '=') {
            // Padding may only fill the last one or two places of a group.
            if (digits < 2 || ++padding > 2 || digits + padding > 4) return false;
            continue;
        }
        const int value = decodeDigit(c);
        if (value < 0 || padding > 0) return false;
        group = group << 6 | static_cast<uint32_t>(value);
        if (++digits == 4) {
            out.push_back(static_cast<uint8_t>(group >> 16));
            out.push_back(static_cast<uint8_t>(group >> 8));
            out.push_back(static_cast<uint8_t>(group));
            group = 0;
            digits = 0;
        }
    }
    if (digits == 0) return padding == 0;
    if (digits + padding != 4) return false;
    // Two digits carry one byte, three digits two bytes.
    group <<= 6 * (4 - digits);
    out.push_back(static_cast<uint8_t>(group >> 16));
    if (digits == 3) out.push_back(static_cast<uint8_t>(group >> 8));
    return true;
}

}  // namespace harlune::cf
