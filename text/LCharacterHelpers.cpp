#include <text/LCharacterHelpers.h>

#include <algorithm>
#include <iterator>

uint64_t lstrlen(const char16_t *s) { return LStringLongTemplate<char16_t>::Measure(s); }

bool LCharsetsIsValidASCII(const char *s) {
    for (const char *p = s; p && *p; ++p) {
        if (static_cast<unsigned char>(*p) >= 0x80) {
            return false;
        }
    }
    return true;
}

unsigned long LCopyToBigEndianUnicode(char16_t *out, const char16_t *in, unsigned long count, bool terminate) {
    if (!out) {
        return 0;
    }
    unsigned long n = 0;
    for (const char16_t *p = in; p && *p && n < count; ++p) {
        out[n++] = static_cast<char16_t>((*p >> 8) | (*p << 8));
    }
    if (terminate) {
        out[n] = 0;
        return n;
    }
    // 0x2000 in memory is the bytes 00 20 on this little-endian platform.
    for (unsigned long i = n; i < count; ++i) {
        out[i] = static_cast<char16_t>(0x2000);
    }
    return count;
}

void LRemoveVarSelectorFromUnicode(LStringLongTemplate<char16_t> &s) {
    LStringLongTemplate<char16_t> rebuilt;
    const char16_t *p = s.Get();
    for (uint64_t i = 0; i < s.GetLength(); ++i) {
        if (p[i] < 0xFE00 || p[i] > 0xFE0F) {
            rebuilt.Append(p[i]);
        }
    }
    s.Swap(rebuilt);
}

namespace {

struct LCodePointRange {
    char32_t cpFirst;  // first code point of the range
    char32_t cpLast;   // last code point, inclusive
};

// Right-to-left characters, sorted: Hebrew, Arabic, Syriac, Thaana, the
// right-to-left mark, and the Hebrew and Arabic presentation forms.
constexpr LCodePointRange kRightToLeft[] = {
    {0x05BE, 0x05BE}, {0x05C0, 0x05C0}, {0x05C3, 0x05C3}, {0x05D0, 0x05EA}, {0x05F0, 0x05F4},
    {0x061B, 0x061B}, {0x061F, 0x061F}, {0x0621, 0x063A}, {0x0640, 0x064A}, {0x066D, 0x066F},
    {0x0671, 0x06D5}, {0x06DD, 0x06DD}, {0x06E5, 0x06E6}, {0x06FA, 0x06FE}, {0x0700, 0x070D},
    {0x0710, 0x0710}, {0x0712, 0x072C}, {0x0780, 0x07A5}, {0x07B1, 0x07B1}, {0x200F, 0x200F},
    {0xFB1D, 0xFB1D}, {0xFB1F, 0xFB28}, {0xFB2A, 0xFB36}, {0xFB38, 0xFB3C}, {0xFB3E, 0xFB3E},
    {0xFB40, 0xFB41}, {0xFB43, 0xFB44}, {0xFB46, 0xFBB1}, {0xFBD3, 0xFD3D}, {0xFD50, 0xFD8F},
    {0xFD92, 0xFDC7}, {0xFDF0, 0xFDFC}, {0xFE70, 0xFE74}, {0xFE76, 0xFEFC},
};

}  // namespace

bool LCharsetsIsLeftToRight(wchar_t ch) {
    const auto cp = static_cast<char32_t>(ch);
    // The first range whose end is not below cp is the only one that can hold it.
    const auto *it = std::lower_bound(std::begin(kRightToLeft), std::end(kRightToLeft), cp,
                                      [](const LCodePointRange &r, char32_t c) { return r.cpLast < c; });
    return it == std::end(kRightToLeft) || cp < it->cpFirst;
}
