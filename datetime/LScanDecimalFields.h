// LScanDecimalFields.h: reads decimal numbers from a text by a small format,
// as sscanf does with "%d" conversions, without sscanf's undefined behaviour
// for numbers that do not fit an int. Internal to datetime/.
//
// The format knows three things: "%d" reads an optional sign and at least
// one digit after any white space; a white-space character matches any run
// of white space in the text, none included; any other character must match
// itself. Reading stops at the first mismatch. Numbers beyond
// +-kScanDecimalLimit are clamped to it, so callers can add a few thousand
// to them and still stay inside int.
//
// Thread safety: pure function. Lifetime: nothing is kept.
#ifndef HARLUNE_DATETIME_LSCANDECIMALFIELDS_H
#define HARLUNE_DATETIME_LSCANDECIMALFIELDS_H

inline constexpr int kScanDecimalLimit = 999999999;

// Reads up to nCount numbers of szText by szFormat into arValues, leaving
// entries that were not read untouched; returns how many were read. A null
// text reads nothing.
int LScanDecimalFields(const char* szText, const char* szFormat, int* arValues, int nCount);

#endif
