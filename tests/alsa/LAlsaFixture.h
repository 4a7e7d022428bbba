// LAlsaFixture.h: real ALSA programs playing into "Harlune Virtual Device".
//
// Each test gets a private folder that is HOME (so ALSA reads the
// .asoundrc written there, which points the "harlune" PCM and control at
// the built module, and the plug-in's storage stays inside) and holds the
// XPC service sockets. The helper service and recorders are the built
// harlune command; players are alsa-utils' programs, or the test process
// itself through libasound.
#ifndef HARLUNE_TESTS_ALSA_LALSAFIXTURE_H
#define HARLUNE_TESTS_ALSA_LALSAFIXTURE_H

#include "tests/support/LTempFolder.h"
#include "tools/harlune/ChildProcess.h"
#include "tools/audio/LAudioFileReader.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>
#include <fstream>
#include <string>
#include <vector>

#ifndef HARLUNE_CHILD_ENV
#define HARLUNE_CHILD_ENV ""
#endif

namespace harlune::test {

// Writes a WAV file of integer (16 or 32 bits) or float (32 bits) samples.
inline bool LWriteTestWav(const std::string& szPath, std::uint32_t nRate, std::uint16_t nChannels,
                          std::uint16_t nBits, bool bFloat, const void* pSamples, std::uint32_t nFrames) {
    const std::uint32_t nBytes = nFrames * nChannels * (nBits / 8u);
    std::ofstream out(szPath, std::ios::binary);
    auto put32 = [&](std::uint32_t n) { out.write(reinterpret_cast<const char*>(&n), 4); };
    auto put16 = [&](std::uint16_t n) { out.write(reinterpret_cast<const char*>(&n), 2); };
    out.write("RIFF", 4);
    put32(36 + nBytes);
    out.write("WAVEfmt ", 8);
    put32(16);
    put16(bFloat ? 3 : 1);
    put16(nChannels);
    put32(nRate);
    put32(nRate * nChannels * (nBits / 8u));
    put16(static_cast<std::uint16_t>(nChannels * (nBits / 8u)));
    put16(nBits);
    out.write("data", 4);
    put32(nBytes);
    out.write(static_cast<const char*>(pSamples), nBytes);
    return static_cast<bool>(out.flush());
}

// A shell command line that runs an ALSA program (which loads the module),
// with what the build needs in its environment, standard error joined to
// standard output.
inline std::string LAlsaProgramCommand(const std::string& szCommand) {
    return std::string(HARLUNE_CHILD_ENV) + " " + szCommand + " 2>&1";
}

class LAlsaFixture : public ::testing::Test {
protected:
    static constexpr auto kStartTimeout = std::chrono::seconds(15);
    static constexpr auto kPlayTimeout = std::chrono::seconds(30);

    void SetUp() override {
        if (m_bNeedsPrograms && ProgramsUnsupported()) {
            GTEST_SKIP() << "alsa-utils' programs cannot load the module of a thread-sanitizer build";
        }
        ASSERT_FALSE(m_folder.Path().empty());
        ASSERT_EQ(mkdir((m_folder / "services").c_str(), 0700), 0);
        setenv("HARLUNE_XPC_SERVICE_DIR", (m_folder / "services").c_str(), 1);
        setenv("HOME", m_folder.Path().c_str(), 1);
        unsetenv("XDG_STATE_HOME");
        unsetenv("ALSA_CONFIG_PATH");
        unsetenv("HARLUNE_BUNDLE");
        // A generous link wait: on a loaded machine the first cycle must
        // still find the recorder connected for bit-exact comparisons.
        WriteAsoundrc(10000);
    }

    void WriteAsoundrc(int nLinkWaitMs) {
        const std::string szModule = std::string(HARLUNE_BUILD_DIR) + "/alsa/";
        std::ofstream rc(m_folder / ".asoundrc", std::ios::trunc);
        rc << "pcm_type.harlune { lib \"" << szModule << "libasound_module_pcm_harlune.so\" }\n"
           << "ctl_type.harlune { lib \"" << szModule << "libasound_module_ctl_harlune.so\" }\n"
           << "pcm.harlune { type harlune link_wait_ms " << nLinkWaitMs << " }\n"
           << "ctl.harlune { type harlune link_wait_ms " << nLinkWaitMs << " }\n";
        ASSERT_TRUE(rc.flush());
    }

    std::string Harlune() const { return std::string(HARLUNE_BUILD_DIR) + "/bin/harlune"; }
    std::string Path(const std::string& szName) const { return m_folder / szName; }

    void StartHelper(tools::LChildProcess& helper) {
        ASSERT_TRUE(helper.Start(Harlune(), {"helper"}));
        ASSERT_TRUE(helper.WaitForLine("ready", kStartTimeout)) << helper.Output();
    }

    void StartRecorder(tools::LChildProcess& recorder, const std::string& szName,
                       std::vector<std::string> arExtra = {}) {
        std::vector<std::string> arArgs = {"record", m_folder / szName, "--quiet"};
        arArgs.insert(arArgs.end(), arExtra.begin(), arExtra.end());
        ASSERT_TRUE(recorder.Start(Harlune(), arArgs));
        ASSERT_TRUE(recorder.WaitForLine("registered", kStartTimeout)) << recorder.Output();
    }

    void StartHelperAndRecorder(const std::string& szName, std::vector<std::string> arExtra = {}) {
        StartHelper(m_helper);
        StartRecorder(m_recorder, szName, std::move(arExtra));
    }

    static std::string ProgramCommand(const std::string& szCommand) { return LAlsaProgramCommand(szCommand); }

    // Skips the test where alsa-utils' programs cannot load this build's
    // module (the thread-sanitizer build).
    static bool ProgramsUnsupported() {
#ifdef HARLUNE_CHILD_UNSUPPORTED
        return true;
#else
        return false;
#endif
    }

    // Runs an ALSA program through the shell, standard error into its
    // output; returns its exit code (-1 on timeout) and sets *pszOutput.
    int RunProgram(const std::string& szCommand, std::string* pszOutput = nullptr) {
        tools::LChildProcess program;
        if (!program.Start("/bin/sh", {"-c", ProgramCommand(szCommand)})) {
            return -1;
        }
        const int nCode = program.Wait(kPlayTimeout);
        if (pszOutput != nullptr) {
            *pszOutput = program.Output();
        }
        return nCode;
    }

    // Stops the recorder cleanly and reads what it wrote.
    std::vector<float> StopAndRead(const std::string& szName) {
        // The plug-in's last sends are queued, never waited for.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        m_recorder.Signal(SIGINT);
        EXPECT_EQ(m_recorder.Wait(std::chrono::seconds(15)), 0) << m_recorder.Output();
        if (!std::filesystem::exists(m_folder / szName)) {
            return {};
        }
        return ReadFrames(m_folder / szName);
    }

    // The frames of a stereo recording.
    static std::vector<float> ReadFrames(const std::string& szPath) {
        audio::LAudioFileReader reader;
        std::string szError;
        std::vector<float> arFrames;
        if (!reader.Open(szPath, nullptr, &szError)) {
            ADD_FAILURE() << szError;
            return arFrames;
        }
        EXPECT_EQ(reader.Channels(), 2) << szPath;
        float arChunk[4096 * 2];
        for (std::int64_t n; (n = reader.Read(arChunk, 4096, &szError)) > 0;) {
            arFrames.insert(arFrames.end(), arChunk, arChunk + n * reader.Channels());
        }
        return arFrames;
    }

    // True when recorded starts with expected bit for bit and holds only
    // silence after it (the last IO cycle is padded); explains otherwise.
    static ::testing::AssertionResult StartsWithThenSilence(const std::vector<float>& recorded,
                                                           const std::vector<float>& expected) {
        if (recorded.size() < expected.size()) {
            return ::testing::AssertionFailure()
                   << "recorded " << recorded.size() / 2 << " frames, expected at least " << expected.size() / 2;
        }
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (std::memcmp(&recorded[i], &expected[i], sizeof(float)) != 0) {
                return ::testing::AssertionFailure() << "first difference at frame " << i / 2 << ": recorded "
                                                     << recorded[i] << ", expected " << expected[i];
            }
        }
        for (std::size_t i = expected.size(); i < recorded.size(); ++i) {
            if (recorded[i] != 0.0f) {
                return ::testing::AssertionFailure() << "not silent after the signal at frame " << i / 2;
            }
        }
        return ::testing::AssertionSuccess();
    }

    LTempFolder m_folder;
    tools::LChildProcess m_helper, m_recorder;
    bool m_bNeedsPrograms = true; // the test starts alsa-utils' programs
};

} // namespace harlune::test

#endif
