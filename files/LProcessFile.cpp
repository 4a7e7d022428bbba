// Chunked, stoppable reads and writes through file references.
#include "files/LProcessFile.h"

#include "files/LFileRef.h"
#include "threads/LProcessInterface.h"

#include <algorithm>

namespace {

// Runs the chunk loop; move(offset, n) transfers one chunk and answers
// whether all n bytes moved.
template <typename Move>
int ProcessChunks(LProcessInterface& pi, unsigned long nSize, Move move) {
    unsigned long nDone = 0;
    while (nDone < nSize) {
        if (pi.IsToStop()) return kLProcessFileStopped;
        const unsigned long nChunk = std::min(kLProcessFileChunkBytes, nSize - nDone);
        if (!move(nDone, nChunk)) return kLProcessFileShort;
        nDone += nChunk;
        pi.SetProgress(static_cast<double>(nDone) / static_cast<double>(nSize));
    }
    return kLProcessFileDone;
}

} // namespace

int LProcessFileRead(LProcessInterface& pi, LReadFileRef& file, void* pData, unsigned long nSize) {
    if (nSize == 0) return kLProcessFileDone;
    if (pData == nullptr) return kLProcessFileShort;
    auto* p = static_cast<unsigned char*>(pData);
    return ProcessChunks(pi, nSize, [&](unsigned long nOffset, unsigned long nChunk) {
        return file.Read(p + nOffset, nChunk) == static_cast<long long>(nChunk);
    });
}

int LProcessFileWrite(LProcessInterface& pi, LWriteFileRef& file, const void* pData, unsigned long nSize) {
    if (nSize == 0) return kLProcessFileDone;
    if (pData == nullptr) return kLProcessFileShort;
    const auto* p = static_cast<const unsigned char*>(pData);
    return ProcessChunks(pi, nSize, [&](unsigned long nOffset, unsigned long nChunk) {
        return file.IsOpen() && file.Write(p + nOffset, nChunk);
    });
}
