#include "tests/xpc_locks/LSlowWorkProbe.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>

#include <xpc/xpc.h>

namespace harlune::test {
namespace {

// A round takes microseconds; the bound only keeps a faulty case from
// hanging. It is far above anything a loaded machine or a sanitizer build
// adds, so a stall means a lock, not a slow machine.
constexpr auto kStallBound = std::chrono::seconds(10);

std::atomic<LSlowWorkProbe*> gpProbe{nullptr};
thread_local bool gtbArmed = false;   // this thread's probed calls wait for a round
thread_local bool gtbInRound = false; // inside the probe: its own work is not probed

} // namespace

LSlowWorkProbe::LSlowWorkProbe(std::function<void()> fnRound) : m_fnRound(std::move(fnRound)) {
    m_checker = std::thread([this] { CheckerMain(); });
    gpProbe.store(this);
}

LSlowWorkProbe::~LSlowWorkProbe() {
    gpProbe.store(nullptr);
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bStop = true;
    }
    m_cvRequest.notify_all();
    m_checker.join();
}

void LSlowWorkProbe::RunArmed(const std::function<void()>& fn) {
    gtbArmed = true;
    fn();
    gtbArmed = false;
}

std::uint64_t LSlowWorkProbe::Rounds() {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nRounds;
}

std::uint64_t LSlowWorkProbe::Stalls() {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nStalls;
}

void LSlowWorkProbe::OnSlowCall() {
    if (!gtbArmed || gtbInRound) {
        return;
    }
    if (LSlowWorkProbe* pProbe = gpProbe.load()) {
        gtbInRound = true;
        pProbe->Round();
        gtbInRound = false;
    }
}

void LSlowWorkProbe::Round() {
    std::unique_lock<std::mutex> lock(m_mtx);
    const std::uint64_t n = ++m_nRequested;
    m_cvRequest.notify_all();
    if (m_cvDone.wait_for(lock, kStallBound, [&] { return m_nDone >= n; })) {
        ++m_nRounds;
    } else {
        // Let the armed thread go on (it releases the lock, the round then
        // ends late) and probe no further: one stall decides the case.
        ++m_nStalls;
        gtbArmed = false;
    }
}

void LSlowWorkProbe::CheckerMain() {
    std::unique_lock<std::mutex> lock(m_mtx);
    for (;;) {
        m_cvRequest.wait(lock, [&] { return m_bStop || m_nRequested > m_nDone; });
        if (m_bStop) {
            return;
        }
        const std::uint64_t n = m_nRequested;
        lock.unlock();
        m_fnRound();
        lock.lock();
        m_nDone = n;
        m_cvDone.notify_all();
    }
}

} // namespace harlune::test

// The probed calls. The suite is linked with --wrap for each of them
// (tests/xpc_locks/CMakeLists.txt), so every call from the framework's and
// the tests' objects comes here first and then goes on to the real one.
// Redirecting calls rather than replacing the functions keeps the runtime's
// own allocator, which the sanitizer builds need.
#define HARLUNE_PROBED(result, name, params, args)                                                                 \
    extern "C" result __real_##name params;                                                                        \
    extern "C" result __wrap_##name params {                                                                       \
        harlune::test::LSlowWorkProbe::OnSlowCall();                                                           \
        return __real_##name args;                                                                                 \
    }

// operator new and new[], plain and nothrow, by their symbol names.
HARLUNE_PROBED(void*, _Znwm, (std::size_t n), (n))
HARLUNE_PROBED(void*, _Znam, (std::size_t n), (n))
HARLUNE_PROBED(void*, _ZnwmRKSt9nothrow_t, (std::size_t n, const std::nothrow_t& t), (n, t))
HARLUNE_PROBED(void*, _ZnamRKSt9nothrow_t, (std::size_t n, const std::nothrow_t& t), (n, t))
// The platform calls that make, set up, change and end connections.
HARLUNE_PROBED(xpc_connection_t, xpc_connection_create, (const char* sz, dispatch_queue_t q), (sz, q))
HARLUNE_PROBED(xpc_connection_t, xpc_connection_create_mach_service, (const char* sz, dispatch_queue_t q, uint64_t f),
               (sz, q, f))
HARLUNE_PROBED(xpc_connection_t, xpc_connection_create_from_endpoint, (xpc_endpoint_t e), (e))
HARLUNE_PROBED(xpc_endpoint_t, xpc_endpoint_create, (xpc_connection_t c), (c))
HARLUNE_PROBED(void, xpc_connection_set_event_handler, (xpc_connection_t c, xpc_handler_t h), (c, h))
HARLUNE_PROBED(void, xpc_connection_suspend, (xpc_connection_t c), (c))
HARLUNE_PROBED(void, xpc_connection_resume, (xpc_connection_t c), (c))
HARLUNE_PROBED(void, xpc_connection_cancel, (xpc_connection_t c), (c))
HARLUNE_PROBED(void, xpc_release, (xpc_object_t o), (o))
