// LExceptionHandler.h: crash capture through the task's exception port.
//
// LExceptionHandlerInstaller makes a port, sets it as the task's exception
// port for bad-access, bad-instruction and arithmetic exceptions (the
// earlier ports for those kinds are replaced, not kept) and starts one
// handler thread. The thread waits for one exception, answers it "not
// handled" (KERN_FAILURE), so the platform's own crash handling goes on as
// if the library were not there, and ends. A later exception finds no
// thread receiving and goes straight on to the platform's handling (on
// Linux the bridge in compat/ passes it to the signal's earlier action).
//
// One instance, gLExceptionHandlerInstaller, is made when the library is
// loaded (see LDiagnosticsLoad.cpp) and torn down at process exit: the
// destructor releases the port's send right and, only if that worked,
// cancels the thread without joining it. The task's exception ports are not
// restored.
//
// Thread safety: the installer's buffers are touched only by its handler
// thread. Construction and destruction run during static initialisation and
// exit, on one thread.
#ifndef HARLUNE_DIAGNOSTICS_LEXCEPTIONHANDLER_H
#define HARLUNE_DIAGNOSTICS_LEXCEPTIONHANDLER_H

#include "diagnostics/LMachExcServer.h"

#include <atomic>
#include <cstdint>

#include <pthread.h>
#include <unistd.h>

class LExceptionHandlerInstaller {
public:
    // Runs LMachExceptionHandlerInstall and ignores its result: a process
    // works without crash capture.
    LExceptionHandlerInstaller();
    ~LExceptionHandlerInstaller();
    LExceptionHandlerInstaller(const LExceptionHandlerInstaller&) = delete;
    LExceptionHandlerInstaller& operator=(const LExceptionHandlerInstaller&) = delete;

    // Allocates the port, adds a send right, sets the task's exception
    // ports (mask 14, behaviour EXCEPTION_DEFAULT | MACH_EXCEPTION_CODES,
    // flavour THREAD_STATE_NONE) and starts the handler thread. Returns 0,
    // or the failing step's kern_return_t or pthread_create error. A failure
    // after the port was made leaves it allocated (and, after step 3, set
    // with no thread: faults then go straight on).
    int32_t LMachExceptionHandlerInstall();

    // The handler thread's entry; pInstaller is the installer. Receives one
    // message (MACH_RCV_MSG | MACH_RCV_INTERRUPT, no timeout) into
    // arRequest, lets mach_exc_server answer it into arReply, sends the
    // reply unless the id was unknown, and returns null. A null argument or
    // a failed receive ends the thread at once.
    static void* LMachExceptionHandlerThread(void* pInstaller);

    mach_port_t nExceptionPort = MACH_PORT_NULL;   // receive right and one send right; 0 once released
    alignas(8) uint8_t arRequest[kLMachExcRequestSize]; // the one exception request received
    alignas(8) uint8_t arReply[kLMachExcReplySize];     // the reply built for it
    pthread_t hThread{};                               // the handler thread (valid once started)
    bool bThreadStarted = false;                        // whether hThread names a thread
    pid_t nThreadProcess = 0;                           // the process that started it (a forked child has no such thread)
    // kThreadRunning until the thread has served its exception
    // (kThreadEnded: it stays joinable) or the teardown stops it first
    // (kThreadTornDown: cancelled and detached, so its end leaves nothing
    // behind). Changed once, by whichever comes first.
    enum : int { kThreadRunning, kThreadEnded, kThreadTornDown };
    std::atomic<int> nThreadState{kThreadRunning};
};

extern LExceptionHandlerInstaller gLExceptionHandlerInstaller;

#endif
