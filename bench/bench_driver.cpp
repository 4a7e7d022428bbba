// Per-call cost of the driver's IO-thread entries, through the bundle's
// interface table as the audio server calls them.
//
// Figures: median and 99th percentile in nanoseconds, printed as counters
// and as "name: value" lines.
#include "bench/LLatencySamples.h"
#include "host/LHost.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using harlune::bench::LLatencySamples;

// One loaded driver for the whole run, with IO started.
struct LoadedDriver {
    std::string szStorage;
    std::unique_ptr<harlune::host::LHost> pHost;

    LoadedDriver() {
        char szTemplate[] = "/tmp/harlune-bench.XXXXXX";
        szStorage = mkdtemp(szTemplate) != nullptr ? szTemplate : "/tmp";
        std::string szError;
        pHost = harlune::host::LHost::Load({HARLUNE_BUNDLE_PATH, szStorage}, &szError);
        if (!pHost) {
            std::fprintf(stderr, "%s\n", szError.c_str());
            std::exit(1);
        }
        pHost->Entries()->StartIO(pHost->Driver(), 3, 1);
    }
    ~LoadedDriver() {
        pHost->Entries()->StopIO(pHost->Driver(), 3, 1);
        pHost.reset();
        std::string szCommand = "rm -rf '" + szStorage + "'";
        if (szStorage != "/tmp" && std::system(szCommand.c_str()) != 0) {
            std::fprintf(stderr, "could not remove %s\n", szStorage.c_str());
        }
    }
};

LoadedDriver& Driver() {
    static LoadedDriver driver;
    return driver;
}

void Report(benchmark::State& state, LLatencySamples& samples, const char* szName) {
    const double fMedian = samples.Quantile(0.5);
    const double fP99 = samples.Quantile(0.99);
    state.counters["median_ns"] = fMedian;
    state.counters["p99_ns"] = fP99;
    std::printf("%s_median_ns: %.0f\n%s_p99_ns: %.0f\n", szName, fMedian, szName, fP99);
}

void BM_GetZeroTimeStamp(benchmark::State& state) {
    auto& host = *Driver().pHost;
    AudioServerPlugInDriverRef driver = host.Driver();
    AudioServerPlugInDriverInterface* p = host.Entries();
    LLatencySamples samples;
    Float64 fSample = 0;
    UInt64 qwHost = 0, qwSeed = 0;
    for (auto _ : state) {
        samples.Time([&] { p->GetZeroTimeStamp(driver, 3, 1, &fSample, &qwHost, &qwSeed); });
        benchmark::DoNotOptimize(qwHost);
    }
    Report(state, samples, "get_zero_time_stamp");
}
BENCHMARK(BM_GetZeroTimeStamp)->Iterations(1000000);

void BM_DoIOOperationWriteMix(benchmark::State& state) {
    auto& host = *Driver().pHost;
    AudioServerPlugInDriverRef driver = host.Driver();
    AudioServerPlugInDriverInterface* p = host.Entries();
    const UInt32 dwFrames = static_cast<UInt32>(state.range(0));
    std::vector<Float32> buffer(dwFrames * 2, 0.25f);
    AudioServerPlugInIOCycleInfo info = {};
    info.mNominalIOBufferFrameSize = dwFrames;
    LLatencySamples samples;
    for (auto _ : state) {
        samples.Time([&] {
            p->DoIOOperation(driver, 3, 8, 1, kAudioServerPlugInIOOperationWriteMix, dwFrames, &info, buffer.data(),
                             nullptr);
        });
    }
    Report(state, samples, "do_io_operation_unconnected");
}
BENCHMARK(BM_DoIOOperationWriteMix)->Arg(512)->Iterations(1000000);

} // namespace

BENCHMARK_MAIN();
