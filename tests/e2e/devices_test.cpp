// `harlune devices` as a person first runs it, and as a script reads it.
#include "tests/e2e/LEndToEndFixture.h"

namespace harlune::test {
namespace {

class DevicesTest : public LEndToEndFixture {
protected:
    std::pair<int, std::string> Devices(const std::string& szArgs) {
        tools::LChildProcess child;
        EXPECT_TRUE(child.Start("/bin/sh", {"-c", "exec " + Harlune() + " devices " + szArgs + " --bundle " +
                                                      HARLUNE_BUNDLE_PATH + " --storage " + (m_folder / "storage") +
                                                      " 2>&1"}));
        const int nExit = child.Wait(std::chrono::seconds(30));
        return {nExit, child.Output()};
    }
};

TEST_F(DevicesTest, TheListViewSaysWhetherARecorderIsThere) {
    struct Step {
        const char* szWhen;
        bool bHelper, bRecorder;
        const char* szRecorderLine;
    };
    const Step arSteps[] = {
        {"nothing running", false, false, "recorder:  none: no helper service is running"},
        {"helper only", true, false, "recorder:  none registered with the helper service (pid "},
        {"helper and recorder", true, true, "recorder:  connected (helper service pid "},
    };
    tools::LChildProcess helper, recorder;
    for (const Step& step : arSteps) {
        if (step.bHelper && !helper.Running()) {
            StartHelper(helper);
        }
        if (step.bRecorder && !recorder.Running()) {
            StartRecorder(recorder, "devices.wav");
        }
        const auto [nExit, szOutput] = Devices("");
        EXPECT_EQ(nExit, 0) << szOutput;
        for (const char* szLine : {"Harlune Virtual Device\n", "    UID:       HarluneVirtualAudioDevice_UID\n",
                                   "    state:     stopped", "    rate:      44100 Hz", "    format:    2 ch, 32-bit float",
                                   "    volume:    "}) {
            EXPECT_NE(szOutput.find(szLine), std::string::npos) << step.szWhen << ": " << szLine << "\n" << szOutput;
        }
        EXPECT_NE(szOutput.find(step.szRecorderLine), std::string::npos) << step.szWhen << ":\n" << szOutput;
        EXPECT_EQ(szOutput.find("Plug-in 1"), std::string::npos) << "the tree only with -v";
    }
    EXPECT_NE(Devices("-v").second.find("      Nominal sample rate: 44100 Hz"), std::string::npos);
}

TEST_F(DevicesTest, JsonIsKeyedByTheTextsNamesWithTheCodesBeside) {
    const auto [nExit, szJson] = Devices("--json");
    EXPECT_EQ(nExit, 0) << szJson;
    for (const char* szPart :
         {"{\"device\":{\"name\":{\"code\":\"lnam\",\"value\":\"Harlune Virtual Device\"}",
          "\"UID\":{\"code\":\"uid \",\"value\":\"HarluneVirtualAudioDevice_UID\"}",
          "\"rate\":{\"code\":\"nsrt\",\"value\":44100}", "\"format\":{\"code\":\"sfmt\"", "\"volume\":{\"code\":\"lcsv\"",
          "\"state\":{\"value\":\"stopped", "\"recorder\":{\"value\":\"none: no helper service is running\"",
          "\"Nominal sample rate\":{\"code\":\"nsrt\",\"value\":44100}",
          "\"Element 1 name\":{\"code\":\"lchn\",\"qualifier\":\"element 1\",\"value\":"}) {
        EXPECT_NE(szJson.find(szPart), std::string::npos) << szPart << "\n" << szJson.substr(0, 2000);
    }
}

TEST_F(DevicesTest, RefusedSetsAreSaidInWords) {
    struct Case {
        const char* szArgs;
        int nExit;
        const char* szWords;
    };
    const Case arCases[] = {
        {"--set 3 nsrt 22050", 1, "cannot set 3 'nsrt' (Nominal sample rate) = 22050: the driver does not allow it ('nope')"},
        {"--set 77 lnam x", 1, "there is no such object ('!obj')"},
        {"--set 9 lcsv 0.25", 0, "set 9 'lcsv' (Volume) = 0.25: ok"},
        {"--set 3 toolong 1", 2, "--set needs an object number and a four-character selector"},
    };
    for (const Case& c : arCases) {
        const auto [nExit, szOutput] = Devices(c.szArgs);
        EXPECT_EQ(nExit, c.nExit) << c.szArgs << ": " << szOutput;
        EXPECT_NE(szOutput.find(c.szWords), std::string::npos) << c.szArgs << ": " << szOutput;
    }
}

} // namespace
} // namespace harlune::test
