// LPathOperations.h: text operations on paths: the folder, file, name and
// extension of a path, a path with a new extension, the first folder of a
// path, and a path relative to a base folder.
//
// Both "/" and "\" count as separators everywhere, so paths written in
// either style work. Results go into caller buffers of 260 bytes (at most
// 259 characters and the terminating zero); longer results are cut, never
// reported as errors. A null input path is read as the empty path; a null
// output buffer makes the operation write nothing and answer 0 or false.
// The operations only read text; none of them looks at the file system.
//
// Thread safety: pure functions of their arguments; any thread. Input and
// output may not overlap.
//
// LFile is a namespace shared by the file operations of several folders
// (joining paths and special folders live with the diagnostics).
#ifndef HARLUNE_FILES_LPATHOPERATIONS_H
#define HARLUNE_FILES_LPATHOPERATIONS_H

#include <cstddef>

namespace LFile {

// The path up to, not including, its last separator (looked for within the
// first 260 characters). When the last separator is the first character, or
// there is none, the folder is "/" for a path that begins with "/" and empty
// otherwise. Returns the folder's length.
size_t _GetFolderFromPath(char* szFolder, const char* szPath);

// Everything after the last separator (the whole path when there is none).
void _GetFileFromPath(char* szFile, const char* szPath);

// The file part, cut at its last "." unless that "." is its first character
// (".profile" stays whole). Returns the position of the cut, which is the
// length of the name, or 0 when nothing was cut.
size_t _GetFileNameFromPath(char* szName, const char* szPath);

// From the last "." after the last separator, the dot included, to the end;
// empty when there is none. A leading-dot name is all extension: ".profile"
// and "/a/.profile" both give ".profile".
void _GetFileExtensionFromPath(char* szExtension, const char* szPath);

// The path with szExtension (which carries its own dot) in place of the
// extension the path had: everything from the last "." after the last
// separator is replaced, unless there is no such dot or it is the path's
// very first character, in which case szExtension is appended. The result
// is cut to 259 characters.
void _ApplyNewFileExtension(char* szOut, const char* szPath, const char* szExtension);

// The characters up to and including the first separator that is at least
// the third character, without that trailing separator ("/Users/anna/file"
// gives "/Users"; "abc" gives "abc"; "/" stays "/"). Returns its length.
size_t _GetBaseFolderFromPath(char* szBase, const char* szPath);

// When szPath lies inside szBase (equal characters, with case, and a
// separator of either kind wherever the base has one; the base must end
// where the path ends or before a separator of the path), writes the rest of
// the path after the base and one separator into szRelative and returns
// true ("" for a path equal to the base). Otherwise szRelative is empty and
// the result false; base /a/b does not contain /a/bc.
bool GetRelativePathFromAbsolutePath(char* szRelative, const char* szBase, const char* szPath);

} // namespace LFile

// True for the ASCII digits and letters (independent of the locale).
bool LFileIsLetterOrNumber(char c);

#endif
