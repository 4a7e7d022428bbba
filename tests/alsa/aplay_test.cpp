// alsa-utils' programs playing into the device, recorded by `harlune record`.
#include "tests/alsa/LAlsaFixture.h"
#include "tools/harlune/TestSignal.h"

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <thread>

namespace harlune::test {
namespace {

using AlsaTest = LAlsaFixture;

struct FormatCase {
    const char* szName;
    std::uint16_t nBits;
    bool bFloat;
    std::uint32_t nRate;
    const char* szOptions; // aplay options besides the device
};

class AplayFormatTest : public LAlsaFixture, public ::testing::WithParamInterface<FormatCase> {};

// Half a second of the test signal in the case's format, and the floats
// the device must receive for it (the exact quotient, rounded once).
void MakeSignal(const FormatCase& c, std::vector<unsigned char>* pBytes, std::vector<float>* pExpected) {
    const std::uint32_t nFrames = c.nRate / 2;
    std::vector<float> arSignal(nFrames * 2);
    tools::LFillTestSignal(arSignal.data(), 0, nFrames, c.nRate);
    pBytes->resize(arSignal.size() * (c.nBits / 8u));
    pExpected->resize(arSignal.size());
    for (std::size_t i = 0; i < arSignal.size(); ++i) {
        if (c.bFloat) {
            std::memcpy(pBytes->data() + 4 * i, &arSignal[i], 4);
            (*pExpected)[i] = arSignal[i];
        } else if (c.nBits == 16) {
            const auto s = static_cast<std::int16_t>(std::lround(arSignal[i] * 32767.0));
            std::memcpy(pBytes->data() + 2 * i, &s, 2);
            (*pExpected)[i] = static_cast<float>(static_cast<long double>(s) / 32768.0L);
        } else {
            const auto s = static_cast<std::int32_t>(std::llround(arSignal[i] * 2147483647.0));
            std::memcpy(pBytes->data() + 4 * i, &s, 4);
            (*pExpected)[i] = static_cast<float>(static_cast<long double>(s) / 2147483648.0L);
        }
    }
}

TEST_P(AplayFormatTest, FileIsRecordedExactlyAsTheDeviceFormat) {
    const FormatCase& c = GetParam();
    std::vector<unsigned char> arBytes;
    std::vector<float> expected;
    MakeSignal(c, &arBytes, &expected);
    ASSERT_TRUE(LWriteTestWav(Path("in.wav"), c.nRate, 2, c.nBits, c.bFloat, arBytes.data(),
                              static_cast<std::uint32_t>(expected.size() / 2)));
    StartHelperAndRecorder("out.wav", {"--rate", std::to_string(c.nRate)});
    std::string szOutput;
    ASSERT_EQ(RunProgram(std::string("aplay -q -D harlune ") + c.szOptions + " " + Path("in.wav"), &szOutput), 0)
        << szOutput;
    EXPECT_TRUE(StartsWithThenSilence(StopAndRead("out.wav"), expected));
}

INSTANTIATE_TEST_SUITE_P(Formats, AplayFormatTest,
                         ::testing::Values(FormatCase{"Float44100", 32, true, 44100, ""},
                                           FormatCase{"Float48000Mmap", 32, true, 48000, "-M"},
                                           FormatCase{"S16At44100", 16, false, 44100, ""},
                                           FormatCase{"S16At48000Mmap", 16, false, 48000, "-M"},
                                           FormatCase{"S32At44100", 32, false, 44100, ""}),
                         [](const auto& info) { return std::string(info.param.szName); });

TEST_F(AlsaTest, MonoAt22050ThroughThePlugLayerArrivesAsStereoAtTheDeviceRate) {
    // One second of a 300 Hz sine at half scale, 16-bit mono at 22050 Hz.
    constexpr std::uint32_t kRate = 22050;
    std::vector<std::int16_t> arSamples(kRate);
    for (std::uint32_t i = 0; i < kRate; ++i) {
        arSamples[i] = static_cast<std::int16_t>(std::lround(16384.0 * std::sin(2.0 * M_PI * 300.0 * i / kRate)));
    }
    ASSERT_TRUE(LWriteTestWav(Path("mono.wav"), kRate, 1, 16, false, arSamples.data(), kRate));
    StartHelperAndRecorder("out.wav");
    std::string szOutput;
    ASSERT_EQ(RunProgram("aplay -q -D plug:harlune " + Path("mono.wav"), &szOutput), 0) << szOutput;
    const std::vector<float> recorded = StopAndRead("out.wav");

    // The device runs at 44100 (its starting rate, the plug layer's pick):
    // about twice the frames, both channels equal, the same tone and level.
    std::size_t nFirst = 0, nLast = 0;
    for (std::size_t n = 0; n < recorded.size() / 2; ++n) {
        EXPECT_EQ(recorded[2 * n], recorded[2 * n + 1]) << n;
        if (recorded[2 * n] != 0.0f) {
            nFirst = nFirst == 0 ? n + 1 : nFirst;
            nLast = n + 1;
        }
    }
    ASSERT_GT(nLast, nFirst);
    const double fFrames = static_cast<double>(nLast - nFirst);
    EXPECT_NEAR(fFrames, 44100.0, 300.0);
    int nCrossings = 0;
    float fPeak = 0.0f;
    for (std::size_t n = nFirst; n < nLast; ++n) {
        nCrossings += (recorded[2 * (n - 1)] < 0.0f) != (recorded[2 * n] < 0.0f) ? 1 : 0;
        fPeak = std::max(fPeak, std::fabs(recorded[2 * n]));
    }
    // 300 Hz for one second: 600 sign changes (within the edges' few).
    EXPECT_NEAR(nCrossings, 600, 4);
    // The resampler interpolates; the peak stays within 16-bit steps of
    // half scale.
    EXPECT_NEAR(fPeak, 0.5f, 0.002f);
}

TEST_F(AlsaTest, AmixerSetsTheVolumeTheRecorderSeesAndTheNextProcessReads) {
    StartHelperAndRecorder("out.wav");
    std::string szOutput;
    ASSERT_EQ(RunProgram("amixer -D harlune set Master 50%", &szOutput), 0) << szOutput;
    EXPECT_TRUE(m_recorder.WaitForLine("volume: 0.500000", kStartTimeout)) << m_recorder.Output();
    ASSERT_EQ(RunProgram("amixer -D harlune set Master mute", &szOutput), 0) << szOutput;
    ASSERT_EQ(RunProgram("amixer -D harlune get Master", &szOutput), 0) << szOutput;
    EXPECT_NE(szOutput.find("Playback 50 [50%] [off]"), std::string::npos) << szOutput;
    ASSERT_EQ(RunProgram("amixer -D harlune set Master 101", &szOutput), 0) << szOutput; // clamped by amixer
    ASSERT_EQ(RunProgram("amixer -D harlune get Master", &szOutput), 0) << szOutput;
    EXPECT_NE(szOutput.find("[100%]"), std::string::npos) << szOutput;
    StopAndRead("out.wav");
}

TEST_F(AlsaTest, SpeakerTestPlaysThroughTheDevice) {
    StartHelperAndRecorder("out.wav");
    std::string szOutput;
    ASSERT_EQ(RunProgram("speaker-test -D harlune -c 2 -l 1 -t sine -f 440", &szOutput), 0) << szOutput;
    const std::vector<float> recorded = StopAndRead("out.wav");
    // speaker-test plays the sine on each channel in turn.
    float arPeak[2] = {0.0f, 0.0f};
    for (std::size_t i = 0; i < recorded.size(); ++i) {
        arPeak[i % 2] = std::max(arPeak[i % 2], std::fabs(recorded[i]));
    }
    EXPECT_GT(arPeak[0], 0.1f);
    EXPECT_GT(arPeak[1], 0.1f);
    EXPECT_GT(recorded.size() / 2, 44100u * 2);
}

// Reads the terminal into *pszOutput until it holds szNeedle (true), the
// output ends or the timeout passes (false).
bool ReadUntil(int fd, std::string* pszOutput, const std::string& szNeedle, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (szNeedle.empty() || pszOutput->find(szNeedle) == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd pfd = {fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&pfd, 1, static_cast<int>(left.count())) <= 0) {
            return false;
        }
        char sz[512];
        const ssize_t n = read(fd, sz, sizeof sz);
        if (n <= 0) {
            return false;
        }
        pszOutput->append(sz, static_cast<std::size_t>(n));
    }
    return true;
}

// Runs aplay -i on a terminal; once it plays, pauses it, resumes it a
// second after it said so, and lets it drain to the end.
int RunPausedAplay(const std::string& szFile, std::string* pszOutput) {
    // Made before the fork: the child only execs.
    const std::string szCommand = LAlsaProgramCommand("exec aplay -i -D harlune " + szFile);
    int fdMaster = -1;
    const pid_t pid = forkpty(&fdMaster, nullptr, nullptr, nullptr);
    if (pid < 0) {
        return -1;
    }
    if (pid == 0) {
        execl("/bin/sh", "sh", "-c", szCommand.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    constexpr auto kWait = std::chrono::seconds(20);
    if (ReadUntil(fdMaster, pszOutput, "Playing WAVE", kWait)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        (void)!write(fdMaster, " ", 1);
        if (ReadUntil(fdMaster, pszOutput, "PAUSE", kWait)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1000));
            (void)!write(fdMaster, " ", 1);
        }
    }
    ReadUntil(fdMaster, pszOutput, "", kWait); // to the end of its output
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    close(fdMaster);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

TEST_F(AlsaTest, PauseResumeAndDrainFromAplaysInteractiveMode) {
    constexpr std::uint32_t kFrames = 44100; // one second
    std::vector<float> signal(kFrames * 2);
    tools::LFillTestSignal(signal.data(), 0, kFrames, 44100.0);
    ASSERT_TRUE(LWriteTestWav(Path("in.wav"), 44100, 2, 32, true, signal.data(), kFrames));
    StartHelperAndRecorder("out.wav");
    std::string szOutput;
    ASSERT_EQ(RunPausedAplay(Path("in.wav"), &szOutput), 0) << szOutput;
    EXPECT_NE(szOutput.find("PAUSE"), std::string::npos) << szOutput;
    const std::vector<float> recorded = StopAndRead("out.wav");

    // The device went on while paused: a run of silence splits the signal,
    // which is otherwise whole, in order, and played out to its last frame.
    // (The test signal never holds two silent frames in a row.)
    std::vector<float> heard;
    std::size_t nLongestSilence = 0, nSilence = 0;
    for (std::size_t n = 0; n < recorded.size() / 2; ++n) {
        const bool bSilent = recorded[2 * n] == 0.0f && recorded[2 * n + 1] == 0.0f;
        nSilence = bSilent ? nSilence + 1 : 0;
        nLongestSilence = std::max(nLongestSilence, heard.size() < signal.size() ? nSilence : 0);
        if (!bSilent) {
            heard.insert(heard.end(), {recorded[2 * n], recorded[2 * n + 1]});
        }
    }
    EXPECT_GT(nLongestSilence, 44100u / 2) << "the pause left no gap";
    EXPECT_TRUE(StartsWithThenSilence(heard, signal));
    EXPECT_EQ(heard.size(), signal.size());
}

TEST_F(AlsaTest, WithoutHelperTheApplicationPlaysOnAsIntoAnySoundCard) {
    constexpr std::uint32_t kFrames = 44100 / 4;
    std::vector<float> signal(kFrames * 2, 0.25f);
    ASSERT_TRUE(LWriteTestWav(Path("in.wav"), 44100, 2, 32, true, signal.data(), kFrames));
    // No helper, no recorder: the link wait ends, the cycle paces the
    // application and nothing else happens.
    WriteAsoundrc(200);
    const auto start = std::chrono::steady_clock::now();
    std::string szOutput;
    EXPECT_EQ(RunProgram("aplay -q -D harlune " + Path("in.wav"), &szOutput), 0) << szOutput;
    // The link wait plus the audio, with room for a loaded machine; the
    // point is that nothing waits for the missing processes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(AlsaTest, ABundleThatCannotBeLoadedFailsTheOpenNamingThePath) {
    std::vector<float> signal(1024 * 2, 0.0f);
    ASSERT_TRUE(LWriteTestWav(Path("in.wav"), 44100, 2, 32, true, signal.data(), 1024));
    std::string szOutput;
    EXPECT_NE(RunProgram("HARLUNE_BUNDLE=" + Path("missing.driver") + " aplay -q -D harlune " + Path("in.wav"),
                         &szOutput),
              0);
    EXPECT_NE(szOutput.find("cannot load driver bundle '" + Path("missing.driver") + "'"), std::string::npos)
        << szOutput;
}

} // namespace
} // namespace harlune::test

namespace harlune::test {
namespace {

class TwoApplicationsTest : public LAlsaFixture {
protected:
    // One second of the test signal on one channel only, silence on the
    // other: the mix of the two files holds each file's channel bit for bit.
    void MakeFiles() {
        std::vector<float> signal(44100 * 2);
        tools::LFillTestSignal(signal.data(), 0, 44100, 44100.0);
        m_left.assign(signal.size(), 0.0f);
        m_right.assign(signal.size(), 0.0f);
        for (std::size_t n = 0; n < 44100; ++n) {
            m_left[2 * n] = signal[2 * n];
            m_right[2 * n + 1] = signal[2 * n + 1];
        }
        ASSERT_TRUE(LWriteTestWav(Path("left.wav"), 44100, 2, 32, true, m_left.data(), 44100));
        ASSERT_TRUE(LWriteTestWav(Path("right.wav"), 44100, 2, 32, true, m_right.data(), 44100));
    }

    // Plays both files at once, the second starting a moment later.
    void PlayBoth() {
        tools::LChildProcess first, second;
        ASSERT_TRUE(first.Start("/bin/sh", {"-c", ProgramCommand("aplay -q -D harlune " + Path("left.wav"))}));
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        ASSERT_TRUE(second.Start("/bin/sh", {"-c", ProgramCommand("aplay -q -D harlune " + Path("right.wav"))}));
        EXPECT_EQ(first.Wait(kPlayTimeout), 0) << first.Output();
        EXPECT_EQ(second.Wait(kPlayTimeout), 0) << second.Output();
    }

    // One channel of a recording from its first sounding sample on.
    static std::vector<float> Channel(const std::vector<float>& frames, int nChannel) {
        std::vector<float> ar;
        for (std::size_t n = 0; n < frames.size() / 2; ++n) {
            const float f = frames[2 * n + static_cast<std::size_t>(nChannel)];
            if (!ar.empty() || f != 0.0f) {
                ar.push_back(f);
            }
        }
        return ar;
    }

    static ::testing::AssertionResult SameBitsThenSilence(const std::vector<float>& recorded,
                                                         const std::vector<float>& expected) {
        // One channel, the same comparison as for frames.
        std::vector<float> r2, e2;
        for (float f : recorded) {
            r2.insert(r2.end(), {f, 0.0f});
        }
        for (float f : expected) {
            e2.insert(e2.end(), {f, 0.0f});
        }
        return StartsWithThenSilence(r2, e2);
    }

    std::vector<float> m_left, m_right;
};

TEST_F(TwoApplicationsTest, TwoAplaysAtOnceAreRecordedAsTheirMix) {
    MakeFiles();
    StartHelperAndRecorder("mix.wav");
    PlayBoth();
    const std::vector<float> recorded = StopAndRead("mix.wav");
    EXPECT_NE(m_recorder.Output().find("recorded"), std::string::npos);
    // Both channels sound at once for most of the recording: a mix, not the
    // two streams one after the other (nor interleaved buffer by buffer).
    std::size_t nBoth = 0;
    for (std::size_t n = 0; n < recorded.size() / 2; ++n) {
        nBoth += recorded[2 * n] != 0.0f && recorded[2 * n + 1] != 0.0f ? 1 : 0;
    }
    EXPECT_GT(nBoth, 44100u / 2);
    EXPECT_LT(recorded.size() / 2, 44100u * 2);
    EXPECT_TRUE(SameBitsThenSilence(Channel(recorded, 0), Channel(m_left, 0)));
    EXPECT_TRUE(SameBitsThenSilence(Channel(recorded, 1), Channel(m_right, 1)));
}

TEST_F(TwoApplicationsTest, PerAppWritesOneFilePerApplicationEachBitForBit) {
    MakeFiles();
    StartHelperAndRecorder("take.wav", {"--per-app"});
    PlayBoth();
    StopAndRead("take.wav"); // stops the recorder; per application there is no take.wav
    std::vector<std::string> arFiles;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path())) {
        const std::string szName = entry.path().filename().string();
        if (szName.rfind("take-aplay-", 0) == 0) {
            arFiles.push_back(entry.path().string());
        }
    }
    ASSERT_EQ(arFiles.size(), 2u) << m_recorder.Output();
    int nLeft = 0, nRight = 0;
    for (const std::string& szFile : arFiles) {
        const std::vector<float> recorded = ReadFrames(szFile);
        const bool bLeft = !recorded.empty() && recorded[0] != 0.0f;
        EXPECT_TRUE(StartsWithThenSilence(recorded, bLeft ? m_left : m_right)) << szFile;
        (bLeft ? nLeft : nRight) += 1;
    }
    EXPECT_EQ(nLeft, 1);
    EXPECT_EQ(nRight, 1);
}

} // namespace
} // namespace harlune::test
