// LFiles.h: the library's files and paths, one header per concept.
#ifndef HARLUNE_FILES_LFILES_H
#define HARLUNE_FILES_LFILES_H

#include "files/LPathOperations.h"
#include "files/LVolumeName.h"

#endif
