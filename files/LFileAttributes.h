// LFileAttributes.h: the text-encoding mark of saved text files.
//
// The platform keeps a file's text encoding in the extended attribute
// "com.apple.TextEncoding". Linux allows user-set attributes only in the
// "user." name space, so the mark is "user.com.apple.TextEncoding" there;
// its value is the same 15 bytes, "utf-8;134217984", without a terminator.
//
// Thread safety: none needed.
#ifndef HARLUNE_FILES_LFILEATTRIBUTES_H
#define HARLUNE_FILES_LFILEATTRIBUTES_H

// Name and value of the mark as this platform stores them.
extern const char* const kLTextEncodingAttributeName;
extern const char* const kLTextEncodingUTF8Value;

namespace LFile {

// Marks the file as UTF-8 text. Returns 0, or -1 with errno set (for
// example ENOTSUP on a file system without user extended attributes).
int SetFileAttributeTextEncodingUTF8(const char* path);

} // namespace LFile

#endif
