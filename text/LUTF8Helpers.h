/*
 * LUTF8Helpers.h: walking UTF-8 text by characters.
 *
 * Every walk steps by the byte count its lead byte announces
 * (LGetUTF8CharacterByteCount) without validating the sequence, so these
 * helpers accept any bytes. They never read past a terminator: a walk that
 * meets a NUL inside a sequence stops there, as if the text ended with the
 * cut character.
 *
 * All functions are pure and reentrant; null texts read as "".
 */
#ifndef HARLUNE_TEXT_LUTF8HELPERS_H
#define HARLUNE_TEXT_LUTF8HELPERS_H

#include <cstdint>

/* 1 below 0xC0 (ASCII and continuation bytes alike), 2 below 0xE0, 3 below
 * 0xF0, 4 below 0xF8, 5 below 0xFC, else 6. */
unsigned long LGetUTF8CharacterByteCount(unsigned char lead);

/* Number of characters before the terminator. */
unsigned long utf8strlen(const char *s);

/* Byte offset of character charIndex: the byte counts of the first charIndex
 * characters summed (fewer if the text ends first). */
unsigned long LCharsetsUTF8CharIndexToByteIndex(const char *s, unsigned long charIndex);
unsigned long LCharsetsCharIndexToArrayIndex(const char *s, unsigned long charIndex);

/* Number of characters that begin before byteIndex. */
unsigned long LCharsetsUTF8ByteIndexToCharIndex(const char *s, unsigned long byteIndex);

/* How many bytes p lies after the start of its character (0 at a lead or
 * ASCII byte). The caller guarantees that p lies inside a text that starts
 * with a lead or ASCII byte, as the walk back stops only at one. */
uint32_t LGetUTF8CharacterByteIndex(const char *p);

/*
 * Copies src into dest of `size` bytes like strlcpy, but never leaves a cut
 * character at the end. Returns strlen(src) when everything fitted; when the
 * copy was cut, the number of bytes kept plus one; 0 (and nothing written)
 * for a size of 0.
 */
unsigned long utf8strlcpy(char *dest, const char *src, unsigned long size);

#endif
