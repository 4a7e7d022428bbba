// The exception port, its handler thread and the teardown.
#include "diagnostics/LExceptionHandler.h"

#include <cstring>

LExceptionHandlerInstaller::LExceptionHandlerInstaller() {
    memset(arRequest, 0, sizeof arRequest);
    memset(arReply, 0, sizeof arReply);
    (void)LMachExceptionHandlerInstall();
}

int32_t LExceptionHandlerInstaller::LMachExceptionHandlerInstall() {
    const mach_port_t nTask = mach_task_self();
    kern_return_t nResult = mach_port_allocate(nTask, MACH_PORT_RIGHT_RECEIVE, &nExceptionPort);
    if (nResult != KERN_SUCCESS) return nResult;
    nResult = mach_port_insert_right(nTask, nExceptionPort, nExceptionPort, MACH_MSG_TYPE_MAKE_SEND);
    if (nResult != KERN_SUCCESS) return nResult;
    nResult = task_set_exception_ports(nTask, EXC_MASK_BAD_ACCESS | EXC_MASK_BAD_INSTRUCTION | EXC_MASK_ARITHMETIC,
                                       nExceptionPort, EXCEPTION_DEFAULT | MACH_EXCEPTION_CODES, THREAD_STATE_NONE);
    if (nResult != KERN_SUCCESS) return nResult;
    const int nCreated = pthread_create(&hThread, nullptr, LMachExceptionHandlerThread, this);
    bThreadStarted = nCreated == 0;
    nThreadProcess = getpid();
    return nCreated;
}

namespace {

// Receives and serves the one exception; see LMachExceptionHandlerThread.
void ServeOneException(LExceptionHandlerInstaller* self) {
    auto* pRequest = reinterpret_cast<mach_msg_header_t*>(self->arRequest);
    auto* pReply = reinterpret_cast<mach_msg_header_t*>(self->arReply);
    // The teardown may clear the port while a late-starting thread reads
    // it (a short program can end before this thread first runs), hence
    // the atomic access; a cleared port makes the receive fail at once.
    const mach_port_t nPort = __atomic_load_n(&self->nExceptionPort, __ATOMIC_ACQUIRE);
    if (mach_msg(pRequest, MACH_RCV_MSG | MACH_RCV_INTERRUPT, 0, kLMachExcRequestSize, nPort,
                 MACH_MSG_TIMEOUT_NONE, MACH_PORT_NULL) != MACH_MSG_SUCCESS) {
        return;
    }
    if (!mach_exc_server(pRequest, pReply)) return; // unknown id: no reply
    mach_msg(pReply, MACH_SEND_MSG, pReply->msgh_size, 0, MACH_PORT_NULL, MACH_MSG_TIMEOUT_NONE, MACH_PORT_NULL);
}

} // namespace

void* LExceptionHandlerInstaller::LMachExceptionHandlerThread(void* pInstaller) {
    if (pInstaller == nullptr) return nullptr;
    auto* self = static_cast<LExceptionHandlerInstaller*>(pInstaller);
    ServeOneException(self);
    // From here the teardown leaves the thread alone: whoever wants its end
    // may join it.
    int nRunning = kThreadRunning;
    self->nThreadState.compare_exchange_strong(nRunning, kThreadEnded);
    return nullptr;
}

LExceptionHandlerInstaller::~LExceptionHandlerInstaller() {
    const bool bPortGone = mach_port_deallocate(mach_task_self(), nExceptionPort) == KERN_SUCCESS;
    // A child made by fork() ends here too, without the thread (a fork
    // copies only the forking thread): its handle names nothing there.
    // Only a thread still waiting for its exception is stopped here; one
    // that has served it has ended and may have been joined already.
    int nRunning = kThreadRunning;
    if (bPortGone && bThreadStarted && nThreadProcess == getpid() &&
        nThreadState.compare_exchange_strong(nRunning, kThreadTornDown)) {
        pthread_cancel(hThread);
        // Nobody joins it: this runs while the process ends, and waiting
        // there for a thread in a message wait is worth nothing.
        pthread_detach(hThread);
    }
    if (bPortGone) __atomic_store_n(&nExceptionPort, MACH_PORT_NULL, __ATOMIC_RELEASE);
}
