// LDebugSignals.h: the crash-time globals and the two signal handlers the
// library offers to applications.
//
// The library installs neither handler itself; an application that wants
// them installs them with sigaction (SA_SIGINFO) for the signals it
// chooses. Both read only the signal number, take no lock and allocate
// nothing.
#ifndef HARLUNE_DIAGNOSTICS_LDEBUGSIGNALS_H
#define HARLUNE_DIAGNOSTICS_LDEBUGSIGNALS_H

#include <csignal>
#include <cstdint>

// Number of the command the application's main thread is executing (0 =
// none); 1 to 5 have fixed meanings in the "xi" code. Kept current by the
// application; nothing in the library writes it.
extern uint32_t gwDebugCurrentCommand;
// Number of the last command the application executed.
extern uint32_t gwDebugLastCommand;
// Set by the first signal LDebugSignalHandler takes; never cleared.
extern bool bLLibExceptionAlreadyTrapped;

// The first signal it sees sets bLLibExceptionAlreadyTrapped; for SIGABRT,
// SIGFPE, SIGKILL, SIGBUS or SIGSEGV it then ends the process with
// exit(666) (a normal exit: the at-exit teardowns run; the parent sees
// status 154). Any other signal, or any signal once the flag is set,
// returns. A synchronous fault that returns re-runs its instruction, so a
// second fault during the exit teardown is handled by whatever runs next:
// with the flag set this handler returns and the fault repeats until the
// process is ended from outside; an application that installs it for fault
// signals should add SA_RESETHAND so the repeat takes the default action.
void LDebugSignalHandler(int nSignal, siginfo_t* pInfo, void* pContext);

// SIGINT and SIGTERM end the process with exit(0); any other signal
// returns.
void LIntTermSignalHandler(int nSignal, siginfo_t* pInfo, void* pContext);

#endif
