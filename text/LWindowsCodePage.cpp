#include <text/LWindowsCodePage.h>

#include <text/LCodeConverter.h>
#include <text/LPlatformString.h>
#include <text/LUTF8Helpers.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

namespace {

struct LCodePageName {
    unsigned int nCodePage;  // Windows code-page number
    const char *szIconv;     // glibc's name for it
};

// Sorted by number.
constexpr LCodePageName kCodePages[] = {
    {437, "CP437"},           {737, "CP737"},           {775, "CP775"},           {850, "CP850"},
    {851, "CP851"},           {852, "CP852"},           {855, "CP855"},           {856, "CP856"},
    {857, "CP857"},           {858, "CP858"},           {860, "CP860"},           {861, "CP861"},
    {862, "CP862"},           {863, "CP863"},           {864, "CP864"},           {865, "CP865"},
    {866, "CP866"},           {868, "CP868"},           {869, "CP869"},           {874, "WINDOWS-874"},
    {932, "CP932"},           {936, "CP936"},           {949, "CP949"},           {950, "CP950"},
    {1200, "UTF-16LE"},       {1201, "UTF-16BE"},       {1250, "WINDOWS-1250"},   {1251, "WINDOWS-1251"},
    {1252, "WINDOWS-1252"},   {1253, "WINDOWS-1253"},   {1254, "WINDOWS-1254"},   {1255, "WINDOWS-1255"},
    {1256, "WINDOWS-1256"},   {1257, "WINDOWS-1257"},   {1258, "WINDOWS-1258"},   {1361, "JOHAB"},
    {10000, "MACINTOSH"},     {12000, "UTF-32LE"},      {12001, "UTF-32BE"},      {20127, "US-ASCII"},
    {20866, "KOI8-R"},        {21866, "KOI8-U"},        {28591, "ISO-8859-1"},    {28592, "ISO-8859-2"},
    {28593, "ISO-8859-3"},    {28594, "ISO-8859-4"},    {28595, "ISO-8859-5"},    {28596, "ISO-8859-6"},
    {28597, "ISO-8859-7"},    {28598, "ISO-8859-8"},    {28599, "ISO-8859-9"},    {28600, "ISO-8859-10"},
    {28601, "ISO-8859-11"},   {28603, "ISO-8859-13"},   {28604, "ISO-8859-14"},   {28605, "ISO-8859-15"},
    {50220, "ISO-2022-JP"},   {51932, "EUC-JP"},        {51949, "EUC-KR"},        {54936, "GB18030"},
    {65001, "UTF-8"},
};

/* Bytes of one unit (and so of the terminator) in the code page's text. */
size_t UnitSize(unsigned int codePage) {
    switch (codePage) {
    case 1200:
    case 1201:
        return 2;
    case 12000:
    case 12001:
        return 4;
    default:
        return 1;
    }
}

/* Bytes of text before the first zero unit of the given width. */
size_t MeasureUnits(const char *in, size_t nUnit) {
    size_t n = 0;
    for (;; n += nUnit) {
        bool bZero = true;
        for (size_t i = 0; i < nUnit; ++i) {
            bZero = bZero && in[n + i] == 0;
        }
        if (bZero) {
            return n;
        }
    }
}

/* The UTF-8 text of a platform string. */
std::string UTF8OfPlatformString(CFStringRef str) {
    const CFIndex nMax = CFStringGetMaximumSizeForEncoding(CFStringGetLength(str), kCFStringEncodingUTF8) + 1;
    std::string s(static_cast<size_t>(nMax), '\0');
    if (!CFStringGetCString(str, s.data(), nMax, kCFStringEncodingUTF8)) {
        return std::string();
    }
    s.resize(strlen(s.c_str()));
    return s;
}

}  // namespace

const char *LCharsetsIconvNameOfCodePage(unsigned int codePage) {
    const auto *it = std::lower_bound(std::begin(kCodePages), std::end(kCodePages), codePage,
                                      [](const LCodePageName &e, unsigned int n) { return e.nCodePage < n; });
    return it != std::end(kCodePages) && it->nCodePage == codePage ? it->szIconv : nullptr;
}

namespace {

/* The "From" conversion of nIn bytes of text. */
bool FromCodePage(unsigned int codePage, char *out, const char *pIn, size_t nIn, unsigned long size) {
    if (!out || size == 0) {
        return false;
    }
    out[0] = 0;
    const char *szName = LCharsetsIconvNameOfCodePage(codePage);
    LCodeConverter converter;
    std::string sUTF8;
    if (!szName || !converter.Open("UTF-8", szName) || !converter.ConvertWhole(pIn, nIn, sUTF8)) {
        return false;
    }
    utf8strlcpy(out, sUTF8.c_str(), size);
    return true;
}

}  // namespace

bool LCopyFromSpecificCodePage(unsigned int codePage, char *out, const char *in, unsigned long size) {
    const char *pIn = in ? in : "\0\0\0";  // a terminator of any unit width
    return FromCodePage(codePage, out, pIn, MeasureUnits(pIn, UnitSize(codePage)), size);
}

/* The string's length bounds the text: a UTF-16 text in a byte string has
 * only a one-byte terminator after it. */
bool LCopyFromSpecificCodePage(unsigned int codePage, LStringLongTemplate<char> &out,
                               const LStringLongTemplate<char> &in) {
    const uint64_t nSize = in.GetLength() * 6 + 1;
    out.Reserve(nSize);
    const size_t nUnit = UnitSize(codePage);
    const bool bDone = FromCodePage(codePage, out.GetBuffer(), in.Get(), in.GetLength() / nUnit * nUnit, nSize);
    out.SetLength(strlen(out.GetBuffer()));
    return bDone;
}

bool LCopyToSpecificCodePage(unsigned int codePage, char *out, const char *in, unsigned long size) {
    const size_t nUnit = UnitSize(codePage);
    if (!out || size < nUnit) {
        return false;
    }
    memset(out, 0, nUnit);
    const char *szName = LCharsetsIconvNameOfCodePage(codePage);
    LCodeConverter converter;
    if (!szName || !converter.Open(szName, "UTF-8")) {
        return false;
    }
    CFStringRef str = LMacNSStringFromString(in);
    const std::string sUTF8 = UTF8OfPlatformString(str);
    CFRelease(str);
    std::string sOut;
    if (!converter.ConvertWhole(sUTF8.data(), sUTF8.size(), sOut) || sOut.size() + nUnit > size) {
        return false;
    }
    memcpy(out, sOut.data(), sOut.size());
    memset(out + sOut.size(), 0, nUnit);
    return true;
}
