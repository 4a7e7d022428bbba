/*
 * The task's exception ports on Linux: the synchronous fault signals become
 * exception requests on the port set for their kind; what the port's
 * receiver does not handle goes on to the signal's earlier action.
 */
#include "mach/port_table.h"

#include <mach/exception_types.h>
#include <mach/mach_init.h>
#include <mach/task.h>
#include <mach/mig_errors.h>
#include <mach/ndr.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <mutex>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

using harlune::mach::DeliverFault;
using harlune::mach::PrepareFaultSlot;

// The bridged kinds, indexed by exception type.
constexpr int kFirstKind = EXC_BAD_ACCESS;
constexpr int kKinds = 3;

struct Registration {
    std::atomic<mach_port_t> nPort{MACH_PORT_NULL};
    std::atomic<int> nBehavior{0};
};
Registration garRegistrations[kKinds];

// The signals bridged and what was installed for them before the bridge.
constexpr int arSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE};
struct sigaction garPrevious[sizeof arSignals / sizeof arSignals[0]];
std::atomic<pid_t> gnInstalledPid{0};
std::mutex gmtxInstall;

int KindOfSignal(int nSignal) {
    switch (nSignal) {
    case SIGSEGV:
    case SIGBUS: return EXC_BAD_ACCESS;
    case SIGILL: return EXC_BAD_INSTRUCTION;
    case SIGFPE: return EXC_ARITHMETIC;
    default: return 0;
    }
}

int IndexOfSignal(int nSignal) {
    for (size_t i = 0; i < sizeof arSignals / sizeof arSignals[0]; ++i) {
        if (arSignals[i] == nSignal) return static_cast<int>(i);
    }
    return -1;
}

// The two codes of the exception, as the platform reports them.
void CodesOf(int nSignal, const siginfo_t *pInfo, int64_t *arCodes) {
    arCodes[0] = pInfo->si_code;
    arCodes[1] = 0;
    switch (nSignal) {
    case SIGSEGV:
        arCodes[0] = pInfo->si_code == SEGV_ACCERR ? KERN_PROTECTION_FAILURE : KERN_INVALID_ADDRESS;
        arCodes[1] = static_cast<int64_t>(reinterpret_cast<uintptr_t>(pInfo->si_addr));
        break;
    case SIGBUS:
        arCodes[0] = KERN_MEMORY_ERROR;
        arCodes[1] = static_cast<int64_t>(reinterpret_cast<uintptr_t>(pInfo->si_addr));
        break;
    case SIGILL: arCodes[0] = EXC_I386_INVOP; break;
    case SIGFPE:
        arCodes[0] = (pInfo->si_code == FPE_INTDIV || pInfo->si_code == FPE_INTOVF) ? EXC_I386_DIV : EXC_I386_SSEEXTERR;
        break;
    default: break;
    }
}

// Lays out the request of the behaviour's routine (2405 mach_exception_raise,
// 2406 _state, 2407 _state_identity) as the receiver sees it: the reply
// port is the fault slot's, the thread and task travel as port descriptors,
// two 64-bit codes, and an empty state of flavour THREAD_STATE_NONE.
// Returns the size. No allocation: pBuffer is the caller's stack.
size_t BuildRequest(uint8_t *pBuffer, mach_port_t nPort, int nBehavior, int nKind, const int64_t *arCodes) {
    const int nForm = nBehavior & ~static_cast<int>(MACH_EXCEPTION_CODES);
    const bool bIdentity = nForm != EXCEPTION_STATE;
    const bool bState = nForm != EXCEPTION_DEFAULT;
    size_t n = sizeof(mach_msg_header_t);
    auto put32 = [&](uint32_t v) { memcpy(pBuffer + n, &v, 4); n += 4; };
    if (bIdentity) {
        put32(2); // descriptor count
        const mach_port_t arNames[2] = {mach_thread_self(), mach_task_self()};
        for (mach_port_t nName : arNames) {
            mach_msg_port_descriptor_t d;
            memset(&d, 0, sizeof d);
            d.name = nName;
            d.disposition = MACH_MSG_TYPE_PORT_SEND;
            d.type = MACH_MSG_PORT_DESCRIPTOR;
            memcpy(pBuffer + n, &d, sizeof d);
            n += sizeof d;
        }
    }
    memcpy(pBuffer + n, &NDR_record, sizeof NDR_record);
    n += sizeof NDR_record;
    put32(static_cast<uint32_t>(nKind));
    put32(2);
    memcpy(pBuffer + n, arCodes, 16);
    n += 16;
    if (bState) {
        put32(THREAD_STATE_NONE);
        put32(0); // no state words
    }
    mach_msg_header_t head;
    head.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_PORT_SEND_ONCE, MACH_MSG_TYPE_PORT_SEND) |
                     (bIdentity ? MACH_MSGH_BITS_COMPLEX : 0);
    head.msgh_size = static_cast<mach_msg_size_t>(n);
    head.msgh_remote_port = harlune::mach::kFaultReplyPort;
    head.msgh_local_port = nPort;
    head.msgh_voucher_port = MACH_PORT_NULL;
    head.msgh_id = 2404 + nForm;
    memcpy(pBuffer, &head, sizeof head);
    return n;
}

// Sends the signal on to what was installed before the bridge.
void PassOn(int nSignal, siginfo_t *pInfo, void *pContext) {
    const int nIndex = IndexOfSignal(nSignal);
    const struct sigaction &previous = garPrevious[nIndex];
    const bool bFault = pInfo != nullptr && pInfo->si_code > 0;
    if ((previous.sa_flags & SA_SIGINFO) && previous.sa_sigaction != nullptr) {
        previous.sa_sigaction(nSignal, pInfo, pContext);
        return;
    }
    if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(nSignal);
        return;
    }
    // A fault cannot be ignored: the kernel forces the default action, and so
    // do we.
    if (previous.sa_handler == SIG_IGN && !bFault) return;
    struct sigaction dfl;
    memset(&dfl, 0, sizeof dfl);
    dfl.sa_handler = SIG_DFL;
    sigaction(nSignal, &dfl, nullptr);
    // A fault strikes again when the instruction re-runs, now with the
    // default action; a sent signal is sent once more, to this thread, and
    // is delivered when the handler returns.
    if (!bFault) syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), nSignal);
}

void FaultHandler(int nSignal, siginfo_t *pInfo, void *pContext) {
    const int nSavedErrno = errno;
    const int nKind = KindOfSignal(nSignal);
    // Only faults the kernel raised become exceptions, and only in the
    // process that set the port: a forked child has no receiving thread.
    if (nKind != 0 && pInfo != nullptr && pInfo->si_code > 0 &&
        static_cast<pid_t>(syscall(SYS_getpid)) == gnInstalledPid.load(std::memory_order_acquire)) {
        const Registration &reg = garRegistrations[nKind - kFirstKind];
        const mach_port_t nPort = reg.nPort.load(std::memory_order_acquire);
        if (MACH_PORT_VALID(nPort)) {
            int64_t arCodes[2];
            CodesOf(nSignal, pInfo, arCodes);
            alignas(8) uint8_t arRequest[harlune::mach::kFaultRequestMax];
            const size_t nSize =
                BuildRequest(arRequest, nPort, reg.nBehavior.load(std::memory_order_acquire), nKind, arCodes);
            if (DeliverFault(nPort, arRequest, nSize) == KERN_SUCCESS) {
                errno = nSavedErrno;
                return; // handled: the thread resumes
            }
        }
    }
    PassOn(nSignal, pInfo, pContext);
    errno = nSavedErrno;
}

bool gbHandlersInstalled = false; // under gmtxInstall

bool InstallHandlers() {
    // In a forked child the handlers are already there (and garPrevious
    // must keep what came before them); only the owning process changes.
    if (gbHandlersInstalled) {
        gnInstalledPid.store(getpid(), std::memory_order_release);
        return true;
    }
    if (!PrepareFaultSlot()) return false;
    // Set first: a later call must never save this bridge as "previous".
    gbHandlersInstalled = true;
    for (size_t i = 0; i < sizeof arSignals / sizeof arSignals[0]; ++i) {
        struct sigaction action;
        memset(&action, 0, sizeof action);
        action.sa_sigaction = FaultHandler;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
        sigemptyset(&action.sa_mask);
        if (sigaction(arSignals[i], &action, &garPrevious[i]) != 0) return false;
    }
    gnInstalledPid.store(getpid(), std::memory_order_release);
    return true;
}

} // namespace

kern_return_t task_set_exception_ports(task_t task, exception_mask_t exception_mask, mach_port_t new_port,
                                       exception_behavior_t behavior, thread_state_flavor_t) {
    if (task != mach_task_self()) return KERN_INVALID_ARGUMENT;
    const int nForm = behavior & ~static_cast<int>(MACH_EXCEPTION_CODES);
    if (!(behavior & static_cast<int>(MACH_EXCEPTION_CODES)) || nForm < EXCEPTION_DEFAULT ||
        nForm > EXCEPTION_STATE_IDENTITY) {
        return KERN_INVALID_ARGUMENT;
    }
    if (new_port != MACH_PORT_NULL && !harlune::mach::PortIsLive(new_port)) return KERN_INVALID_ARGUMENT;
    std::lock_guard<std::mutex> lock(gmtxInstall);
    const bool bBridged = (exception_mask & (EXC_MASK_BAD_ACCESS | EXC_MASK_BAD_INSTRUCTION | EXC_MASK_ARITHMETIC)) != 0;
    if (bBridged && new_port != MACH_PORT_NULL && !InstallHandlers()) return KERN_FAILURE;
    for (int nKind = kFirstKind; nKind < kFirstKind + kKinds; ++nKind) {
        if (!(exception_mask & (1u << nKind))) continue;
        garRegistrations[nKind - kFirstKind].nBehavior.store(behavior, std::memory_order_release);
        garRegistrations[nKind - kFirstKind].nPort.store(new_port, std::memory_order_release);
    }
    return KERN_SUCCESS;
}
