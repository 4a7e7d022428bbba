// LEndToEndFixture.h: the whole system as real processes: the helper
// service and recorders are started from the built harlune command, with
// their sockets in a private folder; the test process plays the audio
// server's part through the host.
#ifndef HARLUNE_TESTS_E2E_LENDTOENDFIXTURE_H
#define HARLUNE_TESTS_E2E_LENDTOENDFIXTURE_H

#include "tests/support/LTempFolder.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/harlune/Player.h"
#include "tools/harlune/TestSignal.h"
#include "tools/audio/LAudioFileReader.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace harlune::test {

class LEndToEndFixture : public ::testing::Test {
protected:
    static constexpr auto kStartTimeout = std::chrono::seconds(15);

    void SetUp() override {
        ASSERT_FALSE(m_folder.Path().empty());
        ASSERT_EQ(mkdir((m_folder / "services").c_str(), 0700), 0);
        setenv("HARLUNE_XPC_SERVICE_DIR", (m_folder / "services").c_str(), 1);
    }

    std::string Harlune() const { return std::string(HARLUNE_BUILD_DIR) + "/bin/harlune"; }

    void StartHelper(tools::LChildProcess& helper) {
        ASSERT_TRUE(helper.Start(Harlune(), {"helper"}));
        ASSERT_TRUE(helper.WaitForLine("ready", kStartTimeout)) << helper.Output();
    }

    // Starts a recorder writing szName in the private folder; waits for its
    // registration unless bWait is false.
    void StartRecorder(tools::LChildProcess& recorder, const std::string& szName, bool bWait = true,
                       std::vector<std::string> arExtra = {}) {
        std::vector<std::string> arArgs = {"record", m_folder / szName, "--quiet"};
        arArgs.insert(arArgs.end(), arExtra.begin(), arExtra.end());
        ASSERT_TRUE(recorder.Start(Harlune(), arArgs));
        if (bWait) {
            ASSERT_TRUE(recorder.WaitForLine("registered", kStartTimeout)) << recorder.Output();
        }
    }

    // Stops a recorder cleanly and reads what it wrote.
    std::vector<float> StopAndRead(tools::LChildProcess& recorder, const std::string& szName) {
        recorder.Signal(SIGINT);
        EXPECT_EQ(recorder.Wait(std::chrono::seconds(15)), 0) << recorder.Output();
        audio::LAudioFileContents audio;
        std::string szError;
        EXPECT_TRUE(audio::LReadAudioFile(m_folder / szName, &audio, &szError)) << szError;
        return audio.arFrames;
    }

    void LoadPlayer() {
        std::string szError;
        m_pPlayer = tools::LPlayer::Load({HARLUNE_BUNDLE_PATH, m_folder / "storage"}, &szError);
        ASSERT_NE(m_pPlayer, nullptr) << szError;
    }

    // Plays nFrames of the test signal starting at frame nFirst.
    tools::LPlayReport Play(std::uint64_t nFrames, bool bPaced, std::uint64_t nFirst = 0) {
        tools::LPlayOptions options;
        options.nFrames = nFrames;
        options.bPaced = bPaced;
        options.source = [nFirst](float* pf, std::uint64_t n, std::uint32_t nCount) {
            tools::LFillTestSignal(pf, nFirst + n, nCount, 44100.0);
        };
        return m_pPlayer->Play(options);
    }

    // The frames of the test signal a recording should hold.
    static std::vector<float> Expected(std::uint64_t nFrames, std::uint64_t nFirst = 0) {
        std::vector<float> ar(nFrames * 2);
        tools::LFillTestSignal(ar.data(), nFirst, static_cast<std::uint32_t>(nFrames), 44100.0);
        return ar;
    }

    LTempFolder m_folder;
    std::unique_ptr<tools::LPlayer> m_pPlayer;
};

} // namespace harlune::test

#endif
