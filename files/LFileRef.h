// LFileRef.h: LReadFileRef and LWriteFileRef, thin handles on an open file
// descriptor for code that reads or writes its own files piece by piece:
// lines ended by CR, LF or a pair of them, texts written as they are or
// with a length prefix.
//
// The length-prefixed string on disk: one length byte for texts of 0 to 254
// bytes; for 255 bytes or more the byte 0xFF and then the length as an
// unsigned 32-bit little-endian number; then the UTF-8 bytes without a
// terminator.
//
// Ownership: a reference made from a descriptor does not own it; Close()
// only forgets it. A descriptor obtained by Open() belongs to the reference
// and is closed by Close(), by another Open() and by the destructor. A
// reference without a file (-1) reads and writes nothing.
//
// Thread safety: a reference is used by one thread at a time.
#ifndef HARLUNE_FILES_LFILEREF_H
#define HARLUNE_FILES_LFILEREF_H

#include "text/LStringLongTemplate.h"

class LReadFileRef {
public:
    LReadFileRef() = default;
    explicit LReadFileRef(int nFile) : nFile(nFile) {}
    ~LReadFileRef() { Close(); }
    LReadFileRef(const LReadFileRef&) = delete;
    LReadFileRef& operator=(const LReadFileRef&) = delete;

    // Opens szPath read-only (close-on-exec). False, without a file, when it
    // cannot be opened.
    bool Open(const char* szPath);
    // Closes an owned descriptor; forgets a borrowed one.
    void Close();
    int GetFile() const { return nFile; }
    bool IsOpen() const { return nFile >= 0; }

    // Reads nSize bytes (fewer only at the end of the file). Returns the
    // number read, or -1 on a read error or without a file.
    long long Read(void* pData, unsigned long nSize);

    // Reads one line into szLine (nSize bytes), ended by CR, LF, or a CR LF
    // or LF CR pair. Keeps at most nSize - 1 characters and drops the rest of
    // a longer line. True for every line read, an empty one included; at the
    // end of the file true only when a last unended line held characters.
    // Without a file (or with nSize 0) false and szLine empty (when nSize >
    // 0).
    bool ReadLine(char* szLine, unsigned long nSize);
    // The same into a growable string, keeping every character.
    bool ReadLine(LStringLongTemplate<char>& szLine);

    // Reads a length-prefixed string into szText (260 bytes): at most 259
    // bytes are kept and the rest of a longer string is skipped, so the next
    // read starts after it. True when the whole string was there; a short
    // file leaves what was read, terminated, and gives false.
    bool ReadStringLenUTF8(char* szText);

    // Reads nLength bytes into szText (nLength + 1 bytes) and terminates
    // after what was read. Returns the number of bytes read.
    unsigned long ReadStringUTF8(char* szText, unsigned long nLength);

private:
    bool ReadByte(unsigned char& c);
    void UnreadByte();

    int nFile = -1;      // the descriptor; -1 for none
    bool bOwned = false; // true when Open() made the descriptor
};

class LWriteFileRef {
public:
    LWriteFileRef() = default;
    explicit LWriteFileRef(int nFile) : nFile(nFile) {}
    ~LWriteFileRef() { Close(); }
    LWriteFileRef(const LWriteFileRef&) = delete;
    LWriteFileRef& operator=(const LWriteFileRef&) = delete;

    // Creates or empties szPath for writing (mode 0666 before the process's
    // mask, close-on-exec). False, without a file, when that fails.
    bool Open(const char* szPath);
    void Close();
    int GetFile() const { return nFile; }
    bool IsOpen() const { return nFile >= 0; }

    // Writes all nSize bytes; true when they were written (without a file
    // true only for nothing).
    bool Write(const void* pData, unsigned long nSize);

    // The text's bytes, without terminator. A null text is empty.
    bool WriteString(const char* szText);
    bool WriteString(const LStringLongTemplate<char>& szText);
    bool WriteStringUTF8(const char* szText) { return WriteString(szText); }
    // The text, then "\r\n" or "\n".
    bool WriteLineCRLF(const char* szText);
    bool WriteLineLF(const char* szText);
    // The text with its length prefix. A text longer than 4 GiB - 1 bytes
    // cannot be described and is refused without writing anything.
    bool WriteStringLenUTF8(const char* szText);

private:
    int nFile = -1;      // the descriptor; -1 for none
    bool bOwned = false; // true when Open() made the descriptor
};

#endif
