// Recording as people do it, with real processes: every frame from the
// first, the formats, a killed recorder, the device's rate, and the words
// the programs use when something is missing.
#include "tests/e2e/LEndToEndFixture.h"
#include "tools/audio/LAudioFileWriter.h"

#include <sys/stat.h>

#include <atomic>
#include <cmath>
#include <thread>

namespace harlune::test {
namespace {

class RecordingTest : public LEndToEndFixture {
protected:
    // Runs the harlune command with arArgs through the shell, standard
    // error joined to standard output; the exit code and the output.
    std::pair<int, std::string> Run(const std::string& szArgs, const std::string& szPrefix = "",
                                    std::chrono::seconds timeout = std::chrono::seconds(30)) {
        tools::LChildProcess child;
        EXPECT_TRUE(child.Start("/bin/sh", {"-c", szPrefix + "exec " + Harlune() + " " + szArgs + " 2>&1"}));
        const int nExit = child.Wait(timeout);
        return {nExit, child.Output()};
    }

    std::string PlayerArgs() const {
        return std::string("--bundle ") + HARLUNE_BUNDLE_PATH + " --storage " + (m_folder / "storage");
    }

    static audio::LAudioFileContents ReadFile(const std::string& szPath) {
        audio::LAudioFileContents contents;
        std::string szError;
        EXPECT_TRUE(audio::LReadAudioFile(szPath, &contents, &szError)) << szError;
        return contents;
    }

    // The largest difference between a recording and the test signal from
    // its start; infinity when the lengths differ.
    static double Difference(const std::vector<float>& arRecorded, std::uint64_t nFrames) {
        if (arRecorded.size() != nFrames * 2) {
            return INFINITY;
        }
        const std::vector<float> arExpected = Expected(nFrames);
        double fWorst = 0;
        for (std::size_t i = 0; i < arExpected.size(); ++i) {
            fWorst = std::max(fWorst, std::fabs(static_cast<double>(arRecorded[i]) - arExpected[i]));
        }
        return fWorst;
    }
};

TEST_F(RecordingTest, EveryFramePlayedIsRecordedFromTheFirstToTheLastInEachFormat) {
    struct Case {
        const char* szFile;
        const char* szFormat; // --format, or "" for the extension's
        double fTolerance;    // 0: bit for bit
    };
    // A play of 0.5 s is 22050 frames: 43 cycles and a short 44th, so a lost
    // first cycle and the padding of the last both show in the count.
    const Case arCases[] = {
        {"float.wav", "", 0},
        {"s16.wav", "wav16", 1.5 / 32768},
        {"take.flac", "", 1.5 / 8388608},
        {"take16.flac", "flac16", 1.5 / 32768},
    };
    tools::LChildProcess helper;
    StartHelper(helper);
    for (const Case& c : arCases) {
        tools::LChildProcess recorder;
        std::vector<std::string> arExtra;
        if (c.szFormat[0] != '\0') {
            arExtra = {"--format", c.szFormat};
        }
        StartRecorder(recorder, c.szFile, true, arExtra);
        const auto [nExit, szOutput] = Run("play --seconds 0.5 --fast " + PlayerArgs());
        EXPECT_EQ(nExit, 0) << szOutput;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        const std::vector<float> arRecorded = StopAndRead(recorder, c.szFile);
        EXPECT_EQ(arRecorded.size() / 2, 22050u) << c.szFile;
        EXPECT_LE(Difference(arRecorded, 22050), c.fTolerance) << c.szFile;
    }
}

TEST_F(RecordingTest, AKilledRecorderLeavesAFileWithAllButTheLastSecond) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    StartRecorder(recorder, "killed.wav");
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    std::atomic<std::uint64_t> nFramesSent{0};
    host::LHostIOOptions io;
    io.fill = [&](Float32* pf, UInt32 dwFrames, UInt64 qwCycle) {
        tools::LFillTestSignal(pf, qwCycle * dwFrames, dwFrames, 44100.0);
        nFramesSent = (qwCycle + 1) * dwFrames;
    };
    ASSERT_EQ(m_pPlayer->Host().StartIO(io), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    recorder.Signal(SIGKILL);
    EXPECT_EQ(recorder.Wait(std::chrono::seconds(10)), 128 + SIGKILL);
    const std::uint64_t nSent = nFramesSent.load();
    m_pPlayer->Host().StopIO();
    const audio::LAudioFileContents contents = ReadFile(m_folder / "killed.wav");
    const std::uint64_t nKept = contents.arFrames.size() / 2;
    // The header is brought up to date every second; what it describes is
    // the signal from its first frame. A second of slack for the header's
    // period and a tenth for the buffers on their way when it was killed.
    EXPECT_GE(nKept + 44100 + 4410, nSent) << nKept << " of " << nSent;
    EXPECT_GT(nKept, 0u);
    EXPECT_EQ(Difference(contents.arFrames, nKept), 0.0);
}

TEST_F(RecordingTest, AMono22050FilePlaysAndRecordsAtTheDevicesRate) {
    const std::string szSource = m_folder / "mono22050.wav";
    {
        std::vector<float> arTone(11025); // half a second
        for (std::size_t i = 0; i < arTone.size(); ++i) {
            arTone[i] = static_cast<float>(0.5 * std::sin(2 * 3.141592653589793 * 441.0 * static_cast<double>(i) / 22050));
        }
        audio::LAudioFileWriter writer;
        std::string szError;
        ASSERT_TRUE(writer.Open(szSource, audio::LRecordFormat::Wav16, 22050, 1, &szError)) << szError;
        ASSERT_TRUE(writer.Write(arTone.data(), arTone.size(), &szError));
        ASSERT_TRUE(writer.Close(&szError));
    }
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    StartRecorder(recorder, "from-mono.wav");
    const auto [nExit, szOutput] = Run("play " + szSource + " --fast " + PlayerArgs());
    EXPECT_EQ(nExit, 0) << szOutput;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    recorder.Signal(SIGINT);
    ASSERT_EQ(recorder.Wait(std::chrono::seconds(15)), 0) << recorder.Output();
    const audio::LAudioFileContents contents = ReadFile(m_folder / "from-mono.wav");
    EXPECT_EQ(contents.fSampleRate, 44100.0);
    ASSERT_EQ(contents.nChannels, 2);
    EXPECT_NEAR(static_cast<double>(contents.arFrames.size() / 2), 22050.0, 2);
    float fPeak = 0;
    for (std::size_t i = 0; i + 1 < contents.arFrames.size(); i += 2) {
        ASSERT_EQ(contents.arFrames[i], contents.arFrames[i + 1]) << "both sides carry the mono channel";
        fPeak = std::max(fPeak, std::fabs(contents.arFrames[i]));
    }
    EXPECT_NEAR(fPeak, 0.5f, 0.01f);
}

TEST_F(RecordingTest, ARateChangeStartsTheNextFileLabelledWithTheNewRate) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    StartRecorder(recorder, "rates.wav");
    LoadPlayer();
    ASSERT_TRUE(m_pPlayer->WaitForRecorder(kStartTimeout));
    Play(4410, false);
    std::string szError;
    ASSERT_TRUE(m_pPlayer->SetSampleRate(48000, &szError)) << szError;
    Play(4800, false);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    recorder.Signal(SIGHUP); // a closed terminal ends the recording as SIGINT does
    ASSERT_EQ(recorder.Wait(std::chrono::seconds(15)), 0) << recorder.Output();
    const audio::LAudioFileContents first = ReadFile(m_folder / "rates.wav");
    const audio::LAudioFileContents second = ReadFile(m_folder / "rates-2.wav");
    EXPECT_EQ(first.fSampleRate, 44100.0);
    EXPECT_EQ(first.arFrames.size() / 2, 4410u);
    EXPECT_EQ(second.fSampleRate, 48000.0);
    EXPECT_EQ(second.arFrames.size() / 2, 4800u);
    EXPECT_NE(recorder.Output().find("to " + (m_folder / "rates-2.wav")), std::string::npos) << recorder.Output();
}

TEST_F(RecordingTest, APlayerThatSwitchesTheRateFirstIsRecordedAtItsRate) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    StartRecorder(recorder, "at48k.wav");
    const auto [nExit, szOutput] = Run("play --rate 48000 --seconds 0.3 --fast " + PlayerArgs());
    EXPECT_EQ(nExit, 0) << szOutput;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    recorder.Signal(SIGINT);
    ASSERT_EQ(recorder.Wait(std::chrono::seconds(15)), 0) << recorder.Output();
    const audio::LAudioFileContents contents = ReadFile(m_folder / "at48k.wav");
    EXPECT_EQ(contents.fSampleRate, 48000.0);
    EXPECT_EQ(contents.arFrames.size() / 2, 14400u);
    EXPECT_EQ(recorder.Output().find("at48k-2.wav"), std::string::npos) << recorder.Output();
}

TEST_F(RecordingTest, AFullDiskStopsTheRecordingWithTheSystemsMessage) {
    tools::LChildProcess helper;
    StartHelper(helper);
    // A file-size limit fails writes as a full disk does (the signal it
    // would send is ignored, so the write reports the error).
    tools::LChildProcess recorder;
    ASSERT_TRUE(recorder.Start("/bin/sh", {"-c", "trap '' XFSZ; ulimit -f 256; exec " + Harlune() + " record " +
                                                     (m_folder / "full.wav") + " --quiet 2>&1"}));
    ASSERT_TRUE(recorder.WaitForLine("registered", kStartTimeout)) << recorder.Output();
    const auto [nExit, szOutput] = Run("play --seconds 3 --fast " + PlayerArgs());
    EXPECT_EQ(nExit, 0) << szOutput;
    EXPECT_EQ(recorder.Wait(std::chrono::seconds(15)), 1) << recorder.Output();
    EXPECT_NE(recorder.Output().find("File too large; stopping"), std::string::npos) << recorder.Output();
    const audio::LAudioFileContents contents = ReadFile(m_folder / "full.wav");
    EXPECT_GT(contents.arFrames.size(), 0u);
    EXPECT_EQ(Difference(contents.arFrames, contents.arFrames.size() / 2), 0.0);
}

TEST_F(RecordingTest, MissingPiecesAndWrongOptionsAreSaidInWords) {
    struct Case {
        const char* szName;
        std::string szArgs;
        int nExit;
        std::string szWords;
    };
    const std::string szServices = m_folder / "services";
    const Case arCases[] = {
        {"play without a helper", "play --seconds 0.1 --fast " + PlayerArgs(), 3,
         "no helper service is running (looked in " + szServices + "); start one with `harlune helper`"},
        {"nothing received it", "play --seconds 0.1 --fast " + PlayerArgs(), 3, "no recorder received the audio"},
        {"rate out of range", "record x.wav --rate 5", 2, "--rate takes a number from 1000 to 768000, not '5'"},
        {"unknown format", "record x.wav -f mp3", 2, "unknown format 'mp3'; the formats are wav"},
        {"duration not a number", "record x.wav -d soon", 2, "-d takes a number from"},
        {"volume out of range", "play --volume 2 " + PlayerArgs(), 2, "--volume takes a number from 0 to 1, not '2'"},
        {"unreadable file", "play " + (m_folder / "absent.wav") + " " + PlayerArgs(), 1,
         "cannot read '" + (m_folder / "absent.wav") + "'"},
        {"WAV into a pipe", "record - -q", 1,
         "standard output is not a file, and WAV, 32-bit float needs to seek back to its header"},
        {"version", "record --version", 0, "harlune "},
        {"version", "play --version", 0, "harlune "},
        {"version", "helper --version", 0, "harlune "},
        {"version", "devices --version", 0, "harlune "},
    };
    for (const Case& c : arCases) {
        const auto [nExit, szOutput] = Run(c.szArgs);
        EXPECT_EQ(nExit, c.nExit) << c.szName << ": " << szOutput;
        EXPECT_NE(szOutput.find(c.szWords), std::string::npos) << c.szName << ": " << szOutput;
    }
}

TEST_F(RecordingTest, RecordsIntoAPipeAndPlaysFromOne) {
    tools::LChildProcess helper, recorder;
    StartHelper(helper);
    // The recorder's words go to standard error, here read as its output;
    // the audio goes through the pipe into the file.
    ASSERT_TRUE(recorder.Start("/bin/sh", {"-c", "exec 3>&1; " + Harlune() + " record - -f flac --frames 22050 -q 2>&3 | "
                                                     "cat > " + (m_folder / "piped.flac")}));
    ASSERT_TRUE(recorder.WaitForLine("registered", kStartTimeout)) << recorder.Output();
    {
        // A float WAV of the test signal, played from standard input.
        audio::LAudioFileWriter writer;
        std::string szError;
        ASSERT_TRUE(writer.Open(m_folder / "signal.wav", audio::LRecordFormat::WavFloat, 44100, 2, &szError));
        const std::vector<float> arSignal = Expected(22050);
        ASSERT_TRUE(writer.Write(arSignal.data(), 22050, &szError));
        ASSERT_TRUE(writer.Close(&szError));
    }
    const auto [nExit, szOutput] = Run("play - --fast " + PlayerArgs() + " < " + (m_folder / "signal.wav"));
    EXPECT_EQ(nExit, 0) << szOutput;
    EXPECT_EQ(recorder.Wait(kStartTimeout), 0) << recorder.Output();
    const audio::LAudioFileContents contents = ReadFile(m_folder / "piped.flac");
    EXPECT_LE(Difference(contents.arFrames, 22050), 1.5 / 8388608);
}

TEST_F(RecordingTest, WithoutAFileNameTheRecordingIsNamedByItsStart) {
    tools::LChildProcess helper;
    StartHelper(helper);
    const std::string szFolder = m_folder / "dated";
    ASSERT_EQ(mkdir(szFolder.c_str(), 0700), 0);
    const time_t nBefore = time(nullptr);
    tools::LChildProcess recorder;
    ASSERT_TRUE(recorder.Start("/bin/sh", {"-c", "cd '" + szFolder + "' && exec " + Harlune() +
                                                     " record --quiet --frames 22050 2>&1"}));
    ASSERT_TRUE(recorder.WaitForLine("registered", kStartTimeout)) << recorder.Output();
    const time_t nAfter = time(nullptr);
    const auto [nExit, szOutput] = Run("play --seconds 0.5 --fast " + PlayerArgs());
    EXPECT_EQ(nExit, 0) << szOutput;
    EXPECT_EQ(recorder.Wait(std::chrono::seconds(15)), 0) << recorder.Output();

    // The name is one of the seconds between starting the recorder and its
    // registration, in local time.
    std::string szFound;
    for (time_t t = nBefore; t <= nAfter && szFound.empty(); ++t) {
        tm tmLocal{};
        localtime_r(&t, &tmLocal);
        char szName[64];
        strftime(szName, sizeof szName, "%Y-%m-%d_%H-%M-%S.wav", &tmLocal);
        struct stat info {};
        if (stat((szFolder + "/" + szName).c_str(), &info) == 0) {
            szFound = szName;
        }
    }
    ASSERT_FALSE(szFound.empty()) << recorder.Output();
    EXPECT_NE(recorder.Output().find("recording into " + szFound), std::string::npos) << recorder.Output();
    EXPECT_EQ(Difference(ReadFile(szFolder + "/" + szFound).arFrames, 22050), 0.0);
}

TEST_F(RecordingTest, ASecondHelperNamesTheOneRunningBeforeSayingReady) {
    tools::LChildProcess helper;
    StartHelper(helper);
    const auto [nExit, szOutput] = Run("helper");
    EXPECT_EQ(nExit, 1);
    EXPECT_NE(szOutput.find("another helper service is already running (pid " + std::to_string(helper.Pid())),
              std::string::npos)
        << szOutput;
    EXPECT_EQ(("\n" + szOutput).find("\nready\n"), std::string::npos) << szOutput;
}

TEST_F(RecordingTest, ARecorderWithoutAHelperSaysSoAndKeepsWaiting) {
    tools::LChildProcess recorder;
    ASSERT_TRUE(recorder.Start("/bin/sh", {"-c", "exec " + Harlune() + " record " + (m_folder / "wait.wav") +
                                                     " --quiet 2>&1"}));
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    while (recorder.Output().find("no helper service is running") == std::string::npos &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_NE(recorder.Output().find("start one with `harlune helper`; waiting for it"), std::string::npos)
        << recorder.Output();
    // It keeps waiting, and registers once a helper comes.
    tools::LChildProcess helper;
    StartHelper(helper);
    EXPECT_TRUE(recorder.WaitForLine("registered", kStartTimeout)) << recorder.Output();
    recorder.Signal(SIGINT);
    EXPECT_EQ(recorder.Wait(std::chrono::seconds(15)), 0);
}

TEST_F(RecordingTest, AServiceFolderWithTheWrongModeIsNamed) {
    const std::string szOpen = m_folder / "open";
    ASSERT_EQ(mkdir(szOpen.c_str(), 0700), 0);
    ASSERT_EQ(chmod(szOpen.c_str(), 0755), 0);
    for (const char* szCommand : {"record x.wav", "helper"}) {
        const auto [nExit, szOutput] = Run(szCommand, "HARLUNE_XPC_SERVICE_DIR=" + szOpen + " ");
        EXPECT_EQ(nExit, 1) << szCommand;
        EXPECT_NE(szOutput.find("the service folder " + szOpen + " has mode 0755; it must be 0700"), std::string::npos)
            << szCommand << ": " << szOutput;
    }
}

} // namespace
} // namespace harlune::test
