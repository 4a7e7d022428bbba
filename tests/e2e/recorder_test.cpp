// Recorders that lose their place or wait in vain: a recorder replaced by a
// newer one says so, finishes its file and ends (or waits to be chosen
// again when asked to), and --duration / --frames bound a recording that
// receives nothing by wall-clock time.
#include "tests/e2e/LEndToEndFixture.h"
#include "tools/harlune/RecordingBound.h"

#include <thread>

namespace harlune::test {
namespace {

using RecorderTest = LEndToEndFixture;

// Exit statuses of harlune record.
constexpr int kExitReplaced = 3;
constexpr int kExitIncomplete = 4;

TEST_F(RecorderTest, ReplacedRecorderFinishesItsFileAndEnds) {
    tools::LChildProcess helper, first, second;
    StartHelper(helper);
    StartRecorder(first, "first.wav");
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    Play(512 * 8, false);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    StartRecorder(second, "second.wav");
    EXPECT_EQ(first.Wait(kStartTimeout), kExitReplaced) << first.Output();
    // The file is complete and holds what was played before the handover.
    audio::LAudioFileContents audio;
    std::string szError;
    ASSERT_TRUE(audio::LReadAudioFile(m_folder / "first.wav", &audio, &szError)) << szError;
    EXPECT_EQ(audio.arFrames.size(), 512u * 8 * 2);
    EXPECT_EQ(helper.Wait(std::chrono::milliseconds(0)), -1) << "the helper is still running";
    StopAndRead(second, "second.wav");
}

TEST_F(RecorderTest, WaitingRecorderIsChosenAgainWhenTheNewerOneGoes) {
    tools::LChildProcess helper, first, second;
    StartHelper(helper);
    StartRecorder(first, "first.wav", true, {"--wait-if-replaced"});
    StartRecorder(second, "second.wav");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(first.Wait(std::chrono::milliseconds(0)), -1) << "it waits";
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    Play(512 * 4, false);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(StopAndRead(second, "second.wav").size(), 512u * 4 * 2);
    // The newer one withdrew: the first is chosen again and hears the device.
    ASSERT_TRUE(first.WaitForLine("registered", kStartTimeout)) << first.Output();
    bool bReceiving = false;
    for (int i = 0; i < 100 && !bReceiving; ++i) {
        Play(512 * 4, false);
        bReceiving = first.WaitForLine("receiving", std::chrono::milliseconds(100));
    }
    EXPECT_TRUE(bReceiving) << first.Output();
    StopAndRead(first, "first.wav");
}

struct LBoundCase {
    const char* szName;
    std::vector<std::string> arArgs;
};

class RecorderBoundTest : public LEndToEndFixture, public ::testing::WithParamInterface<LBoundCase> {};

TEST_P(RecorderBoundTest, RecordingThatReceivesNothingEndsAfterItsLengthAndTheGrace) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    const auto start = std::chrono::steady_clock::now();
    StartRecorder(recorder, "nothing.wav", true, GetParam().arArgs);
    // One second of audio at 44100 Hz, plus the grace, plus a loaded
    // machine's start-up: far below the wait that never ends.
    EXPECT_EQ(recorder.Wait(kStartTimeout), kExitIncomplete) << recorder.Output();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1) + tools::LRecordingBound::kGrace);
    EXPECT_EQ(recorder.Output().find("receiving"), std::string::npos) << recorder.Output();
    audio::LAudioFileContents audio;
    std::string szError;
    ASSERT_TRUE(audio::LReadAudioFile(m_folder / "nothing.wav", &audio, &szError)) << szError;
    EXPECT_TRUE(audio.arFrames.empty());
}

INSTANTIATE_TEST_SUITE_P(Limits, RecorderBoundTest,
                         ::testing::Values(LBoundCase{"duration", {"--duration", "1"}},
                                           LBoundCase{"frames", {"--frames", "44100"}}),
                         [](const ::testing::TestParamInfo<LBoundCase>& info) { return info.param.szName; });

// The bound itself, on an injected clock.
struct LBoundTiming {
    std::uint64_t nFrames;
    double fRate;
    std::chrono::milliseconds elapsed;
    std::uint64_t nRecorded;
    bool bPassed;
};

class RecordingBoundTest : public ::testing::TestWithParam<LBoundTiming> {};

TEST_P(RecordingBoundTest, PassesOnlyAfterTheLengthAndTheGraceWithFramesMissing) {
    const LBoundTiming& c = GetParam();
    const auto start = tools::LRecordingBound::LClock::time_point() + std::chrono::hours(1);
    const tools::LRecordingBound bound(c.nFrames, c.fRate, start);
    EXPECT_EQ(bound.Passed(start + c.elapsed, c.nRecorded), c.bPassed);
}

using std::chrono::milliseconds;
INSTANTIATE_TEST_SUITE_P(
    Timings, RecordingBoundTest,
    ::testing::Values(LBoundTiming{44100, 44100.0, milliseconds(2999), 0, false},  // within length and grace
                      LBoundTiming{44100, 44100.0, milliseconds(3000), 0, true},   // at the bound
                      LBoundTiming{44100, 44100.0, milliseconds(3000), 44099, true}, // one frame short
                      LBoundTiming{44100, 44100.0, milliseconds(60000), 44100, false}, // complete
                      LBoundTiming{441000, 44100.0, milliseconds(11999), 0, false}, // ten seconds asked
                      LBoundTiming{0, 44100.0, milliseconds(3600000), 0, false},   // no limit
                      LBoundTiming{48000, 48000.0, milliseconds(3001), 10, true}));

} // namespace
} // namespace harlune::test
