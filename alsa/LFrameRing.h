// LFrameRing.h: the small ring between an application's writes and the
// device's IO cycle: interleaved stereo float frames, one producer (the
// application's thread, inside ALSA's transfer) and one consumer (the IO
// thread).
//
// Wait-free on both sides: each side owns one frame counter and reads the
// other's with acquire ordering, so the consumer never blocks and never
// waits for the application. The counters only grow (64 bits: centuries of
// audio), and the application's hardware pointer is derived from Consumed().
//
// Thread safety: Produce from one thread, Consume from one other thread;
// Written, Consumed and Queued from any thread. Reset only while no
// consumer can run (the stream is detached from the IO cycle).
#ifndef HARLUNE_ALSA_LFRAMERING_H
#define HARLUNE_ALSA_LFRAMERING_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace harlune::alsa {

class LFrameRing {
public:
    static constexpr std::size_t kChannels = 2;

    // A ring of nCapacity frames (0 is allowed: it takes nothing).
    explicit LFrameRing(std::size_t nCapacity = 0);
    LFrameRing(const LFrameRing&) = delete;
    LFrameRing& operator=(const LFrameRing&) = delete;

    std::size_t Capacity() const { return m_nCapacity; }
    // Drops every queued frame, sets both counters to 0 and resizes to
    // nCapacity frames. Only while no consumer can run.
    void Reset(std::size_t nCapacity);

    // Producer: makes room for up to nFrames frames and hands the free space
    // to fill(pfFrames, nCount, nDone) span by span (at most two, because of
    // the wrap), where nDone frames of the request were handed out before;
    // then publishes them. Returns the frames taken (fewer when the ring is
    // fuller than Capacity() - nFrames).
    template <typename Fill>
    std::size_t Produce(std::size_t nFrames, Fill&& fill);

    // Consumer: moves up to nFrames frames into pfDest (interleaved stereo);
    // when bAdd, adds them to what pfDest holds instead. Returns the frames
    // taken; pfDest past them is left untouched.
    std::size_t Consume(float* pfDest, std::size_t nFrames, bool bAdd);

    std::uint64_t Written() const { return m_qwWritten.load(std::memory_order_acquire); }
    std::uint64_t Consumed() const { return m_qwConsumed.load(std::memory_order_acquire); }
    std::size_t Queued() const { return static_cast<std::size_t>(Written() - Consumed()); }

private:
    std::vector<float> m_arSamples;              // nCapacity frames
    std::size_t m_nCapacity = 0;                 // frames
    std::atomic<std::uint64_t> m_qwWritten{0};   // frames ever produced; the producer's
    std::atomic<std::uint64_t> m_qwConsumed{0};  // frames ever consumed; the consumer's
};

template <typename Fill>
std::size_t LFrameRing::Produce(std::size_t nFrames, Fill&& fill) {
    const std::uint64_t qwWritten = m_qwWritten.load(std::memory_order_relaxed);
    const std::uint64_t qwConsumed = m_qwConsumed.load(std::memory_order_acquire);
    const std::size_t nFree = m_nCapacity - static_cast<std::size_t>(qwWritten - qwConsumed);
    const std::size_t nTake = nFrames < nFree ? nFrames : nFree;
    std::size_t nDone = 0;
    while (nDone < nTake) {
        const std::size_t nAt = static_cast<std::size_t>((qwWritten + nDone) % m_nCapacity);
        const std::size_t nSpan = nTake - nDone < m_nCapacity - nAt ? nTake - nDone : m_nCapacity - nAt;
        fill(m_arSamples.data() + nAt * kChannels, nSpan, nDone);
        nDone += nSpan;
    }
    m_qwWritten.store(qwWritten + nTake, std::memory_order_release);
    return nTake;
}

} // namespace harlune::alsa

#endif
