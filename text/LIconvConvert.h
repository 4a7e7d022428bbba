/*
 * LIconvConvert.h: the code-page converter behind the library's LCopyFrom...
 * and LCopyTo... functions.
 *
 * Thread safety: reentrant (each call opens its own converter).
 */
#ifndef HARLUNE_TEXT_LICONVCONVERT_H
#define HARLUNE_TEXT_LICONVCONVERT_H

/*
 * Converts the NUL-terminated text `in` from the encoding szFromCode to
 * szToCode (iconv names) into `out` of `capacity` bytes. The output is
 * emptied first; an unknown pair of encodings leaves it empty. The text is
 * converted with its terminator in one pass, limited to `capacity` bytes, and
 * stops at the first sequence that is invalid or has no equivalent in the
 * target, or at a full output; what was converted up to there stays. The
 * output is then terminated after the converted bytes; when it is full, its
 * last byte becomes the terminator (which can cut the last character: callers
 * that need whole characters size the output generously). A capacity of 0
 * writes nothing.
 *
 * Returns true when the whole text was converted.
 *
 * The targets must be encodings whose terminator is one zero byte (not UTF-16
 * or UTF-32).
 */
bool LIconvConvert(const char *szToCode, const char *szFromCode, char *out, const char *in, unsigned long capacity);

#endif
