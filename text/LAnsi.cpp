#include <text/LAnsi.h>

#include <text/LCharacterHelpers.h>
#include <text/LCodeConverter.h>
#include <text/LTemporaryArray.h>
#include <text/LUTFConversions.h>

#include <cstring>
#include <string>

namespace {

constexpr const char *kAnsiIn = "WINDOWS-1252";
constexpr const char *kAnsiOut = "ISO-8859-1";
constexpr size_t kStackUnits = 4096;

/* Converts nIn bytes into out of nOut bytes, leaving room for nothing else.
 * Returns the bytes written, or -1 for input the target cannot take. */
long ConvertBounded(const char *szTo, const char *szFrom, const char *pIn, size_t nIn, char *pOut, size_t nOut,
                    bool *pbWhole) {
    LCodeConverter converter;
    if (!converter.Open(szTo, szFrom)) {
        return -1;
    }
    const size_t nRoom = nOut;
    const LCodeConverter::EStatus e = converter.Convert(&pIn, &nIn, &pOut, &nOut);
    if (e == LCodeConverter::eInvalid) {
        return -1;
    }
    *pbWhole = e == LCodeConverter::eDone;
    return static_cast<long>(nRoom - nOut);
}

}  // namespace

bool LCopyUnicodeFromAnsi(LStringLongTemplate<char16_t> &out, const LStringLongTemplate<char> &in) {
    out.Empty();
    LCodeConverter converter;
    std::string sUTF16;
    if (!converter.Open(LNativeUTF16Name(), kAnsiIn) ||
        !converter.ConvertWhole(in.Get(), in.GetLength(), sUTF16)) {
        return false;
    }
    const uint64_t nUnits = sUTF16.size() / 2;
    out.Reserve(nUnits + 1);
    memcpy(out.GetBuffer(), sUTF16.data(), nUnits * 2);
    out.SetLength(nUnits);
    return true;
}

bool LCopyUTF8FromAnsi(char *out, const char *in, unsigned long size) {
    if (!out || size == 0) {
        return false;
    }
    out[0] = 0;
    const char *pIn = in ? in : "";
    LTemporaryArray<char16_t, kStackUnits> temp(size);
    bool bWhole = false;
    const long nBytes = ConvertBounded(LNativeUTF16Name(), kAnsiIn, pIn, strlen(pIn),
                                       reinterpret_cast<char *>(temp.Get()), (size - 1) * 2, &bWhole);
    if (nBytes < 0) {
        return false;
    }
    temp.Get()[nBytes / 2] = 0;
    return LCopyUTF8FromUnicode(out, temp.Get(), size) == kLUTFResultOK && bWhole;
}

bool LCopyAnsiFromUnicode(LStringLongTemplate<char> &out, const char16_t *in) {
    out.Empty();
    LCodeConverter converter;
    std::string sLatin1;
    const char16_t *pIn = in ? in : u"";
    if (!converter.Open(kAnsiOut, LNativeUTF16Name()) ||
        !converter.ConvertWhole(reinterpret_cast<const char *>(pIn), lstrlen(pIn) * 2, sLatin1)) {
        return false;
    }
    out.Assign(sLatin1.data(), sLatin1.size());
    return true;
}

bool LCopyAnsiFromUnicode(LStringLongTemplate<char> &out, const LStringLongTemplate<char16_t> &in) {
    return LCopyAnsiFromUnicode(out, in.Get());
}

bool LCopyAnsiFromUTF8(char *out, const char *in, unsigned long size) {
    if (!out || size == 0) {
        return false;
    }
    out[0] = 0;
    LTemporaryArray<char16_t, kStackUnits> temp(size);
    const LUTFResult result = LCopyUnicodeFromUTF8(temp.Get(), in, size);
    if (result == kLUTFResultInvalid) {
        return false;
    }
    bool bWhole = false;
    const long nBytes = ConvertBounded(kAnsiOut, LNativeUTF16Name(), reinterpret_cast<const char *>(temp.Get()),
                                       lstrlen(temp.Get()) * 2, out, size - 1, &bWhole);
    if (nBytes < 0) {
        out[0] = 0;
        return false;
    }
    out[nBytes] = 0;
    return result == kLUTFResultOK && bWhole;
}
