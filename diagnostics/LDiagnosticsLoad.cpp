// What loading the library installs, in this order: the hang detector's
// run-lock path, the debug thread registry's lock, and the exception port
// with its handler thread. The objects are defined together here because
// only within one source file is the order of construction fixed; each
// destructor is registered with the process's exit list as its object is
// made, so at exit they run in reverse: the exception handler first, then
// the lock, then the hang detector.
//
// The plug-in bundle links the library archive and pulls this file in by
// LDiagnosticsLoadAnchor; its own objects (the helper protocol's key tables,
// the client manager's lock) come before the archive on the link line, so
// they are constructed first. The bundle is linked so that it is never
// unmapped: the cancelled handler thread and the bridge's saved signal
// actions never point into unmapped code.
#include "diagnostics/LExceptionHandler.h"
#include "diagnostics/LDebugThreadRegistry.h"
#include "diagnostics/LHangDetector.h"

namespace {

// The registry lock's load step and exit teardown.
struct LDebugThreadsLockLifetime {
    LDebugThreadsLockLifetime() { LDebugThreadsLockCreate(); }
    ~LDebugThreadsLockLifetime() { LDebugThreadsLockDestroy(); }
};

} // namespace

LHangDetector gLHangDetector;
static LDebugThreadsLockLifetime gDebugThreadsLockLifetime;
LExceptionHandlerInstaller gLExceptionHandlerInstaller;

// Referenced by the bundle's link so that this file is part of it.
extern "C" void LDiagnosticsLoadAnchor() {}
