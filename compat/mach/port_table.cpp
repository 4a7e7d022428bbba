/*
 * Process-local Mach ports: a fixed table of entries, each with a receive
 * right, send references, a queue of copied messages and an eventfd that
 * wakes its receivers.
 */
#include "mach/port_table.h"

#include <mach/mach_init.h>
#include <mach/mach_port.h>
#include <mach/mig_errors.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <mutex>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace harlune::mach {
namespace {

// Entry states. Names are the high bit, then the generation, then index + 1
// in the low 12 bits: a name of a released entry never matches its next
// use, and no name is ever a kernel thread id (those stay below 2^22), so a
// thread name handed to mach_port_deallocate can never drop a port's
// reference.
enum : uint32_t { kFree = 0, kLive = 1 };

constexpr uint32_t kIndexBits = 12;
static_assert(HARLUNE_MACH_PORT_MAX < (1u << kIndexBits));

struct Port {
    std::atomic<uint32_t> nState{kFree};
    std::atomic<uint32_t> nGeneration{1};
    std::atomic<int> nReceivers{0};
    std::atomic<bool> bHadReceiver{false}; // whether any thread has received on this life of the entry
    int nWakeFile = -1; // eventfd, made on first use and kept for the entry's later lives
    std::mutex mtx;     // guards the fields below
    bool bReceiveRight = false;
    uint32_t nSendRefs = 0;
    std::deque<std::vector<uint8_t>> lMessages;
};

Port garPorts[HARLUNE_MACH_PORT_MAX];
std::mutex gmtxAllocate;

mach_port_t NameOf(uint32_t nIndex, uint32_t nGeneration) {
    return 0x80000000u | ((nGeneration & 0x7FFFFu) << kIndexBits) | (nIndex + 1);
}

// Async-signal-safe lookup: the live entry a name refers to, or null.
Port *Find(mach_port_t name) {
    const uint32_t nIndex = (name & ((1u << kIndexBits) - 1)) - 1;
    if (!MACH_PORT_VALID(name) || nIndex >= HARLUNE_MACH_PORT_MAX) return nullptr;
    Port &port = garPorts[nIndex];
    if (port.nState.load(std::memory_order_acquire) != kLive) return nullptr;
    if (NameOf(nIndex, port.nGeneration.load(std::memory_order_acquire)) != name) return nullptr;
    return &port;
}

// Raw system calls: not cancellation points, not intercepted, and safe in a
// signal handler.
void Wake(int nFile) {
    const uint64_t nOne = 1;
    syscall(SYS_write, nFile, &nOne, sizeof nOne);
}
void Drain(int nFile) {
    uint64_t nCount;
    syscall(SYS_read, nFile, &nCount, sizeof nCount);
}

// Releases the entry once neither a receive right nor a send reference is
// left. Called with port.mtx held.
void ReleaseIfUnused(Port &port) {
    if (port.bReceiveRight || port.nSendRefs > 0) return;
    port.lMessages.clear();
    port.nGeneration.fetch_add(1, std::memory_order_acq_rel);
    port.nState.store(kFree, std::memory_order_release);
}

// --- The fault slot ---------------------------------------------------------

enum : int { kSlotEmpty = 0, kSlotFilling, kSlotPosted, kSlotTaken, kSlotReplied };

struct FaultSlot {
    std::atomic<int> nState{kSlotEmpty};
    std::atomic<mach_port_t> nPort{MACH_PORT_NULL};
    size_t nSize = 0;
    alignas(8) uint8_t arRequest[kFaultRequestMax];
    std::atomic<int> nReplyCode{KERN_FAILURE};
    int nReplyFile = -1;
};

FaultSlot gFault;
std::once_flag gFaultPrepared;

// A receiver's look at the fault slot: takes the posted request for this
// port, if there is one, into the caller's buffer.
bool TakeFault(mach_port_t name, mach_msg_header_t *msg, mach_msg_size_t nLimit, mach_msg_return_t *pResult) {
    if (gFault.nState.load(std::memory_order_acquire) != kSlotPosted ||
        gFault.nPort.load(std::memory_order_acquire) != name) {
        return false;
    }
    int nExpected = kSlotPosted;
    if (!gFault.nState.compare_exchange_strong(nExpected, kSlotTaken, std::memory_order_acq_rel)) return false;
    if (gFault.nSize + sizeof(mach_msg_trailer_t) > nLimit) {
        // Too small a buffer: the request is dropped, and its sender hears
        // "not handled".
        gFault.nReplyCode.store(KERN_FAILURE, std::memory_order_relaxed);
        gFault.nState.store(kSlotReplied, std::memory_order_release);
        Wake(gFault.nReplyFile);
        *pResult = MACH_RCV_TOO_LARGE;
        return true;
    }
    memcpy(msg, gFault.arRequest, gFault.nSize);
    mach_msg_trailer_t trailer = {MACH_MSG_TRAILER_FORMAT_0, sizeof(mach_msg_trailer_t)};
    memcpy(reinterpret_cast<uint8_t *>(msg) + gFault.nSize, &trailer, sizeof trailer);
    *pResult = MACH_MSG_SUCCESS;
    return true;
}

// A reply sent to the fault reply port completes the slot.
mach_msg_return_t ReplyToFault(const mach_msg_header_t *msg, mach_msg_size_t nSize) {
    int nExpected = kSlotTaken;
    if (gFault.nState.load(std::memory_order_acquire) != kSlotTaken) return MACH_SEND_INVALID_DEST;
    kern_return_t nCode = KERN_FAILURE;
    if (nSize >= sizeof(mig_reply_error_t)) nCode = reinterpret_cast<const mig_reply_error_t *>(msg)->RetCode;
    gFault.nReplyCode.store(nCode, std::memory_order_relaxed);
    if (!gFault.nState.compare_exchange_strong(nExpected, kSlotReplied, std::memory_order_acq_rel)) {
        return MACH_SEND_INVALID_DEST;
    }
    Wake(gFault.nReplyFile);
    return MACH_MSG_SUCCESS;
}

mach_msg_type_name_t ReceivedDisposition(mach_msg_type_name_t nSent) {
    switch (nSent) {
    case MACH_MSG_TYPE_MOVE_RECEIVE: return MACH_MSG_TYPE_PORT_RECEIVE;
    case MACH_MSG_TYPE_MOVE_SEND_ONCE:
    case MACH_MSG_TYPE_MAKE_SEND_ONCE: return MACH_MSG_TYPE_PORT_SEND_ONCE;
    case 0: return 0;
    default: return MACH_MSG_TYPE_PORT_SEND;
    }
}

mach_msg_return_t Send(mach_msg_header_t *msg, mach_msg_size_t nSize) {
    if (nSize < sizeof(mach_msg_header_t) || nSize % 4 != 0) return MACH_SEND_MSG_TOO_SMALL;
    const mach_port_t nDest = msg->msgh_remote_port;
    if (nDest == kFaultReplyPort) return ReplyToFault(msg, nSize);
    Port *pPort = Find(nDest);
    if (pPort == nullptr) return MACH_SEND_INVALID_DEST;
    std::vector<uint8_t> arCopy(reinterpret_cast<const uint8_t *>(msg), reinterpret_cast<const uint8_t *>(msg) + nSize);
    auto *pHead = reinterpret_cast<mach_msg_header_t *>(arCopy.data());
    pHead->msgh_size = nSize;
    pHead->msgh_bits = (msg->msgh_bits & MACH_MSGH_BITS_COMPLEX) |
                       MACH_MSGH_BITS(ReceivedDisposition(MACH_MSGH_BITS_LOCAL(msg->msgh_bits)),
                                      ReceivedDisposition(MACH_MSGH_BITS_REMOTE(msg->msgh_bits)));
    pHead->msgh_remote_port = msg->msgh_local_port;
    pHead->msgh_local_port = nDest;
    {
        std::lock_guard<std::mutex> lock(pPort->mtx);
        if (!pPort->bReceiveRight || Find(nDest) != pPort) return MACH_SEND_INVALID_DEST;
        pPort->lMessages.push_back(std::move(arCopy));
    }
    Wake(pPort->nWakeFile);
    return MACH_MSG_SUCCESS;
}

// Counts the calling thread among a port's receivers while it exists,
// including when a cancellation unwinds the receive.
class ReceiverScope {
public:
    explicit ReceiverScope(Port &port) : m_port(port) {
        m_port.nReceivers.fetch_add(1, std::memory_order_acq_rel);
        m_port.bHadReceiver.store(true, std::memory_order_release);
    }
    ~ReceiverScope() { m_port.nReceivers.fetch_sub(1, std::memory_order_acq_rel); }
    ReceiverScope(const ReceiverScope &) = delete;
    ReceiverScope &operator=(const ReceiverScope &) = delete;

private:
    Port &m_port;
};

int64_t NowMilliseconds() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

mach_msg_return_t Receive(mach_msg_header_t *msg, mach_msg_option_t option, mach_msg_size_t nLimit,
                          mach_port_t name, mach_msg_timeout_t nTimeout) {
    Port *pPort = Find(name);
    if (pPort == nullptr) return MACH_RCV_INVALID_NAME;
    {
        std::lock_guard<std::mutex> lock(pPort->mtx);
        if (!pPort->bReceiveRight) return MACH_RCV_INVALID_NAME;
    }
    ReceiverScope scope(*pPort);
    const int64_t tDeadline = NowMilliseconds() + nTimeout;
    for (;;) {
        mach_msg_return_t nResult = MACH_MSG_SUCCESS;
        if (TakeFault(name, msg, nLimit, &nResult)) return nResult;
        {
            std::lock_guard<std::mutex> lock(pPort->mtx);
            if (Find(name) != pPort || !pPort->bReceiveRight) return MACH_RCV_PORT_DIED;
            if (!pPort->lMessages.empty()) {
                std::vector<uint8_t> arMessage = std::move(pPort->lMessages.front());
                pPort->lMessages.pop_front();
                // Another receiver may have slept through the wake-up this
                // message shared with the one that remains.
                if (!pPort->lMessages.empty()) Wake(pPort->nWakeFile);
                if (arMessage.size() + sizeof(mach_msg_trailer_t) > nLimit) return MACH_RCV_TOO_LARGE;
                memcpy(msg, arMessage.data(), arMessage.size());
                mach_msg_trailer_t trailer = {MACH_MSG_TRAILER_FORMAT_0, sizeof(mach_msg_trailer_t)};
                memcpy(reinterpret_cast<uint8_t *>(msg) + arMessage.size(), &trailer, sizeof trailer);
                return MACH_MSG_SUCCESS;
            }
        }
        int nWait = -1;
        if (option & MACH_RCV_TIMEOUT) {
            const int64_t nLeft = tDeadline - NowMilliseconds();
            if (nLeft <= 0) return MACH_RCV_TIMED_OUT;
            nWait = static_cast<int>(nLeft);
        }
        struct pollfd pfd = {pPort->nWakeFile, POLLIN, 0};
        const int nReady = poll(&pfd, 1, nWait); // the cancellation point
        if (nReady < 0 && errno == EINTR && (option & MACH_RCV_INTERRUPT)) return MACH_RCV_INTERRUPTED;
        if (nReady > 0) Drain(pPort->nWakeFile);
    }
}

} // namespace

bool PortIsLive(mach_port_t name) { return Find(name) != nullptr; }

bool PortHasReceiver(mach_port_t name) {
    Port *pPort = Find(name);
    return pPort != nullptr && pPort->nReceivers.load(std::memory_order_acquire) > 0;
}

bool PrepareFaultSlot() {
    std::call_once(gFaultPrepared, [] { gFault.nReplyFile = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); });
    return gFault.nReplyFile >= 0;
}

kern_return_t DeliverFault(mach_port_t name, const void *pRequest, size_t nSize) {
    if (gFault.nReplyFile < 0 || nSize > kFaultRequestMax) return KERN_FAILURE;
    Port *pPort = Find(name);
    if (pPort == nullptr) return KERN_FAILURE;
    if (pPort->nReceivers.load(std::memory_order_acquire) == 0) {
        // A port nobody has ever received on most likely belongs to a
        // handler thread that is still starting (a fault right after the
        // port was set): give it a moment. A port whose receiver has come
        // and gone gets no wait.
        if (pPort->bHadReceiver.load(std::memory_order_acquire)) return KERN_FAILURE;
        constexpr int kFirstReceiverWaitMilliseconds = 1000;
        for (int nWaited = 0; !PortHasReceiver(name); nWaited += 5) {
            if (nWaited >= kFirstReceiverWaitMilliseconds || Find(name) != pPort) return KERN_FAILURE;
            struct timespec ts = {0, 5 * 1000000L};
            syscall(SYS_nanosleep, &ts, nullptr);
        }
    }
    int nExpected = kSlotEmpty;
    if (!gFault.nState.compare_exchange_strong(nExpected, kSlotFilling, std::memory_order_acq_rel)) {
        return KERN_FAILURE; // another fault is being served
    }
    memcpy(gFault.arRequest, pRequest, nSize);
    gFault.nSize = nSize;
    gFault.nPort.store(name, std::memory_order_release);
    Drain(gFault.nReplyFile);
    gFault.nState.store(kSlotPosted, std::memory_order_release);
    Wake(pPort->nWakeFile);

    // Wait for the reply. While the request is only posted, a receiver that
    // has gone (cancelled, or its port destroyed) means nobody will take it:
    // withdraw it. Once taken, the receiver is in plain code up to its reply;
    // the bound only guards against a receiver that never answers.
    constexpr int kTakenLimitMilliseconds = 10000;
    constexpr int kPollMilliseconds = 50;
    int nTakenWaited = 0;
    for (;;) {
        struct timespec ts = {0, kPollMilliseconds * 1000000L};
        struct pollfd pfd = {gFault.nReplyFile, POLLIN, 0};
        syscall(SYS_ppoll, &pfd, 1, &ts, nullptr, 8);
        const int nState = gFault.nState.load(std::memory_order_acquire);
        if (nState == kSlotReplied) {
            const kern_return_t nCode = gFault.nReplyCode.load(std::memory_order_relaxed);
            Drain(gFault.nReplyFile);
            gFault.nState.store(kSlotEmpty, std::memory_order_release);
            return nCode;
        }
        if (nState == kSlotPosted && !PortHasReceiver(name)) {
            int nPosted = kSlotPosted;
            if (gFault.nState.compare_exchange_strong(nPosted, kSlotEmpty, std::memory_order_acq_rel)) {
                return KERN_FAILURE;
            }
            continue; // taken just now
        }
        if (nState == kSlotTaken) {
            nTakenWaited += kPollMilliseconds;
            // The slot stays taken: a late reply finds it so and is refused
            // nothing, but no later fault is bridged. The process is about
            // to take the fault's further handling anyway.
            if (nTakenWaited >= kTakenLimitMilliseconds) return KERN_FAILURE;
        }
    }
}

} // namespace harlune::mach

using namespace harlune::mach;

kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right, mach_port_name_t *name) {
    if (task != mach_task_self()) return KERN_INVALID_TASK;
    if (name == nullptr) return KERN_INVALID_ARGUMENT;
    if (right != MACH_PORT_RIGHT_RECEIVE) return KERN_INVALID_VALUE;
    std::lock_guard<std::mutex> lockAllocate(gmtxAllocate);
    for (uint32_t i = 0; i < HARLUNE_MACH_PORT_MAX; ++i) {
        Port &port = garPorts[i];
        if (port.nState.load(std::memory_order_acquire) != kFree) continue;
        std::lock_guard<std::mutex> lock(port.mtx);
        if (port.nWakeFile < 0) {
            port.nWakeFile = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
            if (port.nWakeFile < 0) return KERN_RESOURCE_SHORTAGE;
        }
        Drain(port.nWakeFile);
        port.bHadReceiver.store(false, std::memory_order_release);
        port.bReceiveRight = true;
        port.nSendRefs = 0;
        port.lMessages.clear();
        port.nState.store(kLive, std::memory_order_release);
        *name = NameOf(i, port.nGeneration.load(std::memory_order_acquire));
        return KERN_SUCCESS;
    }
    return KERN_NO_SPACE;
}

kern_return_t mach_port_insert_right(ipc_space_t task, mach_port_name_t name, mach_port_t poly,
                                     mach_msg_type_name_t right) {
    if (task != mach_task_self()) return KERN_INVALID_TASK;
    if (name != poly) return KERN_INVALID_VALUE;
    Port *pPort = Find(name);
    if (pPort == nullptr) return KERN_INVALID_NAME;
    std::lock_guard<std::mutex> lock(pPort->mtx);
    if (Find(name) != pPort) return KERN_INVALID_NAME;
    if (right == MACH_MSG_TYPE_MAKE_SEND) {
        if (!pPort->bReceiveRight) return KERN_INVALID_RIGHT;
    } else if (right == MACH_MSG_TYPE_COPY_SEND) {
        if (pPort->nSendRefs == 0) return KERN_INVALID_RIGHT;
    } else {
        return KERN_INVALID_VALUE;
    }
    if (pPort->nSendRefs == UINT32_MAX) return KERN_UREFS_OVERFLOW;
    ++pPort->nSendRefs;
    return KERN_SUCCESS;
}

kern_return_t mach_port_mod_refs(ipc_space_t task, mach_port_name_t name, mach_port_right_t right, int delta) {
    if (task != mach_task_self()) return KERN_INVALID_TASK;
    Port *pPort = Find(name);
    if (pPort == nullptr) return KERN_INVALID_NAME;
    {
        std::lock_guard<std::mutex> lock(pPort->mtx);
        if (Find(name) != pPort) return KERN_INVALID_NAME;
        if (right == MACH_PORT_RIGHT_RECEIVE) {
            if (delta == 0) return KERN_SUCCESS;
            if (delta != -1 || !pPort->bReceiveRight) return KERN_INVALID_VALUE;
            pPort->bReceiveRight = false;
            pPort->lMessages.clear();
            ReleaseIfUnused(*pPort);
        } else if (right == MACH_PORT_RIGHT_SEND) {
            if (delta < 0 && static_cast<uint32_t>(-static_cast<int64_t>(delta)) > pPort->nSendRefs) {
                return KERN_INVALID_VALUE;
            }
            pPort->nSendRefs = static_cast<uint32_t>(static_cast<int64_t>(pPort->nSendRefs) + delta);
            ReleaseIfUnused(*pPort);
        } else {
            return KERN_INVALID_VALUE;
        }
    }
    // Receivers wake, see the port gone and return MACH_RCV_PORT_DIED.
    Wake(pPort->nWakeFile);
    return KERN_SUCCESS;
}

kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name) {
    if (task != mach_task_self()) return KERN_INVALID_TASK;
    // Thread names hold no reference here.
    if (name < 0x80000000u && Find(name) == nullptr && name != 0 && syscall(SYS_tgkill, getpid(), name, 0) == 0) {
        return KERN_SUCCESS;
    }
    Port *pPort = Find(name);
    if (pPort == nullptr) return KERN_INVALID_NAME;
    std::lock_guard<std::mutex> lock(pPort->mtx);
    if (Find(name) != pPort) return KERN_INVALID_NAME;
    if (pPort->nSendRefs == 0) return KERN_INVALID_RIGHT;
    --pPort->nSendRefs;
    ReleaseIfUnused(*pPort);
    return KERN_SUCCESS;
}

mach_msg_return_t mach_msg(mach_msg_header_t *msg, mach_msg_option_t option, mach_msg_size_t send_size,
                           mach_msg_size_t rcv_size, mach_port_name_t rcv_name, mach_msg_timeout_t timeout,
                           mach_port_name_t) {
    if (msg == nullptr) return (option & MACH_SEND_MSG) ? MACH_SEND_INVALID_HEADER : MACH_RCV_INVALID_DATA;
    if (option & MACH_SEND_MSG) {
        const mach_msg_return_t nSent = Send(msg, send_size);
        if (nSent != MACH_MSG_SUCCESS) return nSent;
    }
    if (option & MACH_RCV_MSG) return Receive(msg, option, rcv_size, rcv_name, timeout);
    return MACH_MSG_SUCCESS;
}
