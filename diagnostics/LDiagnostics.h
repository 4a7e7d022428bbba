// LDiagnostics.h: the diagnostics of the utility library: crash capture,
// the debug thread registry, the hang detector, bug-report data and the
// path operations they use.
#ifndef HARLUNE_DIAGNOSTICS_LDIAGNOSTICS_H
#define HARLUNE_DIAGNOSTICS_LDIAGNOSTICS_H

#include "diagnostics/LBugReport.h"
#include "diagnostics/LCrashReports.h"
#include "diagnostics/LDebugSignals.h"
#include "diagnostics/LDebugThreadId.h"
#include "diagnostics/LDebugThreadRegistry.h"
#include "diagnostics/LExceptionHandler.h"
#include "diagnostics/LFilePath.h"
#include "diagnostics/LFixedLengthStringWriter.h"
#include "diagnostics/LFlockTimed.h"
#include "diagnostics/LHangDetector.h"
#include "diagnostics/LMachExcServer.h"
#include "diagnostics/LMachineInfo.h"
#include "diagnostics/LMemory.h"
#include "diagnostics/LOSVersion.h"
#include "diagnostics/LStackWalker.h"
#include "diagnostics/LStringList.h"

#endif
