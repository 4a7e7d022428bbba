// LFiles.h: the library's files and paths, one header per concept: path
// operations and volume names, text files loaded and saved whole under
// bounded locks, the text-encoding mark, and the locked open they share.
#ifndef HARLUNE_FILES_LFILES_H
#define HARLUNE_FILES_LFILES_H

#include "files/LFileAttributes.h"
#include "files/LFileCopy.h"
#include "files/LFileLockedOpen.h"
#include "files/LFileNames.h"
#include "files/LFileRef.h"
#include "files/LFolderTree.h"
#include "files/LLockFile.h"
#include "files/LPathOperations.h"
#include "files/LProcessFile.h"
#include "files/LReadFileBuffered.h"
#include "files/LTextFile.h"
#include "files/LVolumeName.h"

#endif
