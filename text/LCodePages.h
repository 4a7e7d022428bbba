/*
 * LCodePages.h: conversions between UTF-8 and legacy code pages, through
 * LIconvConvert (see there for where a conversion stops and how the output
 * is terminated).
 *
 * "From" functions convert the code page to UTF-8, "To" functions UTF-8 to
 * the code page. Buffer forms take the output capacity in bytes, terminator
 * included, and return true when the whole text was converted. String forms
 * size the output themselves: a "From" form reserves strlen(in) * 6 + 1 bytes
 * (room for the widest expansion), a "To" form strlen(in) + 1, and both set
 * the string's length to that of the result.
 *
 * Windows-1252's bytes 0x81, 0x8D, 0x8F, 0x90 and 0x9D are undefined and
 * stop a conversion like any invalid input. Mac OS Roman follows the home
 * platform's table (0xC6 is U+2206, 0xF0 is U+F8FF).
 *
 * Thread safety: reentrant.
 */
#ifndef HARLUNE_TEXT_LCODEPAGES_H
#define HARLUNE_TEXT_LCODEPAGES_H

#include <text/LStringLongTemplate.h>

/* ISO Latin-1 ("ISO-8859-1"). */
bool LCopyFromISO88591(char *out, const char *in, unsigned long capacity);
bool LCopyToISO88591(char *out, const char *in, unsigned long capacity);
/* Capacity strlen(in) + 1: enough for the "To" direction, which never grows. */
bool LCopyFromISO88591(char *out, const char *in);
bool LCopyToISO88591(char *out, const char *in);
bool LCopyFromISO88591(LStringLongTemplate<char> &out, const char *in);
bool LCopyToISO88591(LStringLongTemplate<char> &out, const char *in);

/* Windows Cyrillic ("WINDOWS-1251"). */
bool LCopyFromWIN1251(char *out, const char *in, unsigned long capacity);
bool LCopyToWIN1251(char *out, const char *in, unsigned long capacity);

/* Windows Latin-1 ("WINDOWS-1252"). */
bool LCopyFromWIN1252(char *out, const char *in, unsigned long capacity);
bool LCopyToWIN1252(char *out, const char *in, unsigned long capacity);
bool LCopyFromWIN1252(LStringLongTemplate<char> &out, const char *in);
bool LCopyToWIN1252(LStringLongTemplate<char> &out, const char *in);
/* The Windows "ANSI" code page of the Western systems the library meets. */
bool LCharsetsCopyFromACP(char *out, const char *in, unsigned long capacity);
bool LCharsetsCopyToACP(char *out, const char *in, unsigned long capacity);

/* Japanese Shift-JIS ("SHIFT-JIS"). */
bool LCopyFromSHIFTJIS932(char *out, const char *in, unsigned long capacity);
bool LCopyToSHIFTJIS932(char *out, const char *in, unsigned long capacity);
bool LCopyFromSHIFTJIS932(LStringLongTemplate<char> &out, const char *in);
bool LCopyToSHIFTJIS932(LStringLongTemplate<char> &out, const char *in);

/* Japanese ISO-2022-JP (mail) ("ISO-2022-JP"). */
bool LCopyFromISO2022JP(char *out, const char *in, unsigned long capacity);
bool LCopyToISO2022JP(char *out, const char *in, unsigned long capacity);
bool LCopyFromISO2022JP(LStringLongTemplate<char> &out, const char *in);
bool LCopyToISO2022JP(LStringLongTemplate<char> &out, const char *in);

/* Korean EUC-KR ("EUC-KR"). */
bool LCopyFromEUCKR(char *out, const char *in, unsigned long capacity);
bool LCopyToEUCKR(char *out, const char *in, unsigned long capacity);
bool LCopyFromEUCKR(LStringLongTemplate<char> &out, const char *in);
bool LCopyToEUCKR(LStringLongTemplate<char> &out, const char *in);

/* ISO Cyrillic ("ISO-8859-5"). */
bool LCopyFromISO88595(char *out, const char *in, unsigned long capacity);
bool LCopyToISO88595(char *out, const char *in, unsigned long capacity);
bool LCopyFromISO88595(LStringLongTemplate<char> &out, const char *in);
bool LCopyToISO88595(LStringLongTemplate<char> &out, const char *in);

/* Chinese GB 18030 ("GB18030"). */
bool LCopyFromGB18030(char *out, const char *in, unsigned long capacity);
bool LCopyToGB18030(char *out, const char *in, unsigned long capacity);
bool LCopyFromGB18030(LStringLongTemplate<char> &out, const char *in);
bool LCopyToGB18030(LStringLongTemplate<char> &out, const char *in);

/* Russian KOI8-R ("KOI8-R"). */
bool LCopyFromKOI8R(char *out, const char *in, unsigned long capacity);
bool LCopyToKOI8R(char *out, const char *in, unsigned long capacity);
bool LCopyFromKOI8R(LStringLongTemplate<char> &out, const char *in);
bool LCopyToKOI8R(LStringLongTemplate<char> &out, const char *in);

/* Traditional Chinese Big5 ("BIG5"). */
bool LCopyFromBIG5(char *out, const char *in, unsigned long capacity);
bool LCopyToBIG5(char *out, const char *in, unsigned long capacity);

/* Simplified Chinese GBK ("GBK"). */
bool LCopyFromGBK(char *out, const char *in, unsigned long capacity);
bool LCopyToGBK(char *out, const char *in, unsigned long capacity);

/* Windows Arabic ("WINDOWS-1256"). */
bool LCopyFromWIN1256(char *out, const char *in, unsigned long capacity);
bool LCopyToWIN1256(char *out, const char *in, unsigned long capacity);
bool LCopyFromWIN1256(LStringLongTemplate<char> &out, const char *in);
bool LCopyToWIN1256(LStringLongTemplate<char> &out, const char *in);

/* ISO Central European ("ISO-8859-2"). */
bool LCopyFromISO88592(char *out, const char *in, unsigned long capacity);
bool LCopyToISO88592(char *out, const char *in, unsigned long capacity);
bool LCopyFromISO88592(LStringLongTemplate<char> &out, const char *in);
bool LCopyToISO88592(LStringLongTemplate<char> &out, const char *in);

/* Mac OS Roman ("macintosh"). */
bool LCopyFromMacRoman(char *out, const char *in, unsigned long capacity);
bool LCopyToMacRoman(char *out, const char *in, unsigned long capacity);
bool LCopyFromMacRoman(LStringLongTemplate<char> &out, const char *in);
bool LCopyToMacRoman(LStringLongTemplate<char> &out, const char *in);

/* Named after the DOS code page but converting ISO Latin-1, as they always
 * have: files the library wrote under this name hold ISO Latin-1, so the
 * name is kept for them and the conversion is not changed. */
bool LCopyFromIBM437(LStringLongTemplate<char> &out, const char *in);
bool LCopyToIBM437(LStringLongTemplate<char> &out, const char *in);

#endif
