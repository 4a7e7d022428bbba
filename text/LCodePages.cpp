#include <text/LCodePages.h>

#include <text/LIconvConvert.h>

#include <cstring>

namespace {

constexpr const char *kUTF8 = "UTF-8";

bool From(const char *szCodePage, char *out, const char *in, unsigned long capacity) {
    return LIconvConvert(kUTF8, szCodePage, out, in, capacity);
}

bool To(const char *szCodePage, char *out, const char *in, unsigned long capacity) {
    return LIconvConvert(szCodePage, kUTF8, out, in, capacity);
}

bool ConvertIntoString(const char *szTo, const char *szFrom, LStringLongTemplate<char> &out, const char *in,
                       uint64_t nCapacity) {
    out.Reserve(nCapacity);
    const bool bDone = LIconvConvert(szTo, szFrom, out.GetBuffer(), in, nCapacity);
    out.SetLength(strlen(out.GetBuffer()));
    return bDone;
}

bool FromString(const char *szCodePage, LStringLongTemplate<char> &out, const char *in) {
    return ConvertIntoString(kUTF8, szCodePage, out, in, (in ? strlen(in) : 0) * 6 + 1);
}

bool ToString(const char *szCodePage, LStringLongTemplate<char> &out, const char *in) {
    return ConvertIntoString(szCodePage, kUTF8, out, in, (in ? strlen(in) : 0) + 1);
}

} // namespace

bool LCopyFromISO88591(char *out, const char *in, unsigned long capacity) {
    return From("ISO-8859-1", out, in, capacity);
}
bool LCopyToISO88591(char *out, const char *in, unsigned long capacity) { return To("ISO-8859-1", out, in, capacity); }
bool LCopyFromISO88591(char *out, const char *in) { return From("ISO-8859-1", out, in, (in ? strlen(in) : 0) + 1); }
bool LCopyToISO88591(char *out, const char *in) { return To("ISO-8859-1", out, in, (in ? strlen(in) : 0) + 1); }
bool LCopyFromISO88591(LStringLongTemplate<char> &out, const char *in) { return FromString("ISO-8859-1", out, in); }
bool LCopyToISO88591(LStringLongTemplate<char> &out, const char *in) { return ToString("ISO-8859-1", out, in); }
bool LCopyFromWIN1251(char *out, const char *in, unsigned long capacity) {
    return From("WINDOWS-1251", out, in, capacity);
}
bool LCopyToWIN1251(char *out, const char *in, unsigned long capacity) { return To("WINDOWS-1251", out, in, capacity); }
bool LCopyFromWIN1252(char *out, const char *in, unsigned long capacity) {
    return From("WINDOWS-1252", out, in, capacity);
}
bool LCopyToWIN1252(char *out, const char *in, unsigned long capacity) { return To("WINDOWS-1252", out, in, capacity); }
bool LCopyFromWIN1252(LStringLongTemplate<char> &out, const char *in) { return FromString("WINDOWS-1252", out, in); }
bool LCopyToWIN1252(LStringLongTemplate<char> &out, const char *in) { return ToString("WINDOWS-1252", out, in); }
bool LCharsetsCopyFromACP(char *out, const char *in, unsigned long capacity) {
    return From("WINDOWS-1252", out, in, capacity);
}
bool LCharsetsCopyToACP(char *out, const char *in, unsigned long capacity) {
    return To("WINDOWS-1252", out, in, capacity);
}
bool LCopyFromSHIFTJIS932(char *out, const char *in, unsigned long capacity) {
    return From("SHIFT-JIS", out, in, capacity);
}
bool LCopyToSHIFTJIS932(char *out, const char *in, unsigned long capacity) {
    return To("SHIFT-JIS", out, in, capacity);
}
bool LCopyFromSHIFTJIS932(LStringLongTemplate<char> &out, const char *in) { return FromString("SHIFT-JIS", out, in); }
bool LCopyToSHIFTJIS932(LStringLongTemplate<char> &out, const char *in) { return ToString("SHIFT-JIS", out, in); }
bool LCopyFromISO2022JP(char *out, const char *in, unsigned long capacity) {
    return From("ISO-2022-JP", out, in, capacity);
}
bool LCopyToISO2022JP(char *out, const char *in, unsigned long capacity) {
    return To("ISO-2022-JP", out, in, capacity);
}
bool LCopyFromISO2022JP(LStringLongTemplate<char> &out, const char *in) { return FromString("ISO-2022-JP", out, in); }
bool LCopyToISO2022JP(LStringLongTemplate<char> &out, const char *in) { return ToString("ISO-2022-JP", out, in); }
bool LCopyFromEUCKR(char *out, const char *in, unsigned long capacity) { return From("EUC-KR", out, in, capacity); }
bool LCopyToEUCKR(char *out, const char *in, unsigned long capacity) { return To("EUC-KR", out, in, capacity); }
bool LCopyFromEUCKR(LStringLongTemplate<char> &out, const char *in) { return FromString("EUC-KR", out, in); }
bool LCopyToEUCKR(LStringLongTemplate<char> &out, const char *in) { return ToString("EUC-KR", out, in); }
bool LCopyFromISO88595(char *out, const char *in, unsigned long capacity) {
    return From("ISO-8859-5", out, in, capacity);
}
bool LCopyToISO88595(char *out, const char *in, unsigned long capacity) { return To("ISO-8859-5", out, in, capacity); }
bool LCopyFromISO88595(LStringLongTemplate<char> &out, const char *in) { return FromString("ISO-8859-5", out, in); }
bool LCopyToISO88595(LStringLongTemplate<char> &out, const char *in) { return ToString("ISO-8859-5", out, in); }
bool LCopyFromGB18030(char *out, const char *in, unsigned long capacity) { return From("GB18030", out, in, capacity); }
bool LCopyToGB18030(char *out, const char *in, unsigned long capacity) { return To("GB18030", out, in, capacity); }
bool LCopyFromGB18030(LStringLongTemplate<char> &out, const char *in) { return FromString("GB18030", out, in); }
bool LCopyToGB18030(LStringLongTemplate<char> &out, const char *in) { return ToString("GB18030", out, in); }
bool LCopyFromKOI8R(char *out, const char *in, unsigned long capacity) { return From("KOI8-R", out, in, capacity); }
bool LCopyToKOI8R(char *out, const char *in, unsigned long capacity) { return To("KOI8-R", out, in, capacity); }
bool LCopyFromKOI8R(LStringLongTemplate<char> &out, const char *in) { return FromString("KOI8-R", out, in); }
bool LCopyToKOI8R(LStringLongTemplate<char> &out, const char *in) { return ToString("KOI8-R", out, in); }
bool LCopyFromBIG5(char *out, const char *in, unsigned long capacity) { return From("BIG5", out, in, capacity); }
bool LCopyToBIG5(char *out, const char *in, unsigned long capacity) { return To("BIG5", out, in, capacity); }
bool LCopyFromGBK(char *out, const char *in, unsigned long capacity) { return From("GBK", out, in, capacity); }
bool LCopyToGBK(char *out, const char *in, unsigned long capacity) { return To("GBK", out, in, capacity); }
bool LCopyFromWIN1256(char *out, const char *in, unsigned long capacity) {
    return From("WINDOWS-1256", out, in, capacity);
}
bool LCopyToWIN1256(char *out, const char *in, unsigned long capacity) { return To("WINDOWS-1256", out, in, capacity); }
bool LCopyFromWIN1256(LStringLongTemplate<char> &out, const char *in) { return FromString("WINDOWS-1256", out, in); }
bool LCopyToWIN1256(LStringLongTemplate<char> &out, const char *in) { return ToString("WINDOWS-1256", out, in); }
bool LCopyFromISO88592(char *out, const char *in, unsigned long capacity) {
    return From("ISO-8859-2", out, in, capacity);
}
bool LCopyToISO88592(char *out, const char *in, unsigned long capacity) { return To("ISO-8859-2", out, in, capacity); }
bool LCopyFromISO88592(LStringLongTemplate<char> &out, const char *in) { return FromString("ISO-8859-2", out, in); }
bool LCopyToISO88592(LStringLongTemplate<char> &out, const char *in) { return ToString("ISO-8859-2", out, in); }
bool LCopyFromMacRoman(char *out, const char *in, unsigned long capacity) {
    return From("macintosh", out, in, capacity);
}
bool LCopyToMacRoman(char *out, const char *in, unsigned long capacity) { return To("macintosh", out, in, capacity); }
bool LCopyFromMacRoman(LStringLongTemplate<char> &out, const char *in) { return FromString("macintosh", out, in); }
bool LCopyToMacRoman(LStringLongTemplate<char> &out, const char *in) { return ToString("macintosh", out, in); }
bool LCopyFromIBM437(LStringLongTemplate<char> &out, const char *in) { return FromString("ISO-8859-1", out, in); }
bool LCopyToIBM437(LStringLongTemplate<char> &out, const char *in) { return ToString("ISO-8859-1", out, in); }
