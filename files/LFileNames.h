// LFileNames.h: rules about file and folder names a person types, and the
// texts shown for them: the name check and its messages, cleaning a typed
// name, escaping a path for a shell command, a free file name made unique by
// a counter, a long path shortened for display, byte counts written for
// people, and the MIME type of a file extension.
//
// Bytes are compared as unsigned values: control characters are the bytes
// below 32, and the bytes of UTF-8 sequences (128 and above) are ordinary
// characters. Message and name buffers hold kLMaxPath (260) bytes.
//
// Thread safety: every function keeps no state and may be called from any
// thread. Only MakeUniqueOrderedFilePath looks at the file system.
#ifndef HARLUNE_FILES_LFILENAMES_H
#define HARLUNE_FILES_LFILENAMES_H

#include <cstddef>

// Result codes of LFileOrFolderNameValidate.
enum LFileNameCheck : int {
    kLFileNameValid = 0,
    kLFileNameEmpty = 1,
    kLFileNameTooLong = 2,            // more than 259 bytes
    kLFileNameTrailingSpaceOrDot = 3, // never produced on this platform
    kLFileNameLeadingDot = 4,
    kLFileNameControlCharacter = 5,   // a byte below 32
    kLFileNameSeparator = 6,          // ":", "\" or "/"
    kLFileNameReserved = 7,           // never produced on this platform
};

// Checks one file or folder name (not a path). A null name counts as empty.
// The checks run in this order: empty, longer than 259 bytes, leading ".",
// then the first control character or separator decides.
int LFileOrFolderNameValidate(const char* szName);

// No name is reserved by this operating system: always false.
bool LFileNameIsReserved(const char* szName);

namespace LFile {

// True when szName may be used as a file name. Otherwise false, and the
// message for a person (for example "File name may not start with a
// period") is written into szMessage when it is not null; szMessage is
// emptied first in every case.
bool IsFileValid(const char* szName, char* szMessage);

// True when szPath is an absolute folder path whose every component is a
// valid name; "/" alone is valid and one trailing separator is allowed.
// Both "/" and "\" separate components. Otherwise false with the message in
// szMessage (when not null; emptied first in every case).
bool IsFolderValid(const char* szPath, char* szMessage);

// Copies szTyped into szName (kLMaxPath bytes), dropping control
// characters, every "." before the first kept character and every ":",
// "\" and "/"; at most 259 bytes are kept (a UTF-8 sequence that would be
// cut is left out whole). True when at least one character was kept.
bool PreprocessName(const char* szTyped, char* szName);

// Copies szPath into szEscaped (kLMaxPath bytes) with a backslash before
// every "`" and '"', so the path can stand inside double quotes in a shell
// command. At most 259 characters are written; when the next character
// does not fit (a quote needs two places), copying stops there rather than
// dropping a character from the middle of the path. Returns the number of
// characters written.
size_t EscapeFilePath(const char* szPath, char* szEscaped);

// Writes into szOut (kLMaxPath bytes) the path of szFolder, szName and
// szExtension (joined as _MakeFilePath joins them); while something exists
// there, tries szName_0, szName_1, ... in turn. Returns szOut. When a long
// folder makes the cut candidates all the same (the counter falls beyond
// the 259th character), the search stops at that candidate instead of
// counting forever.
char* MakeUniqueOrderedFilePath(char* szOut, const char* szFolder, const char* szName, const char* szExtension);

// Shortens szPath for display to n UTF-8 characters: paths of fewer than n
// characters are copied whole; for n below 5 the result is "..." cut to n
// bytes with its terminator; otherwise the first k = n%2 + (n-4)/2
// characters, "...", and the last n-3-k characters. Cuts fall between
// characters. szOut must hold n + 1 bytes for ASCII paths; since characters
// can take up to four bytes, the result is in any case limited to 259
// bytes, so a kLMaxPath buffer is always enough.
void CompactFilePath(char* szOut, const char* szPath, unsigned long n);

// "%llu TB|GB|MB|KB" in whole units rounded down, or "%llu Bytes" below
// 1024. szOut holds at least 32 bytes.
void GetSizeFormattedBytes(unsigned long long nBytes, char* szOut);

// As GetSizeFormattedBytes, but TB, GB and MB carry two decimals ("1.50
// MB"); kilobytes stay whole. szOut holds at least 32 bytes.
void GetExactSizeFormattedBytes(unsigned long long nBytes, char* szOut);

// The MIME type for an extension given with its dot, compared without
// regard to ASCII case; "application/octet-stream" when unknown or null.
const char* GetMimeTypeFromFileExtension(const char* szExtension);

} // namespace LFile

// True when one text of arList (ended by a null entry) equals szExtension,
// ASCII case ignored. False for a null list or extension.
bool LIsFileExtensionInList(const char* const* arList, const char* szExtension);

#endif
