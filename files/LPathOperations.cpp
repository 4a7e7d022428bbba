#include "files/LPathOperations.h"

#include <cstring>

namespace {

// A path buffer: 259 characters and the terminating zero.
constexpr size_t kPathBytes = 260;
constexpr size_t kMaxPathChars = kPathBytes - 1;

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

const char* OrEmpty(const char* sz) { return sz == nullptr ? "" : sz; }

// Copies at most nCount characters of szSource (stopping at its end) and
// terminates; nCount is at most kMaxPathChars. Returns the length written.
size_t CopyCut(char* szOut, const char* szSource, size_t nCount) {
    size_t n = 0;
    while (n < nCount && n < kMaxPathChars && szSource[n] != '\0') {
        szOut[n] = szSource[n];
        ++n;
    }
    szOut[n] = '\0';
    return n;
}

// The position of the last separator, or -1.
long LastSeparator(const char* szPath) {
    long nLast = -1;
    for (long i = 0; szPath[i] != '\0'; ++i) {
        if (IsSeparator(szPath[i])) {
            nLast = i;
        }
    }
    return nLast;
}

// The position of the last "." after the last separator, or -1.
long LastDotOfFilePart(const char* szPath) {
    long nDot = -1;
    for (long i = 0; szPath[i] != '\0'; ++i) {
        if (IsSeparator(szPath[i])) {
            nDot = -1;
        } else if (szPath[i] == '.') {
            nDot = i;
        }
    }
    return nDot;
}

} // namespace

bool LFileIsLetterOrNumber(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

size_t LFile::_GetFolderFromPath(char* szFolder, const char* szPath) {
    if (szFolder == nullptr) {
        return 0;
    }
    szPath = OrEmpty(szPath);
    // Only the first 260 characters are looked at, so that the folder (the
    // text before the separator) always fits the buffer.
    long nLast = -1;
    for (long i = 0; i < static_cast<long>(kPathBytes) && szPath[i] != '\0'; ++i) {
        if (IsSeparator(szPath[i])) {
            nLast = i;
        }
    }
    if (nLast <= 0) {
        return CopyCut(szFolder, szPath[0] == '/' ? "/" : "", 1);
    }
    return CopyCut(szFolder, szPath, static_cast<size_t>(nLast));
}

void LFile::_GetFileFromPath(char* szFile, const char* szPath) {
    if (szFile == nullptr) {
        return;
    }
    szPath = OrEmpty(szPath);
    CopyCut(szFile, szPath + (LastSeparator(szPath) + 1), kMaxPathChars);
}

size_t LFile::_GetFileNameFromPath(char* szName, const char* szPath) {
    if (szName == nullptr) {
        return 0;
    }
    _GetFileFromPath(szName, szPath);
    char* pDot = strrchr(szName, '.');
    if (pDot == nullptr || pDot == szName) {
        return 0;
    }
    *pDot = '\0';
    return static_cast<size_t>(pDot - szName);
}

void LFile::_GetFileExtensionFromPath(char* szExtension, const char* szPath) {
    if (szExtension == nullptr) {
        return;
    }
    szPath = OrEmpty(szPath);
    const long nDot = LastDotOfFilePart(szPath);
    CopyCut(szExtension, nDot < 0 ? "" : szPath + nDot, kMaxPathChars);
}

void LFile::_ApplyNewFileExtension(char* szOut, const char* szPath, const char* szExtension) {
    if (szOut == nullptr) {
        return;
    }
    szPath = OrEmpty(szPath);
    size_t nLength = CopyCut(szOut, szPath, kMaxPathChars);
    const long nDot = LastDotOfFilePart(szOut);
    if (nDot > 0) {
        nLength = static_cast<size_t>(nDot);
    }
    CopyCut(szOut + nLength, OrEmpty(szExtension), kMaxPathChars - nLength);
}

size_t LFile::_GetBaseFolderFromPath(char* szBase, const char* szPath) {
    if (szBase == nullptr) {
        return 0;
    }
    szPath = OrEmpty(szPath);
    size_t nEnd = 0;
    while (szPath[nEnd] != '\0' && nEnd < kMaxPathChars) {
        const bool bCuts = IsSeparator(szPath[nEnd]) && nEnd >= 2;
        ++nEnd;
        if (bCuts) {
            break;
        }
    }
    size_t nLength = CopyCut(szBase, szPath, nEnd);
    if (nLength > 1 && IsSeparator(szBase[nLength - 1])) {
        szBase[--nLength] = '\0';
    }
    return nLength;
}

bool LFile::GetRelativePathFromAbsolutePath(char* szRelative, const char* szBase, const char* szPath) {
    if (szRelative == nullptr) {
        return false;
    }
    szRelative[0] = '\0';
    if (szBase == nullptr || szPath == nullptr) {
        return false;
    }
    size_t i = 0;
    for (; szBase[i] != '\0'; ++i) {
        if (IsSeparator(szBase[i])) {
            if (!IsSeparator(szPath[i])) {
                return false;
            }
        } else if (szBase[i] != szPath[i]) {
            return false;
        }
    }
    // The base ended: the path must end here too, or the base's last
    // character or the path's next one must be the separator between them.
    const char* pRest = szPath + i;
    if (*pRest != '\0') {
        const bool bBaseEndedWithSeparator = i > 0 && IsSeparator(szBase[i - 1]);
        if (!bBaseEndedWithSeparator) {
            if (!IsSeparator(*pRest)) {
                return false;
            }
            ++pRest;
        }
    }
    CopyCut(szRelative, pRest, kMaxPathChars);
    return true;
}
