// Every buffer from the device to the recording, with real processes.
#include "tests/e2e/LEndToEndFixture.h"

#include <thread>

namespace harlune::test {
namespace {

using EndToEndTest = LEndToEndFixture;

bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

TEST_F(EndToEndTest, RecordingIsBitIdenticalToWhatWasPlayed) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    StartRecorder(recorder, "capture.wav");
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    // Paced and unpaced: the recording holds each frame once, in order.
    const tools::LPlayReport paced = Play(512 * 40, true);
    const tools::LPlayReport fast = Play(512 * 200, false, 512 * 40);
    EXPECT_EQ(paced.nFailedCalls + fast.nFailedCalls, 0u);
    // The last buffers may still be on their way: wait for the recorder.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::vector<float> recorded = StopAndRead(recorder, "capture.wav");
    EXPECT_EQ(recorded.size() / 2, 512u * 240);
    EXPECT_TRUE(SameBits(recorded, Expected(512 * 240)));
}

TEST_F(EndToEndTest, VolumeSetThroughTheDriverReachesTheRecorderAsAScalar) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    StartRecorder(recorder, "volume.wav");
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    std::string szError;
    ASSERT_TRUE(m_pPlayer->SetVolume(0.5f, &szError));
    EXPECT_TRUE(recorder.WaitForLine("volume: 0.500000", kStartTimeout)) << recorder.Output();
    // Decibels travel as the scalar too: 0 dB is 0.970142…
    const AudioObjectPropertyAddress address = {kAudioLevelControlPropertyDecibelValue, kAudioObjectPropertyScopeGlobal, 0};
    const Float32 fDecibels = 0.0f;
    ASSERT_EQ(m_pPlayer->Host().Entries()->SetPropertyData(m_pPlayer->Host().Driver(), 9, 0, &address, 0, nullptr, 4,
                                                           &fDecibels),
              0);
    EXPECT_TRUE(recorder.WaitForLine("volume: 0.970142", kStartTimeout)) << recorder.Output();
    StopAndRead(recorder, "volume.wav");
}

TEST_F(EndToEndTest, RecorderStartedDuringPlayIsFoundThroughTheHelpersPush) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    LoadPlayer();
    host::LHostIOOptions io;
    io.fill = [](Float32* pf, UInt32 dwFrames, UInt64 qwCycle) {
        tools::LFillTestSignal(pf, qwCycle * dwFrames, dwFrames, 44100.0);
    };
    ASSERT_EQ(m_pPlayer->Host().StartIO(io), 0);
    StartRecorder(recorder, "late.wav");
    EXPECT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    m_pPlayer->Host().StopIO();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::vector<float> recorded = StopAndRead(recorder, "late.wav");
    ASSERT_GT(recorded.size(), 0u);
    // Whatever arrived is a contiguous stretch of the signal.
    const std::uint64_t nFrames = recorded.size() / 2;
    std::uint64_t nFirst = 0;
    const std::vector<float> probe = Expected(1 << 16);
    while (nFirst < (1 << 15) && std::memcmp(&probe[nFirst * 2], recorded.data(), 8) != 0) {
        ++nFirst;
    }
    EXPECT_TRUE(SameBits(recorded, Expected(nFrames, nFirst)));
}

TEST_F(EndToEndTest, KilledRecorderNeitherStallsIONorStopsTheNextOne) {
    tools::LChildProcess helper, first, second;
    StartHelper(helper);
    StartRecorder(first, "first.wav");
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    host::LHostIOOptions io;
    ASSERT_EQ(m_pPlayer->Host().StartIO(io), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    first.Signal(SIGKILL);
    first.Wait(std::chrono::seconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    StartRecorder(second, "second.wav");
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    m_pPlayer->Host().StopIO();
    const host::LHostIOStats stats = m_pPlayer->Host().IO().Stats();
    EXPECT_EQ(stats.nFailedCalls, 0u);
    // A stall would show as late cycles: the IO thread waits for nobody.
    EXPECT_EQ(stats.nLateCycles, 0u);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_GT(StopAndRead(second, "second.wav").size(), 0u) << "the new recorder hears the device again";
}

TEST_F(EndToEndTest, WithoutAHelperServiceIORunsAndNothingIsSent) {
    LoadPlayer();
    EXPECT_FALSE(m_pPlayer->WaitForRecorder(std::chrono::milliseconds(300)));
    const tools::LPlayReport report = Play(512 * 50, false);
    EXPECT_EQ(report.nCycles, 50u);
    EXPECT_EQ(report.nFailedCalls, 0u);
    std::string szError;
    EXPECT_TRUE(m_pPlayer->SetVolume(0.25f, &szError));
}

TEST_F(EndToEndTest, RestartedHelperIsRejoinedAndAudioFlowsOn) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    StartRecorder(recorder, "restart.wav");
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    Play(512 * 20, true);
    helper.Signal(SIGTERM);
    ASSERT_EQ(helper.Wait(std::chrono::seconds(10)), 0);
    tools::LChildProcess restarted;
    StartHelper(restarted);
    EXPECT_TRUE(recorder.WaitForLine("registered", kStartTimeout)) << "the recorder registers with the new helper";
    // The recorder sums senders that play at the same time and treats one
    // silent for longer than its stall timeout (500 ms) as gone. The three
    // plays below are meant one after another, so each waits that long.
    constexpr auto kPastStallTimeout = std::chrono::milliseconds(700);
    std::this_thread::sleep_for(kPastStallTimeout);
    // A second audio server process finds the recorder through the new helper.
    tools::LChildProcess player;
    ASSERT_TRUE(player.Start(Harlune(), {"play", "--seconds", "0.2", "--fast", "--wait-for-recorder", "10",
                                         "--bundle", HARLUNE_BUNDLE_PATH, "--storage", m_folder / "storage2"}));
    EXPECT_EQ(player.Wait(std::chrono::seconds(30)), 0) << player.Output();
    std::this_thread::sleep_for(kPastStallTimeout);
    Play(512 * 20, true, 512 * 20);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const std::vector<float> recorded = StopAndRead(recorder, "restart.wav");
    // Both of this host's plays, and the other process's 0.2 s in between.
    EXPECT_GE(recorded.size() / 2, 512u * 40 + 8820);
}

} // namespace
} // namespace harlune::test
