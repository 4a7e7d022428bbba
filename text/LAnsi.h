/*
 * LAnsi.h: the "Ansi" conversions, for text exchanged with Windows programs
 * in their Western code page. Input is read as Windows Latin-1 (Windows-1252,
 * whose bytes 0x81, 0x8D, 0x8F, 0x90 and 0x9D are undefined and make the
 * input invalid); output is written as ISO Latin-1, which every reader of
 * such files understands.
 *
 * UTF-8 text passes through UTF-16; the UTF-16 temporary lives on the stack
 * for sizes up to 4096 units and on the heap above. Text the target encoding
 * cannot represent (and UTF-8 that is not valid) leaves the output empty and
 * returns false. A buffer output that is too small is cut at a character
 * boundary (the return is then false too); only the text within the output's
 * reach is examined.
 *
 * Thread safety: reentrant.
 */
#ifndef HARLUNE_TEXT_LANSI_H
#define HARLUNE_TEXT_LANSI_H

#include <text/LStringLongTemplate.h>

bool LCopyUnicodeFromAnsi(LStringLongTemplate<char16_t> &out, const LStringLongTemplate<char> &in);
bool LCopyUTF8FromAnsi(char *out, const char *in, unsigned long size);
bool LCopyAnsiFromUnicode(LStringLongTemplate<char> &out, const char16_t *in);
bool LCopyAnsiFromUnicode(LStringLongTemplate<char> &out, const LStringLongTemplate<char16_t> &in);
bool LCopyAnsiFromUTF8(char *out, const char *in, unsigned long size);

#endif
