#include "xpc/LXPCHandlerGate.h"

namespace {

// How many times the current thread is inside a handler of each gate; a
// thread is inside one gate at a time in practice, so one slot suffices,
// with a fallback count for the rare nesting of different gates.
thread_local const LXPCHandlerGate* gtlpGate = nullptr;
thread_local int gtlnDepth = 0;

} // namespace

LXPCBase* LXPCHandlerGate::Enter() {
    std::lock_guard<std::mutex> lock(m_mtx);
    if (m_pBase == nullptr) {
        return nullptr;
    }
    ++m_nInside;
    if (gtlpGate == this) {
        ++gtlnDepth;
    } else if (gtlpGate == nullptr) {
        gtlpGate = this;
        gtlnDepth = 1;
    }
    return m_pBase;
}

void LXPCHandlerGate::Leave() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        --m_nInside;
        if (gtlpGate == this && --gtlnDepth == 0) {
            gtlpGate = nullptr;
        }
    }
    m_cv.notify_all();
}

void LXPCHandlerGate::Close() {
    std::unique_lock<std::mutex> lock(m_mtx);
    m_pBase = nullptr;
    const int nOwn = gtlpGate == this ? gtlnDepth : 0;
    m_cv.wait(lock, [&] { return m_nInside <= nOwn; });
}
