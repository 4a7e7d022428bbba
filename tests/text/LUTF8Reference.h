/*
 * LUTF8Reference.h: a slow, obviously correct UTF-8 decoder used as the
 * model the library's fast decoder is checked against (by the tests and by
 * the fuzz target). It follows Unicode's table of well-formed byte sequences
 * row by row and decodes by subtracting the standard offsets, a different
 * method from the fast decoder's masks, so one cannot hide a slip of the
 * other.
 */
#ifndef HARLUNE_TESTS_TEXT_LUTF8REFERENCE_H
#define HARLUNE_TESTS_TEXT_LUTF8REFERENCE_H

#include <cstdint>
#include <string>

namespace lutf8ref {

/* One row of the well-formed table: the lead's range and the ranges of the
 * following bytes (unused ones are 0). */
struct Row {
    unsigned char arLow[4];
    unsigned char arHigh[4];
    int nBytes;
};

constexpr Row kWellFormed[] = {
    {{0x01, 0, 0, 0}, {0x7F, 0, 0, 0}, 1},
    {{0xC2, 0x80, 0, 0}, {0xDF, 0xBF, 0, 0}, 2},
    {{0xE0, 0xA0, 0x80, 0}, {0xE0, 0xBF, 0xBF, 0}, 3},
    {{0xE1, 0x80, 0x80, 0}, {0xEC, 0xBF, 0xBF, 0}, 3},
    {{0xED, 0x80, 0x80, 0}, {0xED, 0x9F, 0xBF, 0}, 3},
    {{0xEE, 0x80, 0x80, 0}, {0xEF, 0xBF, 0xBF, 0}, 3},
    {{0xF0, 0x90, 0x80, 0x80}, {0xF0, 0xBF, 0xBF, 0xBF}, 4},
    {{0xF1, 0x80, 0x80, 0x80}, {0xF3, 0xBF, 0xBF, 0xBF}, 4},
    {{0xF4, 0x80, 0x80, 0x80}, {0xF4, 0x8F, 0xBF, 0xBF}, 4},
};

constexpr uint32_t kOffsets[5] = {0, 0, 0x3080, 0xE2080, 0x3C82080};

struct Result {
    std::u32string sOut;  // what the decoder wrote before its terminator
    uint64_t nResult;     // 0, 1 or 2
};

/* Decodes NUL-terminated text with the capacity rule: at most capacity - 1
 * characters, checked before each character. */
inline Result Decode(const std::string &sIn, unsigned long capacity) {
    Result r{U"", 0};
    size_t i = 0;
    const auto at = [&](size_t k) -> unsigned char { return k < sIn.size() ? sIn[k] : 0; };
    for (;;) {
        if (at(i) == 0) {
            return r;
        }
        if (r.sOut.size() + 1 >= capacity) {
            r.nResult = 1;
            return r;
        }
        const Row *row = nullptr;
        for (const Row &candidate : kWellFormed) {
            if (at(i) >= candidate.arLow[0] && at(i) <= candidate.arHigh[0]) {
                row = &candidate;
            }
        }
        bool bValid = row != nullptr;
        for (int k = 1; bValid && k < row->nBytes; ++k) {
            bValid = at(i + k) >= row->arLow[k] && at(i + k) <= row->arHigh[k];
        }
        if (!bValid) {
            r.nResult = 2;
            return r;
        }
        uint32_t cp = 0;
        for (int k = 0; k < row->nBytes; ++k) {
            cp = (cp << 6) + at(i + k);
        }
        r.sOut.push_back(static_cast<char32_t>(cp - kOffsets[row->nBytes]));
        i += static_cast<size_t>(row->nBytes);
    }
}

}  // namespace lutf8ref

#endif
