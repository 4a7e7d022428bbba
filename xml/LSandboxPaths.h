// LSandboxPaths.h: whether a path lies in the application's sandbox
// container, and where a path of the container really leads.
//
// Linux has no application sandbox. A process whose environment names an
// absolute folder in HARLUNE_SANDBOX_CONTAINER treats that folder as its
// container (resolved through symbolic links when it exists); without it the
// process is not sandboxed: no path is in a container and every path is
// allowed. The variable is read at every call.
//
// Thread safety: any thread (the functions keep no state).
#ifndef HARLUNE_XML_LSANDBOXPATHS_H
#define HARLUNE_XML_LSANDBOXPATHS_H

// The container folder (260 bytes, no trailing "/"), or false when the
// process is not sandboxed.
bool LSandboxGetContainer(char* out);

namespace LFile {

// True when `path` is the container or lies below it, compared without
// regard to case. "/c/appX" is not below "/c/app": the match must end at a
// folder boundary, so a neighbouring folder is never taken for the
// container. False for null, or when the process is not sandboxed.
bool IsPathInSandbox(const char* path);

// Where `path` really leads when that is outside the container (out: 260
// bytes). An existing path is resolved fully; a missing one is mapped
// through the first symbolic link among its folders below the container.
// True with `out` set when the place is outside the container; otherwise
// false with `out` empty (also for null arguments, a path that is not in the
// container, or a result longer than 259 bytes).
bool MakeNonSandboxedFilePath(char* out, const char* path);

} // namespace LFile

#endif
