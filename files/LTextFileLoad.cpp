// LTextFileLoad.cpp: loading whole text files, with byte-order marks.
#include <cstring>
#include <new>

#include <sys/stat.h>
#include <fcntl.h>
#include <unistd.h>

#include "files/LFileLockedOpen.h"
#include "files/LTextFile.h"
#include "text/LText.h"

namespace {

using harlune::files::ReadFully;

// The whole content of an open file into `bytes` (its size from the
// descriptor; 0 when that fails). With `bLimit`, files above the library's
// limit are refused.
bool ReadOpenFile(int nFile, bool bLimit, LStringLongTemplate<char>& bytes) {
    struct stat info;
    const unsigned long long nSize = fstat(nFile, &info) == 0 && info.st_size > 0
                                         ? static_cast<unsigned long long>(info.st_size)
                                         : 0;
    if (bLimit && nSize > kLTextLoadMaxBytes) {
        return false;
    }
    try {
        bytes.Reserve(nSize + 1);
    } catch (const std::bad_alloc&) {
        return false;
    }
    const long long nRead = ReadFully(nFile, bytes.GetBuffer(), nSize);
    if (nRead < 0) {
        return false;
    }
    bytes.SetLength(static_cast<unsigned long long>(nRead));
    return true;
}

bool LoadLocked(const char* path, LStringLongTemplate<char>& bytes) {
    const int nFile = LFileOpenLocked(path, LFileLockedMode::read, kLTextLoadLockMilliseconds);
    if (nFile < 0) {
        return false;
    }
    const bool bRead = ReadOpenFile(nFile, true, bytes);
    close(nFile);
    return bRead;
}

void SwapUnitBytes(char16_t* pUnits, unsigned long long nUnits) {
    for (unsigned long long i = 0; i < nUnits; ++i) {
        pUnits[i] = static_cast<char16_t>((pUnits[i] << 8) | (pUnits[i] >> 8));
    }
}

// The bytes as 16-bit units in the machine's order, followed by a zero
// unit; an odd last byte becomes a unit of its own with a zero high byte
// when `bPadOdd`, and is left out otherwise.
bool UnitsFromBytes(const LStringLongTemplate<char>& bytes, bool bPadOdd, LStringLongTemplate<char16_t>& units) {
    const unsigned long long nBytes = bytes.GetLength();
    const unsigned long long nUnits = bPadOdd ? (nBytes + 1) / 2 : nBytes / 2;
    try {
        units.Reserve(nUnits + 1);
    } catch (const std::bad_alloc&) {
        return false;
    }
    char16_t* pUnits = units.GetBuffer();
    pUnits[nUnits] = 0;
    if (nUnits > 0) {
        pUnits[nUnits - 1] = 0;
        std::memcpy(pUnits, bytes.Get(), bPadOdd ? nBytes : nUnits * 2);
    }
    units.SetLength(nUnits);
    return true;
}

// UTF-8 of the units after `nSkip` leading units (a mark), up to the first
// zero unit.
bool ConvertUnits(LStringLongTemplate<char16_t>& units, unsigned long long nSkip, LStringLongTemplate<char>& text) {
    const unsigned long long nUnits = units.GetLength();
    if (nSkip > 0 && nUnits > 0) {
        nSkip = nSkip < nUnits ? nSkip : nUnits;
        std::memmove(units.GetBuffer(), units.GetBuffer() + nSkip, (nUnits - nSkip) * sizeof(char16_t));
        units.SetLength(nUnits - nSkip);
    }
    LStringLongTemplate<char> converted;
    try {
        LCopyUTF8FromUnicode(converted, units);
    } catch (const std::bad_alloc&) {
        return false;
    }
    text.Swap(converted);
    return true;
}

bool HasMark(const LStringLongTemplate<char>& bytes, const char* szMark, unsigned long long nMark) {
    return bytes.GetLength() >= nMark && std::memcmp(bytes.Get(), szMark, nMark) == 0;
}

} // namespace

bool LLoadText(const char* path, LStringLongTemplate<char>& text) {
    LStringLongTemplate<char> bytes;
    if (!LoadLocked(path, bytes)) {
        return false;
    }
    text.Swap(bytes);
    return true;
}

bool LLoadTextAsUTF8(const char* path, LStringLongTemplate<char>& text) {
    return LLoadText(path, text);
}

bool LLoadTextAsUTF16(const char* path, LStringLongTemplate<char>& text) {
    LStringLongTemplate<char> bytes;
    LStringLongTemplate<char16_t> units;
    return LoadLocked(path, bytes) && UnitsFromBytes(bytes, false, units) && ConvertUnits(units, 0, text);
}

bool LLoadTextUnicode(const char* path, LStringLongTemplate<char>& text) {
    LStringLongTemplate<char> bytes;
    LStringLongTemplate<char16_t> units;
    if (!LoadLocked(path, bytes) || !UnitsFromBytes(bytes, false, units)) {
        return false;
    }
    unsigned long long nSkip = 0;
    if (HasMark(bytes, "\xFF\xFE", 2)) {
        nSkip = 1;
    } else if (HasMark(bytes, "\xFE\xFF", 2) && bytes.GetLength() >= 4) {
        SwapUnitBytes(units.GetBuffer() + 1, units.GetLength() - 1);
        nSkip = 1;
    }
    return ConvertUnits(units, nSkip, text);
}

bool LLoadTextAutoChar(const char* path, LStringLongTemplate<char>& text) {
    LStringLongTemplate<char> bytes;
    if (!LoadLocked(path, bytes)) {
        return false;
    }
    const bool bLittle = HasMark(bytes, "\xFF\xFE", 2);
    if (bLittle || HasMark(bytes, "\xFE\xFF", 2)) {
        LStringLongTemplate<char16_t> units;
        if (!UnitsFromBytes(bytes, true, units)) {
            return false;
        }
        if (!bLittle) {
            SwapUnitBytes(units.GetBuffer() + 1, units.GetLength() - 1);
        }
        return ConvertUnits(units, 1, text);
    }
    if (HasMark(bytes, "\xEF\xBB\xBF", 3)) {
        LStringLongTemplate<char> rest;
        try {
            rest.Assign(bytes.Get() + 3, bytes.GetLength() - 3);
        } catch (const std::bad_alloc&) {
            return false;
        }
        text.Swap(rest);
        return true;
    }
    text.Swap(bytes);
    return true;
}

bool LLoadSharedText(const char* path, LStringLongTemplate<char>& text) {
    if (path == nullptr) {
        return false;
    }
    const int nFile = open(path, O_RDONLY | O_CLOEXEC);
    if (nFile < 0) {
        return false;
    }
    LStringLongTemplate<char> bytes;
    const bool bRead = ReadOpenFile(nFile, false, bytes);
    close(nFile);
    if (bRead) {
        text.Swap(bytes);
    }
    return bRead;
}

bool LLoadSharedTextAsUTF8(const char* path, LStringLongTemplate<char>& text) {
    return LLoadSharedText(path, text);
}
