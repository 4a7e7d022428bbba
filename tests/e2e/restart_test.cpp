// The link survives restarts in any order: the helper service and the
// recorders run as real processes that the cases start, kill and start
// again around the plug-in (loaded here through the host); in the end the
// recorder started last receives what is played, bit for bit.
#include "tests/e2e/LEndToEndFixture.h"

#include <thread>

namespace harlune::test {
namespace {

enum class LStep {
    Helper,          // start the helper service
    KillHelper,      // SIGKILL the helper service
    Recorder,        // start a recorder and wait for its registration
    RecorderNoWait,  // start a recorder without waiting (the helper may be down)
    AwaitRegistered, // the newest recorder registers (again)
    KillRecorder,    // SIGKILL the newest recorder
    Player,          // load the plug-in; it finds the registered recorder, if any
};

struct LRestartCase {
    const char* szName;
    std::vector<LStep> arSteps;
};

using S = LStep;

const LRestartCase kCases[] = {
    {"helper_recorder_plugin", {S::Helper, S::Recorder, S::Player}},
    {"plugin_before_helper", {S::Player, S::Helper, S::Recorder}},
    {"recorder_before_helper", {S::RecorderNoWait, S::Helper, S::AwaitRegistered, S::Player}},
    {"helper_restarted_recorder_alive",
     {S::Helper, S::Recorder, S::Player, S::KillHelper, S::Helper, S::AwaitRegistered}},
    {"helper_restarted_then_new_recorder",
     {S::Helper, S::Recorder, S::Player, S::KillHelper, S::Helper, S::AwaitRegistered, S::Recorder}},
    {"recorder_restarted", {S::Helper, S::Recorder, S::Player, S::KillRecorder, S::Recorder}},
    {"both_restarted_helper_first",
     {S::Helper, S::Recorder, S::Player, S::KillRecorder, S::KillHelper, S::Helper, S::Recorder}},
    {"both_restarted_recorder_first",
     {S::Helper, S::Recorder, S::Player, S::KillHelper, S::KillRecorder, S::RecorderNoWait, S::Helper,
      S::AwaitRegistered}},
};

class RestartTest : public LEndToEndFixture, public ::testing::WithParamInterface<LRestartCase> {
protected:
    void Run(LStep eStep) {
        switch (eStep) {
        case S::Helper:
            m_arHelpers.push_back(std::make_unique<tools::LChildProcess>());
            StartHelper(*m_arHelpers.back());
            break;
        case S::KillHelper:
            m_arHelpers.back()->Signal(SIGKILL);
            m_arHelpers.back()->Wait(std::chrono::seconds(10));
            break;
        case S::Recorder:
        case S::RecorderNoWait:
            m_arRecorders.push_back(std::make_unique<tools::LChildProcess>());
            StartRecorder(*m_arRecorders.back(), Name(m_arRecorders.size() - 1), eStep == S::Recorder);
            break;
        case S::AwaitRegistered:
            ASSERT_TRUE(m_arRecorders.back()->WaitForLine("registered", kStartTimeout))
                << m_arRecorders.back()->Output();
            break;
        case S::KillRecorder:
            m_arRecorders.back()->Signal(SIGKILL);
            m_arRecorders.back()->Wait(std::chrono::seconds(10));
            break;
        case S::Player:
            LoadPlayer();
            if (!m_arRecorders.empty()) {
                // A recorder is registered: the plug-in finds it before
                // anything else happens.
                ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
            }
            break;
        }
    }
    static std::string Name(std::size_t n) { return "recording" + std::to_string(n) + ".wav"; }

    std::vector<std::unique_ptr<tools::LChildProcess>> m_arHelpers;
    std::vector<std::unique_ptr<tools::LChildProcess>> m_arRecorders;
};

TEST_P(RestartTest, NewestRecorderReceivesThePlayedAudio) {
    for (LStep eStep : GetParam().arSteps) {
        ASSERT_NO_FATAL_FAILURE(Run(eStep));
    }
    tools::LChildProcess& recorder = *m_arRecorders.back();
    // Short bursts, each starting IO as an application would, until the
    // recorder says audio arrives; the recovery must not need more.
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    bool bReceiving = false;
    while (!bReceiving && std::chrono::steady_clock::now() < deadline) {
        Play(512 * 4, false);
        bReceiving = recorder.WaitForLine("receiving", std::chrono::milliseconds(100));
    }
    ASSERT_TRUE(bReceiving) << "the newest recorder never heard the device: " << recorder.Output();
    // Then a block of its own, which must arrive whole and in order.
    constexpr std::uint64_t kFrames = 512 * 32, kFirst = 1000000;
    Play(kFrames, false, kFirst);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::vector<float> recorded = StopAndRead(recorder, Name(m_arRecorders.size() - 1));
    ASSERT_GE(recorded.size(), kFrames * 2);
    const std::vector<float> expected = Expected(kFrames, kFirst);
    EXPECT_EQ(std::memcmp(recorded.data() + recorded.size() - expected.size(), expected.data(),
                          expected.size() * sizeof(float)),
              0);
}

INSTANTIATE_TEST_SUITE_P(Orders, RestartTest, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<LRestartCase>& info) { return info.param.szName; });

} // namespace
} // namespace harlune::test
