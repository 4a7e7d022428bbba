#include "xpc/LXPCHandlerGate.h"

#include <algorithm>

// The handlers inside are tracked by thread rather than in thread-local
// storage: this code is loaded into the audio server with the plug-in
// bundle, and dynamic thread-local storage of loaded modules is a burden
// there (and a known trouble spot for leak checkers).

LXPCBase* LXPCHandlerGate::Enter() {
    std::lock_guard<std::mutex> lock(m_mtx);
    if (m_pBase == nullptr) {
        return nullptr;
    }
    m_arInside.push_back(std::this_thread::get_id());
    return m_pBase;
}

void LXPCHandlerGate::Leave() {
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        const auto it = std::find(m_arInside.begin(), m_arInside.end(), std::this_thread::get_id());
        if (it != m_arInside.end()) {
            m_arInside.erase(it);
        }
    }
    m_cv.notify_all();
}

void LXPCHandlerGate::Close() {
    std::unique_lock<std::mutex> lock(m_mtx);
    m_pBase = nullptr;
    // A handler of this gate that destroys its own base runs on this
    // thread and cannot be waited for; every other one can.
    const std::thread::id self = std::this_thread::get_id();
    m_cv.wait(lock, [&] {
        return std::all_of(m_arInside.begin(), m_arInside.end(), [&](std::thread::id id) { return id == self; });
    });
}
