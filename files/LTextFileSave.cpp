// LTextFileSave.cpp: saving and appending whole text files.
#include <cstring>
#include <new>

#include <unistd.h>

#include "files/LFileAttributes.h"
#include "files/LFileLockedOpen.h"
#include "files/LTextFile.h"
#include "text/LText.h"

namespace {

// Writes the bytes under the exclusive lock (short of the lock, nothing is
// written and the file keeps its content), then marks the file as UTF-8
// whatever happened, and returns what marking returned.
int WriteAndMark(const char* path, LFileLockedMode eMode, const char* pText, unsigned long long nLength) {
    const int nFile = LFileOpenLocked(path, eMode, kLTextSaveLockMilliseconds);
    if (nFile >= 0) {
        harlune::files::WriteFully(nFile, pText, nLength);
        close(nFile);
    }
    return LFile::SetFileAttributeTextEncodingUTF8(path);
}

int WriteAndMark(const char* path, LFileLockedMode eMode, const char* text) {
    const char* szText = text != nullptr ? text : "";
    return WriteAndMark(path, eMode, szText, std::strlen(szText));
}

} // namespace

int LSaveText(const char* path, const char* text) {
    return WriteAndMark(path, LFileLockedMode::replace, text);
}

int LSaveText(const char* path, const LStringLongTemplate<char>& text) {
    return WriteAndMark(path, LFileLockedMode::replace, text.Get(), text.GetLength());
}

int LSaveTextAsUTF8(const char* path, const char* text) {
    return LSaveText(path, text);
}

int LSaveTextAsUTF8(const char* path, const LStringLongTemplate<char>& text) {
    return LSaveText(path, text);
}

int LSaveAppendText(const char* path, const char* text) {
    return WriteAndMark(path, LFileLockedMode::append, text);
}

int LSaveAppendText(const char* path, const LStringLongTemplate<char>& text) {
    return WriteAndMark(path, LFileLockedMode::append, text.Get(), text.GetLength());
}

int LSaveAppendTextAsUTF8(const char* path, const char* text) {
    return LSaveAppendText(path, text);
}

int LSaveAppendTextAsUTF8(const char* path, const LStringLongTemplate<char>& text) {
    return LSaveAppendText(path, text);
}

int LSaveTextAsUnicodeBOM(const char* path, const LStringLongTemplate<char>& text) {
    // Convert before locking, so the lock is held only for the write.
    LStringLongTemplate<char16_t> units;
    try {
        LCopyUnicodeFromUTF8(units, text);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    const int nFile = LFileOpenLocked(path, LFileLockedMode::replace, kLTextSaveLockMilliseconds);
    if (nFile < 0) {
        return -1;
    }
    static const unsigned char arMark[2] = {0xFF, 0xFE};
    if (harlune::files::WriteFully(nFile, arMark, sizeof(arMark)) == 0) {
        harlune::files::WriteFully(nFile, units.Get(), units.GetLength() * sizeof(char16_t));
    }
    return close(nFile);
}
