// LApplicationBundle.h: installed applications and the executables inside
// their bundles.
//
// An application bundle is a folder whose extension is exactly ".app" (with
// case). Its executable is the file that its Contents/Info.plist declares
// under "CFBundleExecutable" when that file is in Contents/MacOS (or, for
// bundles built for Linux, Contents/Linux); a bundle without such a
// declaration gets the first entry of Contents/MacOS in sorted (byte) order,
// else the first of Contents/Linux. Sorting makes the answer the same on
// every file system, and the declaration makes it right for bundles that
// carry helper programs beside their main one.
//
// Installed applications are looked up in the user's "Applications" folder
// in the home ($HOME, else the user database), then in "/Applications",
// under the name as given and then with ".app" appended. Names that hold a
// separator, or are "." or "..", name no application.
//
// Paths are written into caller buffers of 260 bytes (259 characters and
// the terminating zero); longer paths are cut.
//
// Thread safety: any thread; nothing is kept between calls.
#ifndef HARLUNE_PLATFORM_LAPPLICATIONBUNDLE_H
#define HARLUNE_PLATFORM_LAPPLICATIONBUNDLE_H

namespace LFile {

// The full path of the installed application szName, or the empty text;
// returns whether one was found.
bool GetInstalledApplicationExePath(char* szPath, const char* szName);

} // namespace LFile

// True when the path's extension is exactly ".app".
bool LIsDotAppFile(const char* szPath);

// szExecutable receives the bundle's executable (see above), or the empty
// text when the bundle has none that can be listed.
void LExpandDotAppToPointToExecutable(char* szExecutable, const char* szBundle);

// The executable of the installed application szName: empty unless the
// look-up finds a path with the extension ".app", which is then expanded.
void LGetApplicationPath(const char* szName, char* szExecutable);

// True when the look-up finds the application.
bool LIsApplicationInstalled(const char* szName);

#endif
