// LReadFileBuffered.h: reading an open file through a buffer of 8192
// bytes, for code that reads many small pieces or lines. The logical
// position (the descriptor's position minus the bytes read ahead and not yet
// delivered) stays consistent, so seeking, telling and peeking work across
// the buffer.
//
// Ownership: the reader borrows the descriptor; the caller keeps it open
// while the reader is used and closes it afterwards. Reading the descriptor
// directly while the reader holds buffered bytes makes the two disagree.
//
// Line ends: LF, CR, or CR LF (also when the CR is the last byte of one
// buffer fill and the LF the first of the next). Unlike LReadFileRef, an LF
// followed by a CR is two line ends; files the library writes end their
// lines with CR LF or LF, which both readers read alike.
//
// Thread safety: one thread at a time.
#ifndef HARLUNE_FILES_LREADFILEBUFFERED_H
#define HARLUNE_FILES_LREADFILEBUFFERED_H

#include <cstddef>
#include <cstdint>

class LReadFileBuffered {
public:
    static constexpr size_t kBufferBytes = 8192;
    // Requests of this many bytes or more that the buffer cannot serve are
    // read straight into the caller's memory.
    static constexpr unsigned long kDirectReadBytes = 257;

    explicit LReadFileBuffered(int nFile = -1) : nFile(nFile) {}

    // Delivers up to nSize bytes; fewer only at the end of the file or on an
    // error. Returns the number delivered.
    unsigned long Read(void* pData, unsigned long nSize);
    // Delivers up to nSize bytes without moving the logical position.
    unsigned long Peek(void* pData, unsigned long nSize);
    // One line into szLine (nSize bytes): at most nSize - 1 characters kept,
    // the rest of a longer line dropped. True after a line end, and at the
    // end of the file when the line holds characters.
    bool ReadLine(char* szLine, unsigned long nSize);

    // From the start of the file; the buffer is emptied. True when the
    // descriptor moved.
    bool Seek(unsigned int nOffset) { return Seek64(nOffset); }
    bool Seek64(unsigned long long nOffset);
    // Relative to the logical position.
    bool SeekOffset64(long long nOffset);
    // The logical position; 0 when the descriptor's cannot be read.
    unsigned long long Tell64();
    // The file's size in bytes; 0 when unknown.
    unsigned long long GetFileSizeBytes64();

private:
    bool Refill();
    bool NextByte(unsigned char& c);

    int nFile;                           // the open file; -1 for none
    unsigned char arBuffer[kBufferBytes]; // bytes read ahead
    uint64_t nPosition = 0;              // index of the next unread byte in arBuffer
    uint64_t nFill = 0;                  // number of valid bytes in arBuffer
};

#endif
