#include "tests/xpc_locks/LAllocationProbe.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>

namespace harlune::test {
namespace {

// A round takes microseconds; the bound only keeps a faulty case from
// hanging. It is far above anything a loaded machine or a sanitizer build
// adds, so a stall means a lock, not a slow machine.
constexpr auto kStallBound = std::chrono::seconds(10);

std::atomic<LAllocationProbe*> gpProbe{nullptr};
thread_local bool gtbArmed = false;   // this thread's allocations are probed
thread_local bool gtbInRound = false; // inside the probe: its own work is not probed

} // namespace

LAllocationProbe::LAllocationProbe(std::function<void()> fnRound) : m_fnRound(std::move(fnRound)) {
    m_checker = std::thread([this] { CheckerMain(); });
    gpProbe.store(this);
}

LAllocationProbe::~LAllocationProbe() {
    gpProbe.store(nullptr);
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_bStop = true;
    }
    m_cvRequest.notify_all();
    m_checker.join();
}

void LAllocationProbe::RunArmed(const std::function<void()>& fn) {
    gtbArmed = true;
    fn();
    gtbArmed = false;
}

std::uint64_t LAllocationProbe::Rounds() {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nRounds;
}

std::uint64_t LAllocationProbe::Stalls() {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_nStalls;
}

void LAllocationProbe::OnAllocation() {
    if (!gtbArmed || gtbInRound) {
        return;
    }
    if (LAllocationProbe* pProbe = gpProbe.load()) {
        gtbInRound = true;
        pProbe->Round();
        gtbInRound = false;
    }
}

void LAllocationProbe::Round() {
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

void LAllocationProbe::CheckerMain() {
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

// The replaced allocation functions. Every form is replaced, the aligned
// ones included, so no runtime's own set (a sanitizer's) is linked besides.
namespace {

void* Allocate(std::size_t n) {
    harlune::test::LAllocationProbe::OnAllocation();
    return std::malloc(n == 0 ? 1 : n);
}

void* AllocateAligned(std::size_t n, std::align_val_t align) {
    harlune::test::LAllocationProbe::OnAllocation();
    void* p = nullptr;
    const std::size_t nAlign = std::max(static_cast<std::size_t>(align), sizeof(void*));
    return posix_memalign(&p, nAlign, n == 0 ? 1 : n) == 0 ? p : nullptr;
}

void* OrThrow(void* p) {
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

} // namespace

void* operator new(std::size_t n) { return OrThrow(Allocate(n)); }
void* operator new[](std::size_t n) { return OrThrow(Allocate(n)); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return Allocate(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return Allocate(n); }
void* operator new(std::size_t n, std::align_val_t a) { return OrThrow(AllocateAligned(n, a)); }
void* operator new[](std::size_t n, std::align_val_t a) { return OrThrow(AllocateAligned(n, a)); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return AllocateAligned(n, a); }
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
    return AllocateAligned(n, a);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
