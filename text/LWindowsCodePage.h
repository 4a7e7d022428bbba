/*
 * LWindowsCodePage.h: conversions between UTF-8 and a code page named by its
 * Windows code-page number, as files and protocols from Windows name them.
 *
 * Numbers map to iconv names through one explicit table (glibc knows "CP<n>"
 * for only some of them): the DOS code pages 437, 737, 775 and 850 to 869,
 * 874, 932, 936, 949, 950, 1250 to 1258, 1361, 10000 (Mac OS Roman), 20127
 * (ASCII), 20866 (KOI8-R), 21866 (KOI8-U), 28591 to 28605 (ISO 8859), 50220
 * (ISO-2022-JP), 51932 (EUC-JP), 51949 (EUC-KR), 54936 (GB 18030), 65001
 * (UTF-8), 1200 and 1201 (UTF-16 little and big endian), 12000 and 12001
 * (UTF-32 little and big endian). Numbers of the ranges that name no code
 * page (853, for one) are unknown.
 *
 * Unlike LIconvConvert these are all or nothing: an unknown number, text
 * that is invalid or has no equivalent, or (for the "To" direction) a
 * result that does not fit leave the output empty. A UTF-16 or UTF-32 code
 * page's text ends with a zero unit of its width, on input and output.
 *
 * Thread safety: reentrant.
 */
#ifndef HARLUNE_TEXT_LWINDOWSCODEPAGE_H
#define HARLUNE_TEXT_LWINDOWSCODEPAGE_H

#include <text/LStringLongTemplate.h>

/* The iconv name of a Windows code page, or null when it is unknown. */
const char *LCharsetsIconvNameOfCodePage(unsigned int codePage);

/*
 * Converts `in` from the code page to UTF-8 and copies the result into `out`
 * of `size` bytes with utf8strlcpy (so a long result is cut at a character
 * boundary). Returns false, with `out` empty, for an unknown code page or
 * text that does not convert.
 */
bool LCopyFromSpecificCodePage(unsigned int codePage, char *out, const char *in, unsigned long size);

/* The same into a string, with a size of in.length * 6 + 1 bytes. */
bool LCopyFromSpecificCodePage(unsigned int codePage, LStringLongTemplate<char> &out,
                               const LStringLongTemplate<char> &in);

/*
 * Converts UTF-8 text to the code page into `out` of `size` bytes, the
 * terminator included. Text that is not valid UTF-8 is read as
 * LMacNSStringFromString reads it. Returns true on success; otherwise `out`
 * is empty.
 */
bool LCopyToSpecificCodePage(unsigned int codePage, char *out, const char *in, unsigned long size);

#endif
