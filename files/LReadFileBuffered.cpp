// Buffered reading with a logical position that agrees with the file.
#include "files/LReadFileBuffered.h"

#include "files/LLineWalk.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// One read(), repeated only when interrupted. Returns the count, or 0 at the
// end of the file and on errors (which end reading alike).
size_t ReadOnce(int nFile, void* p, size_t n) {
    for (;;) {
        const ssize_t nRead = read(nFile, p, n);
        if (nRead >= 0) return static_cast<size_t>(nRead);
        if (errno != EINTR) return 0;
    }
}

// Small fixed sizes compile to plain moves.
void CopySmall(unsigned char* pTo, const unsigned char* pFrom, size_t n) {
    switch (n) {
    case 1: *pTo = *pFrom; break;
    case 2: memcpy(pTo, pFrom, 2); break;
    case 4: memcpy(pTo, pFrom, 4); break;
    case 8: memcpy(pTo, pFrom, 8); break;
    default: memcpy(pTo, pFrom, n); break;
    }
}

} // namespace

bool LReadFileBuffered::Refill() {
    nPosition = 0;
    nFill = nFile >= 0 ? ReadOnce(nFile, arBuffer, kBufferBytes) : 0;
    return nFill > 0;
}

unsigned long LReadFileBuffered::Read(void* pData, unsigned long nSize) {
    if (pData == nullptr || nFile < 0) return 0;
    auto* p = static_cast<unsigned char*>(pData);
    unsigned long nDone = 0;
    for (;;) {
        const uint64_t nAvailable = nFill - nPosition;
        const unsigned long nTake =
            nAvailable < nSize - nDone ? static_cast<unsigned long>(nAvailable) : nSize - nDone;
        if (nTake > 0) {
            CopySmall(p + nDone, arBuffer + nPosition, nTake);
            nPosition += nTake;
            nDone += nTake;
        }
        if (nDone == nSize) return nDone;
        nPosition = nFill = 0;
        const unsigned long nWanted = nSize - nDone;
        if (nWanted >= kDirectReadBytes) return nDone + static_cast<unsigned long>(ReadOnce(nFile, p + nDone, nWanted));
        if (!Refill()) return nDone;
    }
}

unsigned long LReadFileBuffered::Peek(void* pData, unsigned long nSize) {
    if (pData == nullptr || nFile < 0) return 0;
    auto* p = static_cast<unsigned char*>(pData);
    const bool bWasEmpty = nPosition == nFill;
    const uint64_t nAvailable = nFill - nPosition;
    const unsigned long nBuffered = nAvailable < nSize ? static_cast<unsigned long>(nAvailable) : nSize;
    memcpy(p, arBuffer + nPosition, nBuffered);
    unsigned long nFromFile = 0;
    while (nBuffered + nFromFile < nSize) {
        const size_t n = ReadOnce(nFile, p + nBuffered + nFromFile, nSize - nBuffered - nFromFile);
        if (n == 0) break;
        nFromFile += static_cast<unsigned long>(n);
    }
    unsigned long nKept = 0;
    if (bWasEmpty) {
        // What was read becomes the buffer, so the next Read need not read it again.
        nKept = nFromFile < kBufferBytes ? nFromFile : static_cast<unsigned long>(kBufferBytes);
        memcpy(arBuffer, p, nKept);
        nPosition = 0;
        nFill = nKept;
    }
    if (nFromFile > nKept) lseek(nFile, -static_cast<off_t>(nFromFile - nKept), SEEK_CUR);
    return nBuffered + nFromFile;
}

bool LReadFileBuffered::NextByte(unsigned char& c) {
    if (nPosition == nFill && !Refill()) return false;
    c = arBuffer[nPosition++];
    return true;
}

bool LReadFileBuffered::ReadLine(char* szLine, unsigned long nSize) {
    if (szLine == nullptr || nSize == 0) return false;
    szLine[0] = '\0';
    if (nFile < 0) return false;
    unsigned long nKept = 0;
    // NextByte leaves the byte it delivered in the buffer, so giving it back
    // is one step back, even right after a refill.
    const bool bLine = harlune::files::WalkLine(
        [&](unsigned char& c) { return NextByte(c); }, [&] { --nPosition; },
        [&](unsigned char c) {
            if (nKept + 1 < nSize) szLine[nKept++] = static_cast<char>(c);
        },
        false);
    szLine[nKept] = '\0';
    return bLine;
}

bool LReadFileBuffered::Seek64(unsigned long long nOffset) {
    nPosition = nFill = 0;
    return nFile >= 0 && lseek(nFile, static_cast<off_t>(nOffset), SEEK_SET) >= 0;
}

bool LReadFileBuffered::SeekOffset64(long long nOffset) {
    if (nFile < 0) return false;
    const long long nMove = nOffset - static_cast<long long>(nFill - nPosition);
    nPosition = nFill = 0;
    return lseek(nFile, static_cast<off_t>(nMove), SEEK_CUR) >= 0;
}

unsigned long long LReadFileBuffered::Tell64() {
    if (nFile < 0) return 0;
    const off_t nHere = lseek(nFile, 0, SEEK_CUR);
    if (nHere < 0) return 0;
    return static_cast<unsigned long long>(nHere) - (nFill - nPosition);
}

unsigned long long LReadFileBuffered::GetFileSizeBytes64() {
    struct stat st;
    if (nFile < 0 || fstat(nFile, &st) != 0) return 0;
    return static_cast<unsigned long long>(st.st_size);
}
