// File references: opening, lines, plain and length-prefixed strings.
#include "files/LFileRef.h"

#include "files/LFileLockedOpen.h"
#include "files/LLineWalk.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr unsigned long kTextBytes = 260;
constexpr unsigned char kLongLengthMarker = 0xFF;

} // namespace

bool LReadFileRef::Open(const char* szPath) {
    Close();
    if (szPath == nullptr) return false;
    nFile = open(szPath, O_RDONLY | O_CLOEXEC);
    bOwned = nFile >= 0;
    return nFile >= 0;
}

void LReadFileRef::Close() {
    if (bOwned && nFile >= 0) close(nFile);
    nFile = -1;
    bOwned = false;
}

long long LReadFileRef::Read(void* pData, unsigned long nSize) {
    if (nFile < 0 || (pData == nullptr && nSize > 0)) return -1;
    return harlune::files::ReadFully(nFile, pData, nSize);
}

bool LReadFileRef::ReadByte(unsigned char& c) {
    for (;;) {
        const ssize_t n = read(nFile, &c, 1);
        if (n == 1) return true;
        if (n < 0 && errno == EINTR) continue;
        return false;
    }
}

void LReadFileRef::UnreadByte() { lseek(nFile, -1, SEEK_CUR); }

bool LReadFileRef::ReadLine(char* szLine, unsigned long nSize) {
    if (szLine == nullptr || nSize == 0) return false;
    szLine[0] = '\0';
    if (nFile < 0) return false;
    unsigned long nKept = 0;
    const bool bLine = harlune::files::WalkLine(
        [&](unsigned char& c) { return ReadByte(c); }, [&] { UnreadByte(); },
        [&](unsigned char c) {
            if (nKept + 1 < nSize) szLine[nKept++] = static_cast<char>(c);
        },
        true);
    szLine[nKept] = '\0';
    return bLine;
}

bool LReadFileRef::ReadLine(LStringLongTemplate<char>& szLine) {
    szLine.Empty();
    if (nFile < 0) return false;
    szLine.Reserve(kTextBytes);
    return harlune::files::WalkLine(
        [&](unsigned char& c) { return ReadByte(c); }, [&] { UnreadByte(); },
        [&](unsigned char c) {
            if (szLine.GetLength() + 2 > szLine.GetCapacity() && szLine.GetCapacity() <= 0x20000000) {
                szLine.Reserve(szLine.GetCapacity() * 4);
            }
            szLine.Append(static_cast<char>(c));
        },
        true);
}

bool LReadFileRef::ReadStringLenUTF8(char* szText) {
    if (szText == nullptr) return false;
    szText[0] = '\0';
    if (nFile < 0) return false;
    unsigned char cLength;
    if (!ReadByte(cLength)) return false;
    unsigned long long nLength = cLength;
    if (cLength == kLongLengthMarker) {
        unsigned char ar[4];
        if (harlune::files::ReadFully(nFile, ar, 4) != 4) return false;
        nLength = ar[0] | (ar[1] << 8) | (ar[2] << 16) | (static_cast<unsigned long long>(ar[3]) << 24);
    }
    const unsigned long nTake = nLength < kTextBytes - 1 ? static_cast<unsigned long>(nLength) : kTextBytes - 1;
    const long long nRead = harlune::files::ReadFully(nFile, szText, nTake);
    szText[nRead > 0 ? nRead : 0] = '\0';
    if (nRead != static_cast<long long>(nTake)) return false;
    if (nLength > nTake) {
        // Skip the rest of the stored text, but never past the end of the
        // file: a damaged length must not move the position beyond the data.
        const off_t nHere = lseek(nFile, 0, SEEK_CUR);
        const off_t nEnd = lseek(nFile, 0, SEEK_END);
        const unsigned long long nRest = nLength - nTake;
        if (nHere < 0 || nEnd < 0) return false;
        if (static_cast<unsigned long long>(nEnd - nHere) < nRest) return false; // already at the end
        lseek(nFile, nHere + static_cast<off_t>(nRest), SEEK_SET);
    }
    return true;
}

unsigned long LReadFileRef::ReadStringUTF8(char* szText, unsigned long nLength) {
    if (szText == nullptr) return 0;
    szText[0] = '\0';
    if (nFile < 0) return 0;
    const long long nRead = harlune::files::ReadFully(nFile, szText, nLength);
    const unsigned long n = nRead > 0 ? static_cast<unsigned long>(nRead) : 0;
    szText[n] = '\0';
    return n;
}

bool LWriteFileRef::Open(const char* szPath) {
    Close();
    if (szPath == nullptr) return false;
    nFile = open(szPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    bOwned = nFile >= 0;
    return nFile >= 0;
}

void LWriteFileRef::Close() {
    if (bOwned && nFile >= 0) close(nFile);
    nFile = -1;
    bOwned = false;
}

bool LWriteFileRef::Write(const void* pData, unsigned long nSize) {
    if (nSize == 0) return true;
    if (nFile < 0 || pData == nullptr) return false;
    return harlune::files::WriteFully(nFile, pData, nSize) == 0;
}

bool LWriteFileRef::WriteString(const char* szText) { return Write(szText, szText != nullptr ? strlen(szText) : 0); }

bool LWriteFileRef::WriteString(const LStringLongTemplate<char>& szText) {
    return Write(szText.GetBuffer(), szText.GetLength());
}

bool LWriteFileRef::WriteLineCRLF(const char* szText) { return WriteString(szText) && Write("\r\n", 2); }

bool LWriteFileRef::WriteLineLF(const char* szText) { return WriteString(szText) && Write("\n", 1); }

bool LWriteFileRef::WriteStringLenUTF8(const char* szText) {
    const unsigned long long nLength = szText != nullptr ? strlen(szText) : 0;
    if (nLength > 0xFFFFFFFFULL) return false;
    unsigned char arPrefix[5];
    unsigned long nPrefix = 1;
    if (nLength < kLongLengthMarker) {
        arPrefix[0] = static_cast<unsigned char>(nLength);
    } else {
        arPrefix[0] = kLongLengthMarker;
        for (int i = 0; i < 4; ++i) arPrefix[1 + i] = static_cast<unsigned char>(nLength >> (8 * i));
        nPrefix = 5;
    }
    return Write(arPrefix, nPrefix) && Write(szText, static_cast<unsigned long>(nLength));
}
