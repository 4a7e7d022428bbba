// LFileCopy.h: copying one file, quickly (LFile::CopyFile) or as a
// stoppable operation that reports its progress (Process with an
// LProcessCopyFile request).
//
// Thread safety: no shared state; any thread. Both copies block the calling
// thread for the time the data takes; the stoppable copy waits up to one
// second for each file's lock.
#ifndef HARLUNE_FILES_LFILECOPY_H
#define HARLUNE_FILES_LFILECOPY_H

#include "diagnostics/LFilePath.h"

class LProcessInterface;

namespace LFile {

// Copies szSource to szDestination: the data, the extended attributes
// (access-control lists included, which Linux keeps as attributes), the
// mode, the owner where the process may set it, and the access and
// modification times. Symbolic links are not followed at either end: a
// link is copied as a link, and a link at the destination is replaced, not
// written through. An existing destination is replaced atomically: the copy
// is made in a temporary file in the destination's folder and renamed over
// it, so readers see the old file or the new one, never half of either; no
// temporary file is left behind. Returns whether the copy is in place (also
// when the destination did not exist before, so callers need not check).
bool CopyFile(const char* szSource, const char* szDestination);

} // namespace LFile

// The request of a stoppable copy: two UTF-8 paths, cut to 259 bytes.
class LProcessCopyFile {
public:
    LProcessCopyFile(const char* szSource, const char* szDestination);
    const char* GetSource() const { return szSource; }
    const char* GetDestination() const { return szDestination; }

private:
    char szSource[kLMaxPath];      // file to copy
    char szDestination[kLMaxPath]; // file to create or replace
};

// Results of the stoppable copy.
enum LProcessCopyFileResult : int {
    kLProcessCopyDone = 0,
    kLProcessCopyStopped = 1,
    kLProcessCopyFailed = 2,
};

// Bytes moved per step of the stoppable copy.
inline constexpr unsigned long kLProcessCopyChunkBytes = 32768;

// The stoppable copy. Reports status line 0 "Copy File" and line 1 the
// destination's file name shortened to 50 characters, and progress 0.0;
// fails (2) without touching anything when the destination's folder does
// not exist. The source is read under a shared lock and the destination
// written under an exclusive one, each waited for at most 1000 ms; the
// destination is emptied once its lock is held. Between chunks of 32768
// bytes it asks pi.IsToStop() and reports progress each time the fraction
// has grown by at least 0.01; 1.0 is reported exactly once, at the end. A
// copy that is stopped (1) or fails on the way (2) deletes the destination.
// A finished copy takes the source's access and modification times.
//
// Callbacks run on the calling thread; none comes after the result.
int Process(LProcessInterface& pi, const LProcessCopyFile& copy);

#endif
