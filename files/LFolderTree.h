// LFolderTree.h: operations on whole folders: creating a folder with every
// missing parent, deleting a folder with everything in it (optionally
// waiting while it is busy), deleting the files of a folder older than a
// number of days, and adding up the size of a folder.
//
// Walks never follow symbolic links: a link inside a folder is deleted or
// measured as itself, never its target's contents. Below the folder the
// caller names, entries are reached relative to their parent's open
// descriptor rather than through joined path texts, so a deep tree is never
// mistaken for a path cut at 259 characters, and a folder swapped for a link
// while it is walked is not entered. "." and ".." are never visited.
//
// Thread safety: no shared state; any thread. The file system may change
// under a walk; entries that vanish meanwhile are skipped.
#ifndef HARLUNE_FILES_LFOLDERTREE_H
#define HARLUNE_FILES_LFOLDERTREE_H

#include <cstdint>
#include <ctime>

namespace LFile {

// Makes szPath (mode 0777 before the process's mask) after making each
// missing parent folder the same way. The parent is the text before the
// last "/" or "\" ("/" for "/name"); a path without a separator has none.
// False when a parent cannot be made or when the folder already exists.
bool CreateFolderTree(const char* szPath);

// Deletes the folder szPath and everything in it. Files and links inside
// are unlinked, folders inside deleted the same way; failures of single
// entries are not reported. A path that cannot be listed is removed as an
// empty folder. Returns whether the folder itself was removed (false for an
// empty or null path and for a plain file).
bool DeleteFolderTree(const char* szPath);

// As DeleteFolderTree, but when removing a folder fails because it is busy
// (EBUSY), waits and tries again: the first wait is nMilliseconds / 128
// rounded up, each later one twice the one before, each taken from the
// allowance; it gives up when the next wait is not less than what is left.
// Folders inside get the same allowance each.
bool DeleteFolderTree(const char* szPath, unsigned int nMilliseconds);

// The waits DeleteFolderTree takes on a folder that stays busy, in
// milliseconds, written into arWaits (at most nCapacity of them); returns
// how many waits there are.
unsigned _GetBusyFolderWaits(unsigned int nMilliseconds, unsigned* arWaits, unsigned nCapacity);

// Unlinks every entry of szFolder whose name matches szPattern (case
// ignored, "*" any run of characters, "?" any one; names beginning with
// "__MACOSX" never match; a null pattern matches every name) and that was
// created before now - nDays * 86400 seconds. Folders are never removed.
// Nothing happens when nDays is below 1.
//
// The age is the file's birth time as statx reports it. On a file system
// that keeps no birth times the modification time is used instead, so that
// such a file system does not lose every matching file; a file whose times
// cannot be read at all counts as time 0 and is deleted.
void DeleteOldFiles(const char* szFolder, const char* szPattern, int nDays);

// DeleteOldFiles with the current time given (seconds since 1970), so the
// age test can be checked without waiting days.
void _DeleteOldFilesAt(const char* szFolder, const char* szPattern, int nDays, int64_t nNow);

// The sum of the sizes in bytes of the entries of szPath (a link counts its
// own size); sub-folders add their whole contents when bIncludeSubFolders is
// true and nothing otherwise. 0 when the folder cannot be opened.
uint64_t GetFolderSizeBytes(const char* szPath, bool bIncludeSubFolders);

} // namespace LFile

#endif
