/*
 * String comparison: literal or case-insensitive, optionally treating runs of
 * digits as numbers. Comparison works on UTF-16 units, the order Apple's
 * literal comparison uses.
 */
#include "cf/CFStringInternal.h"

#include "cf/Unicode.h"

using namespace harlune::cf;

namespace {

/*
 * One-to-one lower-case folding for the scripts product strings use: ASCII,
 * Latin-1, Latin Extended-A, basic Greek and basic Cyrillic. Everything else
 * is left as it is.
 */
char16_t foldCase(char16_t c) {
    if (c < 0x80) return (c >= 'A' && c <= 'Z') ? static_cast<char16_t>(c + 0x20) : c;
    if (c >= 0x00C0 && c <= 0x00DE && c != 0x00D7) return static_cast<char16_t>(c + 0x20);
    if (c >= 0x0100 && c <= 0x017F) {
        // U+0130, U+0131 (the Turkish i's), U+0138 and U+0149 have no
        // one-to-one folding.
        if (c == 0x0130 || c == 0x0131 || c == 0x0138 || c == 0x0149) return c;
        if (c == 0x0178) return 0x00FF;
        if (c == 0x017F) return 's';
        // Upper case is the even member of each pair, except in the two
        // runs where the pairs start on an odd code point.
        const bool oddPairs = (c >= 0x0139 && c <= 0x0148) || (c >= 0x0179 && c <= 0x017E);
        const bool isUpper = oddPairs ? (c % 2 == 1) : (c % 2 == 0);
        return isUpper ? static_cast<char16_t>(c + 1) : c;
    }
    if (c >= 0x0386 && c <= 0x03C2) {
        if (c >= 0x0391 && c <= 0x03A9 && c != 0x03A2) return static_cast<char16_t>(c + 0x20);
        if (c == 0x0386) return 0x03AC;
        if (c >= 0x0388 && c <= 0x038A) return static_cast<char16_t>(c + 0x25);
        if (c == 0x038C) return 0x03CC;
        if (c == 0x038E || c == 0x038F) return static_cast<char16_t>(c + 0x3F);
        if (c == 0x03C2) return 0x03C3;  // final sigma
        return c;
    }
    if (c >= 0x0400 && c <= 0x040F) return static_cast<char16_t>(c + 0x50);
    if (c >= 0x0410 && c <= 0x042F) return static_cast<char16_t>(c + 0x20);
    return c;
}

bool isDigit(char16_t c) { return c >= '0' && c <= '9'; }

/* Compares the digit runs starting at a[i] and b[j] by value, advancing past them. */
int compareNumbers(const std::u16string &a, size_t &i, const std::u16string &b, size_t &j) {
    while (i < a.size() && a[i] == '0') ++i;
    while (j < b.size() && b[j] == '0') ++j;
    size_t endA = i, endB = j;
    while (endA < a.size() && isDigit(a[endA])) ++endA;
    while (endB < b.size() && isDigit(b[endB])) ++endB;
    // Without leading zeros, a longer run is a larger number.
    int result = 0;
    if (endA - i != endB - j) {
        result = (endA - i < endB - j) ? -1 : 1;
    } else {
        for (size_t k = 0; k < endA - i && result == 0; ++k) {
            if (a[i + k] != b[j + k]) result = a[i + k] < b[j + k] ? -1 : 1;
        }
    }
    i = endA;
    j = endB;
    return result;
}

CFComparisonResult compareUnits(std::u16string a, std::u16string b, CFStringCompareFlags options) {
    if (options & kCFCompareCaseInsensitive) {
        for (auto &c : a) c = foldCase(c);
        for (auto &c : b) c = foldCase(c);
    }
    const bool numeric = (options & kCFCompareNumerically) != 0;
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (numeric && isDigit(a[i]) && isDigit(b[j])) {
            const int result = compareNumbers(a, i, b, j);
            if (result != 0) return result < 0 ? kCFCompareLessThan : kCFCompareGreaterThan;
            continue;
        }
        if (a[i] != b[j]) return a[i] < b[j] ? kCFCompareLessThan : kCFCompareGreaterThan;
        ++i;
        ++j;
    }
    if (i < a.size()) return kCFCompareGreaterThan;
    if (j < b.size()) return kCFCompareLessThan;
    return kCFCompareEqualTo;
}

}  // namespace

extern "C" {

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions) {
    return harlune::cf::guarded<CFComparisonResult>(kCFCompareEqualTo, [&]() -> CFComparisonResult {
        auto *a = as<__CFString>(theString1);
        auto *b = as<__CFString>(theString2);
        // A missing string orders before any string, so sorting stays total.
        if (a == nullptr || b == nullptr) {
            if (a == b) return kCFCompareEqualTo;
            return a == nullptr ? kCFCompareLessThan : kCFCompareGreaterThan;
        }
        if (compareOptions == 0 && a->utf8 == b->utf8) return kCFCompareEqualTo;
        return compareUnits(toUTF16(a->utf8), toUTF16(b->utf8), compareOptions);
    });
}

Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix) {
    // For well-formed text a UTF-8 prefix is exactly a UTF-16 prefix.
    const std::string_view text = stringText(theString);
    const std::string_view start = stringText(prefix);
    return !start.empty() && text.substr(0, start.size()) == start;
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix) {
    const std::string_view text = stringText(theString);
    const std::string_view end = stringText(suffix);
    return !end.empty() && text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // extern "C"
