// A recorder stopped (SIGSTOP) while the device plays: once the plug-in's
// send queue to it is full, every further cycle's audio is dropped, and the
// audio server's memory must not grow by what each dropped send leaves
// behind, however many cycles pass.
#include "tests/e2e/LEndToEndFixture.h"
#include "tools/harlune/ProcessStats.h"

#include <thread>

namespace harlune::test {
namespace {

using StalledRecorderTest = LEndToEndFixture;

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HARLUNE_SANITIZED 1
#endif
#endif

// Cycles played while the recorder is stopped and its queue already full.
constexpr std::uint64_t kStalledCycles = 60000;
// What the host may grow by over them: far below one small block per cycle
// (60000 cycles of 80 bytes are 4.7 MiB), above the allocator's own slack.
[[maybe_unused]] constexpr long kMaxGrowthKiB = 512;

TEST_F(StalledRecorderTest, HostMemoryStaysFlatOverManyThousandsOfDroppedCycles) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    StartRecorder(recorder, "stalled.wav");
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    recorder.Signal(SIGSTOP);
    // Fill the queue and every socket buffer on the way (the queue's limit
    // is 8 MiB, a cycle 4 KiB), then measure from there.
    const tools::LPlayReport warm = Play(512 * 8192, false);
    EXPECT_EQ(warm.nFailedCalls, 0u);
    const long nKiBBefore = tools::LResidentKiB(0);
    const tools::LPlayReport stalled = Play(512 * kStalledCycles, false, 512 * 8192);
    const long nKiBAfter = tools::LResidentKiB(0);
    recorder.Signal(SIGCONT);
    EXPECT_EQ(stalled.nFailedCalls, 0u);
    EXPECT_EQ(stalled.nCycles, kStalledCycles);
    RecordProperty("host_rss_growth_kib_while_stalled", static_cast<int>(nKiBAfter - nKiBBefore));
#ifndef HARLUNE_SANITIZED
    // The sanitizers keep freed memory in quarantine; resident size says
    // nothing there.
    EXPECT_LT(nKiBAfter - nKiBBefore, kMaxGrowthKiB);
#endif
}

} // namespace
} // namespace harlune::test
