// The crash-time globals and the signal handlers.
#include "diagnostics/LDebugSignals.h"

#include <cstdlib>

uint32_t gwDebugCurrentCommand = 0;
uint32_t gwDebugLastCommand = 0;
bool bLLibExceptionAlreadyTrapped = false;

void LDebugSignalHandler(int nSignal, siginfo_t*, void*) {
    // A plain byte: a signal handler may not lock, and the flag only ever
    // goes from false to true.
    if (bLLibExceptionAlreadyTrapped) return;
    bLLibExceptionAlreadyTrapped = true;
    switch (nSignal) {
    case SIGABRT:
    case SIGFPE:
    case SIGKILL:
    case SIGBUS:
    case SIGSEGV: exit(666);
    default: return;
    }
}

void LIntTermSignalHandler(int nSignal, siginfo_t*, void*) {
    if (nSignal == SIGINT || nSignal == SIGTERM) exit(0);
}
