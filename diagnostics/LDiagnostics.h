// LDiagnostics.h: the diagnostics of the utility library: crash capture,
// the debug thread registry, the hang detector, bug-report data and the
// path operations they use.
#ifndef HARLUNE_DIAGNOSTICS_LDIAGNOSTICS_H
#define HARLUNE_DIAGNOSTICS_LDIAGNOSTICS_H

#include "diagnostics/LDebugThreadId.h"
#include "diagnostics/LFilePath.h"
#include "diagnostics/LFlockTimed.h"
#include "diagnostics/LMemory.h"

#endif
