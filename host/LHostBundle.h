// LHostBundle.h: loads a driver bundle the way the audio server does.
//
// The bundle is a folder NAME.driver/Contents/ with Info.plist, the
// executable under Linux/ and resources under Resources/. Loading creates the
// CFBundle, finds the factory that Info.plist names for the audio server
// plug-in type (CFPlugInTypes → factory UUID → CFPlugInFactories → function
// name), loads the executable, calls the factory with the plug-in type and
// asks the object it returns for the driver interface.
//
// Lifetime: the executable is never unloaded (the audio server never unloads
// a driver, and the driver's queued work may still run), so the CFBundle is
// kept for the life of the process. Thread-safe: loading touches no shared
// state but CoreFoundation's bundle registry, which is thread-safe.
#ifndef HARLUNE_HOST_LHOSTBUNDLE_H
#define HARLUNE_HOST_LHOSTBUNDLE_H

#include <CoreAudio/AudioServerPlugIn.h>

#include <string>

namespace harlune::host {

struct LLoadedDriver {
    CFBundleRef bundle = nullptr;             // the bundle, retained for the process's life
    AudioServerPlugInDriverRef driver = nullptr; // the driver interface, one reference taken
    std::string szIdentifier;                 // the bundle's CFBundleIdentifier
};

// Loads the bundle at szBundlePath. On failure returns false and sets
// *pszError to a message naming the path and the reason.
bool LLoadDriverBundle(const std::string& szBundlePath, LLoadedDriver* pLoaded, std::string* pszError);

} // namespace harlune::host

#endif
