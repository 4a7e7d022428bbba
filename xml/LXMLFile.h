// LXMLFile.h: XML documents loaded from and saved to files.
//
// Thread safety: none needed beyond the tree's own; the file is read under
// a shared lock and written under an exclusive one (see files/LTextFile.h).
#ifndef HARLUNE_XML_LXMLFILE_H
#define HARLUNE_XML_LXMLFILE_H

#include "xml/LXMLElement.h"

class LProcessInterface;

// Results of XMLLoadFile.
enum : int {
    kXMLLoadFileLoaded = 0,  // loaded; parse errors, if any, are in the error buffer
    kXMLLoadFileStopped = 1, // `process` asked to stop
    kXMLLoadFileFailed = 2,  // not loaded; the reason is in the error buffer and the tree is untouched
};

// Loads the file at `path` (any byte-order mark recognised) into `root`,
// replacing its children. `error` (260 bytes) is emptied and then receives
// the first parse error as "Ln %d, Col %d: %s", or, for result 2, one of
// "File does not exist: %s", "Not enough memory available to load %s" or
// "Cannot open xml file: %s" with the path. A file whose size × 20 is not
// below the free heap size is refused. `process` is asked IsToStop() before
// reading, before parsing and about every 512 characters while parsing.
int XMLLoadFile(LXMLElement& root, LProcessInterface& process, const char* path, char* error);

// Writes every child of `root` with indent 0 into the file at `path`, under
// the exclusive lock of LSaveText (a writer that cannot get the lock leaves
// the file whole). Returns the result of LSaveText.
int XMLSaveFile(const LXMLElement& root, const char* path);

#endif
