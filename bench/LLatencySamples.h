// LLatencySamples.h: per-call timings for benchmarks that quote medians and
// 99th percentiles rather than means.
//
// Each sample is one call timed with the host clock (mach_absolute_time,
// nanoseconds). The clock read itself costs tens of nanoseconds, so the
// recorder measures that overhead once (the median of back-to-back reads)
// and subtracts it from every sample. Not thread-safe: one recorder per
// timing thread.
#ifndef HARLUNE_BENCH_LLATENCYSAMPLES_H
#define HARLUNE_BENCH_LLATENCYSAMPLES_H

#include <mach/mach_time.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace harlune::bench {

class LLatencySamples {
public:
    explicit LLatencySamples(std::size_t nReserve = 1 << 20) {
        m_arSamples.reserve(nReserve);
        std::vector<std::uint64_t> arOverhead(10001);
        for (auto& q : arOverhead) {
            const std::uint64_t a = mach_absolute_time();
            q = mach_absolute_time() - a;
        }
        std::nth_element(arOverhead.begin(), arOverhead.begin() + 5000, arOverhead.end());
        m_qwOverheadNs = arOverhead[5000];
    }

    // Times one call of f.
    template <typename F>
    void Time(F&& f) {
        const std::uint64_t qwStart = mach_absolute_time();
        f();
        const std::uint64_t qwSpan = mach_absolute_time() - qwStart;
        m_arSamples.push_back(qwSpan > m_qwOverheadNs ? qwSpan - m_qwOverheadNs : 0);
    }

    void Add(std::uint64_t qwNs) { m_arSamples.push_back(qwNs); }

    // The fraction-th quantile (0.5 median, 0.99 99th percentile), in ns.
    double Quantile(double fFraction) {
        if (m_arSamples.empty()) {
            return 0.0;
        }
        std::vector<std::uint64_t> ar = m_arSamples;
        const std::size_t n = std::min(ar.size() - 1, static_cast<std::size_t>(fFraction * (ar.size() - 1) + 0.5));
        std::nth_element(ar.begin(), ar.begin() + static_cast<std::ptrdiff_t>(n), ar.end());
        return static_cast<double>(ar[n]);
    }

    std::size_t Count() const { return m_arSamples.size(); }
    std::uint64_t OverheadNs() const { return m_qwOverheadNs; }
    void Clear() { m_arSamples.clear(); }

private:
    std::vector<std::uint64_t> m_arSamples; // nanoseconds per call, clock overhead removed
    std::uint64_t m_qwOverheadNs = 0;       // median cost of one clock read pair
};

} // namespace harlune::bench

#endif
