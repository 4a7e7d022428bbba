// LVolumeName.h: a readable name for the volume a path lies on.
//
// Thread safety: any thread; nothing is kept. The answer reflects the
// mounts at the moment of the call.
#ifndef HARLUNE_FILES_LVOLUMENAME_H
#define HARLUNE_FILES_LVOLUMENAME_H

namespace LFile {

// When the file system of szPath can be asked (the path exists), szDrive
// (260 bytes) receives the folder on which that file system is mounted, for
// example "/" for a path on the start-up volume. Otherwise a path that
// begins with a run of ASCII letters and digits gives that run followed by
// ":\" (the drive form of another system: "C:\" for C:\work), a path that
// begins with "/" gives "/", anything else the empty text.
//
// On Linux the mount folder is the longest mount point in
// /proc/self/mountinfo that contains the path's real (symbolic links
// resolved) location; when that table cannot be read, the outermost folder
// above the path on the same device.
void GetHumanReadableDriveFromPath(char* szDrive, const char* szPath);

} // namespace LFile

#endif
