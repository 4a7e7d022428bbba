// Names of recordings started without a file name: local date and time,
// and a number added instead of overwriting an earlier recording.
#include "tools/harlune/DatedFileName.h"

#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

namespace {

using harlune::test::LTempFolder;
using harlune::tools::LDatedRecordingPath;

class ZoneScope {
public:
    explicit ZoneScope(const char* szZone) {
        setenv("TZ", szZone, 1);
        tzset();
    }
    ~ZoneScope() {
        unsetenv("TZ");
        tzset();
    }
};

TEST(DatedFileName, LocalDateAndTimeOfTheStart) {
    struct Case {
        const char* szZone;
        long nStart;
        const char* szExtension;
        const char* szName;
    } arCases[] = {
        {"UTC0", 1700000000, ".wav", "2023-11-14_22-13-20.wav"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1700000000, ".flac", "2023-11-14_23-13-20.flac"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", 1711846800, ".wav", "2024-03-31_03-00-00.wav"},
        {"EST5EDT,M3.2.0,M11.1.0", 1700000000, ".raw", "2023-11-14_17-13-20.raw"},
        {"UTC0", 1700000000, "", "2023-11-14_22-13-20"},
    };
    LTempFolder folder;
    for (const Case& c : arCases) {
        ZoneScope zone(c.szZone);
        EXPECT_EQ(LDatedRecordingPath(c.nStart, folder.Path(), c.szExtension), folder / c.szName) << c.szZone;
    }
    ZoneScope zone("UTC0");
    EXPECT_EQ(LDatedRecordingPath(1700000000, "", ".wav"), "2023-11-14_22-13-20.wav");
}

TEST(DatedFileName, AnEarlierRecordingOfTheSameSecondIsKept) {
    ZoneScope zone("UTC0");
    LTempFolder folder;
    const std::string szFirst = LDatedRecordingPath(1700000000, folder.Path(), ".wav");
    std::ofstream(szFirst) << "first";
    const std::string szSecond = LDatedRecordingPath(1700000000, folder.Path(), ".wav");
    EXPECT_EQ(szSecond, folder / "2023-11-14_22-13-20_2.wav");
    std::ofstream(szSecond) << "second";
    EXPECT_EQ(LDatedRecordingPath(1700000000, folder.Path(), ".wav"), folder / "2023-11-14_22-13-20_3.wav");
    // Another extension is another file.
    EXPECT_EQ(LDatedRecordingPath(1700000000, folder.Path(), ".flac"), folder / "2023-11-14_22-13-20.flac");
}

} // namespace
