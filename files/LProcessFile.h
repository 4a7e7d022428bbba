// LProcessFile.h: reading or writing a large block through a file reference
// in chunks of 10240 bytes, as a stoppable operation that reports its
// progress.
//
// Callbacks: IsToStop and SetProgress of the process interface are called
// on the calling thread, between chunks; SetProgress is never called after
// a stop or a short transfer.
//
// Thread safety: as the file reference (one thread at a time).
#ifndef HARLUNE_FILES_LPROCESSFILE_H
#define HARLUNE_FILES_LPROCESSFILE_H

class LProcessInterface;
class LReadFileRef;
class LWriteFileRef;

// Bytes moved by one read or write of the chunked transfers.
inline constexpr unsigned long kLProcessFileChunkBytes = 10240;

// Results of LProcessFileRead and LProcessFileWrite.
enum LProcessFileResult : int {
    kLProcessFileDone = 0,
    kLProcessFileStopped = 1, // IsToStop answered true before a chunk
    kLProcessFileShort = 2,   // a chunk moved fewer bytes than asked (end of file, error, no file)
};

// Before each chunk asks pi.IsToStop(); moves the chunk; then reports the
// fraction done with pi.SetProgress (1.0 after the last chunk). nSize 0
// returns kLProcessFileDone at once.
int LProcessFileRead(LProcessInterface& pi, LReadFileRef& file, void* pData, unsigned long nSize);
int LProcessFileWrite(LProcessInterface& pi, LWriteFileRef& file, const void* pData, unsigned long nSize);

#endif
