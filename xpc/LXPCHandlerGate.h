// LXPCHandlerGate.h: the guard between an LXPCBase and the platform
// handlers (event handlers, reply handlers, barriers) that refer to it.
//
// Handlers run on platform queues, possibly after the base has been
// destroyed (a reply or a barrier queued before the destruction). Each
// handler holds a reference to the gate, not to the base; it enters the
// gate for the duration of its work and finds the base there only while
// the base lives. Closing the gate (from the base's destructor) waits until
// every handler that already entered has left, except one running on the
// closing thread itself (a callback that destroys its own client), so that
// once the destructor returns no handler touches the base or its notify.
//
// Thread-safe. Reference counted: the base holds one reference, every
// installed handler one more; the last release frees the gate.
#ifndef HARLUNE_XPC_LXPCHANDLERGATE_H
#define HARLUNE_XPC_LXPCHANDLERGATE_H

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

class LXPCBase;

class LXPCHandlerGate {
public:
    explicit LXPCHandlerGate(LXPCBase* pBase) : m_pBase(pBase) {}
    LXPCHandlerGate(const LXPCHandlerGate&) = delete;
    LXPCHandlerGate& operator=(const LXPCHandlerGate&) = delete;

    void Retain() { m_nRefs.fetch_add(1, std::memory_order_relaxed); }
    void Release() {
        if (m_nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

    // Enters the gate: the base while it lives (leave with Leave()), or
    // null when it is gone (do not call Leave()).
    LXPCBase* Enter();
    void Leave();
    // Closes the gate: no handler enters afterwards, and the call returns
    // once every handler that entered on another thread has left.
    void Close();

private:
    ~LXPCHandlerGate() = default;

    std::atomic<int> m_nRefs{1};
    std::mutex m_mtx;
    std::condition_variable m_cv;
    LXPCBase* m_pBase;                    // null once closed
    std::vector<std::thread::id> m_arInside; // one entry per handler between Enter and Leave
};

// One counted reference to a gate, for blocks that capture it by shared
// pointer (the block's copies share it; the last one gives it back).
class LXPCGateReference {
public:
    explicit LXPCGateReference(LXPCHandlerGate* pGate) : m_pGate(pGate) { m_pGate->Retain(); }
    ~LXPCGateReference() { m_pGate->Release(); }
    LXPCGateReference(const LXPCGateReference&) = delete;
    LXPCGateReference& operator=(const LXPCGateReference&) = delete;
    LXPCHandlerGate* Gate() const { return m_pGate; }

private:
    LXPCHandlerGate* m_pGate;
};

// Enters a gate for one scope.
class LXPCGateScope {
public:
    explicit LXPCGateScope(LXPCHandlerGate* pGate) : m_pGate(pGate), m_pBase(pGate->Enter()) {}
    ~LXPCGateScope() {
        if (m_pBase != nullptr) {
            m_pGate->Leave();
        }
    }
    LXPCGateScope(const LXPCGateScope&) = delete;
    LXPCGateScope& operator=(const LXPCGateScope&) = delete;
    LXPCBase* Base() const { return m_pBase; }

private:
    LXPCHandlerGate* m_pGate;
    LXPCBase* m_pBase;
};

#endif
