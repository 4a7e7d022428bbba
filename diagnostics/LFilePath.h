// LFilePath.h: the path operations the diagnostics need: joining a folder
// and a file name, the user's special folders, the cache folder, and the
// existence test.
//
// Paths are UTF-8 text in fixed buffers of kLMaxPath (260) bytes: at most
// 259 characters and the terminating zero. Longer results are cut, never
// reported as errors.
//
// On Linux the special folders follow the XDG base-directory rules: caches
// are $XDG_CACHE_HOME (when set and absolute), else $HOME/.cache;
// application support is $XDG_DATA_HOME (when set and absolute), else
// $HOME/.local/share; the home is $HOME, else the user database entry of the
// real user. The fallback names given to GetUserSpecialFolder (for example
// "Library/Caches") apply only when no home is known at all, and then the
// result is empty (see GetUserSpecialFolder).
//
// Thread safety: every function may be called from any thread; they keep no
// state. GetUserSpecialFolder and LFile::GetTempFolder may create folders.
//
// The other file operations of the library live in files/ and add to the
// same LFile namespace.
#ifndef HARLUNE_DIAGNOSTICS_LFILEPATH_H
#define HARLUNE_DIAGNOSTICS_LFILEPATH_H

#include <cstddef>

// Capacity of a path buffer: 259 characters and the terminating zero.
inline constexpr size_t kLMaxPath = 260;

// The kinds of user folder GetUserSpecialFolder knows, numbered as the
// platform's search-path directories are, so values stored by an
// application on one platform mean the same on the other.
enum LSearchPathDirectory : unsigned long {
    kLLibraryDirectory = 5,
    kLDocumentDirectory = 9,
    kLDesktopDirectory = 12,
    kLCachesDirectory = 13,
    kLApplicationSupportDirectory = 14,
    kLDownloadsDirectory = 15,
};

namespace LFile {

// Writes into szDestination the first 258 characters (at most) of szFolder,
// then "/" unless that kept folder text is empty or already ends with "/" or
// "\", then szName and szExtension; the whole is cut to 259 characters and
// terminated. szDestination must hold kLMaxPath bytes and may be the same
// buffer as szFolder. Null texts count as empty. Returns szDestination (null
// when szDestination is null, and then nothing is written).
char* _MakeFilePath(char* szDestination, const char* szFolder, const char* szName, const char* szExtension);

// The user's cache folder (GetUserSpecialFolder with kLCachesDirectory and
// the fallback "Library/Caches"), created with mode 0777 (before the umask)
// when it does not exist yet. szDestination holds kLMaxPath bytes; it is
// empty when no home folder is known. Returns false for a null destination
// or an empty result.
bool GetTempFolder(char* szDestination);

// The existence test: true when access() finds the path, or, for a
// non-empty path, when the file URL of the path is reachable. A null path is
// not there.
bool Exists(const char* szPath);

} // namespace LFile

// The user's folder of the given kind, tilde-free and absolute, written into
// szDestination (kLMaxPath bytes). When the platform knows no folder of that
// kind for the user, the destination is the home folder joined with
// szFallback, created with mode 0777 when it does not exist. When no home
// folder is known either, the destination is left empty rather than naming a
// folder relative to whatever the current directory happens to be, so that
// nothing is ever created or removed there. Missing parents of a folder
// that is created are created too. Returns false for a null destination or
// an empty result.
bool GetUserSpecialFolder(char* szDestination, LSearchPathDirectory eDirectory, const char* szFallback);

#endif
