// LTextFile.h: whole text files read and written in one call.
//
// Loading takes a shared lock, waiting at most 5000 milliseconds; saving and
// appending take an exclusive lock, waiting at most 500 milliseconds, and a
// writer truncates only once it holds the lock, so a save that cannot get
// the lock never empties a file another process is using. Files are read
// and written whole, however many calls the system needs for that.
//
// Text inside the library is UTF-8. The loaders recognise the byte-order
// marks FF FE (UTF-16 little-endian), FE FF (UTF-16 big-endian) and
// EF BB BF (UTF-8) where stated, and convert UTF-16 to UTF-8.
//
// Loaders return true on success and leave `text` as they found it on
// failure. Savers return the result of their last system call, 0 or -1 (see
// each); they create files with mode 0666 before the process's mask.
//
// Thread safety: the functions keep no state; two threads writing the same
// file are serialised by the file's lock like two processes.
#ifndef HARLUNE_FILES_LTEXTFILE_H
#define HARLUNE_FILES_LTEXTFILE_H

#include "text/LStringLongTemplate.h"

// Waits for the file locks, in milliseconds.
inline constexpr int kLTextLoadLockMilliseconds = 5000;
inline constexpr int kLTextSaveLockMilliseconds = 500;
// Largest file the locking loaders accept, in bytes.
inline constexpr unsigned long long kLTextLoadMaxBytes = 3000000000ull;

// The file's bytes as they are. False when the file cannot be opened or
// locked in time, or is larger than kLTextLoadMaxBytes.
bool LLoadText(const char* path, LStringLongTemplate<char>& text);
bool LLoadTextAsUTF8(const char* path, LStringLongTemplate<char>& text);
// The file read as UTF-16 in the machine's order (no mark looked at),
// converted to UTF-8 up to the first zero unit; an odd last byte is ignored.
bool LLoadTextAsUTF16(const char* path, LStringLongTemplate<char>& text);
// UTF-16 with an optional mark (FF FE skipped; FE FF swaps the units after
// it when the file has at least 4 bytes; no mark is read as little-endian).
bool LLoadTextUnicode(const char* path, LStringLongTemplate<char>& text);
// Detects the encoding by its mark: UTF-16 either way, UTF-8 (mark
// dropped), or the bytes as they are.
bool LLoadTextAutoChar(const char* path, LStringLongTemplate<char>& text);
// The file's bytes without any lock and without the size limit; the file
// may be read while another process writes it.
bool LLoadSharedText(const char* path, LStringLongTemplate<char>& text);
bool LLoadSharedTextAsUTF8(const char* path, LStringLongTemplate<char>& text);

// Replace the file's content (a null text counts as empty). Whether or not
// the open and the lock succeeded, the file is then marked as UTF-8, and
// what marking returned is the result: so 0 does not prove the text was
// written, and -1 on a file system without user extended attributes does
// not mean it was not. Callers that must know read the file back.
int LSaveText(const char* path, const char* text);
int LSaveText(const char* path, const LStringLongTemplate<char>& text);
int LSaveTextAsUTF8(const char* path, const char* text);
int LSaveTextAsUTF8(const char* path, const LStringLongTemplate<char>& text);
// Append to the file, with the same result rule.
int LSaveAppendText(const char* path, const char* text);
int LSaveAppendText(const char* path, const LStringLongTemplate<char>& text);
int LSaveAppendTextAsUTF8(const char* path, const char* text);
int LSaveAppendTextAsUTF8(const char* path, const LStringLongTemplate<char>& text);
// Replace the content by the mark FF FE and the text as UTF-16
// little-endian. -1 when the file cannot be opened or locked (nothing is
// written then); otherwise the result of closing the file. No encoding mark
// is set.
int LSaveTextAsUnicodeBOM(const char* path, const LStringLongTemplate<char>& text);

#endif
