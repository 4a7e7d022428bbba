// Choosing the newest crash report of the product from fixture folders:
// .ips names, text reports with each condition failing in turn, equal dates,
// a newest date that belongs to a report that is not accepted, the name
// pattern, and the local-time rules.
#include "diagnostics/LDiagnostics.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using harlune::test::LTempFolder;

constexpr const char* kApp = "Harlune.app";
constexpr const char* kExecutable = "/Applications/Harlune.app/Contents/MacOS/Harlune";

// A text report; each field can be replaced or left out (null).
std::string TextReport(const char* szDate, const char* szProcess = "HarluneVADPlugin [123]",
                       const char* szPath = "/Volumes/X/Harlune.app/Contents/MacOS/Harlune",
                       const char* szIdentifier = "HarluneVADPlugin", const char* szVersion = "1.0 (1.0)") {
    std::string sz = "Incident Identifier: 1234\r\n";
    if (szProcess) sz += std::string("Process:         ") + szProcess + "\n";
    if (szPath) sz += std::string("Path:            ") + szPath + "\r";
    if (szIdentifier) sz += std::string("Identifier:      ") + szIdentifier + "\n";
    if (szVersion) sz += std::string("Version:         ") + szVersion + "\n";
    if (szDate) sz += std::string("Date/Time:       ") + szDate + "\n";
    return sz + "  Thread 0 Crashed\n";
}

struct File {
    std::string szName;
    std::string szContent;
};

struct Case {
    const char* szCase;
    std::vector<File> arFiles;
    const char* szExpected; // null: none
};

std::string Find(const LTempFolder& tmp, const std::vector<File>& arFiles) {
    for (const File& f : arFiles) std::ofstream(tmp / f.szName, std::ios::binary) << f.szContent;
    char sz[kLMaxPath] = "untouched";
    if (!LMacFindLatestCrashReport(sz, tmp.Path().c_str(), kApp, kExecutable)) {
        EXPECT_STREQ(sz, "untouched");
        return "";
    }
    const std::string szPath = sz;
    return szPath.substr(szPath.rfind('/') + 1);
}

TEST(CrashReports, SelectsTheNewestAcceptedReport) {
    const Case arCases[] = {
        {"ips names carry the date",
         {{"HarluneVADPlugin-2024-05-06-101112.ips", ""}, {"HarluneVADPlugin-2024-05-07-090000.ips", ""}},
         "HarluneVADPlugin-2024-05-07-090000.ips"},
        {"an ips name without a dash has no date",
         {{"HarluneVADPlugin_2024.ips", ""}}, nullptr},
        {"an ips name with a short date", {{"HarluneVADPlugin-2024-05-06.ips", ""}}, nullptr},
        {"a text report that fits", {{"HarluneVADPlugin_a.crash", TextReport("2024-05-06 10:11:12 +0200")}},
         "HarluneVADPlugin_a.crash"},
        {"wrong process", {{"HarluneVADPlugin_a.crash", TextReport("2024-05-06 10:11:12", "Other [1]")}}, nullptr},
        {"wrong path",
         {{"HarluneVADPlugin_a.crash", TextReport("2024-05-06 10:11:12", "HarluneVADPlugin", "/x/Harlune.app/Other")}},
         nullptr},
        {"wrong identifier",
         {{"HarluneVADPlugin_a.crash",
           TextReport("2024-05-06 10:11:12", "HarluneVADPlugin", "/a/Harlune.app/Contents/MacOS/Harlune", "harlunevadplugin")}},
         nullptr},
        {"wrong version",
         {{"HarluneVADPlugin_a.crash",
           TextReport("2024-05-06 10:11:12", "HarluneVADPlugin", "/a/Harlune.app/Contents/MacOS/Harlune",
                      "HarluneVADPlugin", "1.0.1")}},
         nullptr},
        {"no date line", {{"HarluneVADPlugin_a.crash", TextReport(nullptr)}}, nullptr},
        {"an unreadable date still settles the condition",
         {{"HarluneVADPlugin_a.crash", TextReport("yesterday")}}, "HarluneVADPlugin_a.crash"},
        {"names are matched without case and others ignored",
         {{"harlunevadplugin-2024-01-01-000000.IPS", TextReport("2030-01-01 00:00:00")},
          {"Other-2031-01-01-000000.ips", ""},
          {"__MACOSX_HarluneVADPlugin-2032-01-01-000000.ips", ""}},
         "harlunevadplugin-2024-01-01-000000.IPS"},
        {"the newest date belongs to a report that is not accepted",
         {{"HarluneVADPlugin-2024-05-06-101112.ips", ""},
          {"HarluneVADPlugin_new.crash", TextReport("2025-01-01 00:00:00", "Other")}},
         nullptr},
        {"text and ips compared by date",
         {{"HarluneVADPlugin-2024-05-06-101112.ips", ""},
          {"HarluneVADPlugin_new.crash", TextReport("2024-05-06 10:11:13")}},
         "HarluneVADPlugin_new.crash"},
        {"two-digit years count from 2000",
         {{"HarluneVADPlugin-24-05-06-101112.ips", ""}, {"HarluneVADPlugin-2023-05-06-101112.ips", ""}},
         "HarluneVADPlugin-24-05-06-101112.ips"},
    };
    for (const Case& c : arCases) {
        LTempFolder tmp;
        EXPECT_EQ(Find(tmp, c.arFiles), c.szExpected ? c.szExpected : "") << c.szCase;
    }
}

TEST(CrashReports, EqualDatesKeepTheLaterInFolderOrder) {
    LTempFolder tmp;
    const std::string szDate = "2024-05-06 10:11:12";
    std::ofstream(tmp / "HarluneVADPlugin_one.crash") << TextReport(szDate.c_str());
    std::ofstream(tmp / "HarluneVADPlugin_two.crash") << TextReport(szDate.c_str());
    // Whichever the folder lists last wins.
    std::string szLast;
    for (const auto& e : std::filesystem::directory_iterator(tmp.Path())) szLast = e.path().filename().string();
    char sz[kLMaxPath];
    ASSERT_TRUE(LMacFindLatestCrashReport(sz, tmp.Path().c_str(), kApp, kExecutable));
    EXPECT_EQ(std::string(sz), tmp / szLast);
}

TEST(CrashReports, MissingFolderAndLockedReport) {
    char sz[kLMaxPath];
    EXPECT_FALSE(LMacFindLatestCrashReport(sz, "/nonexistent/folder", kApp, kExecutable));
    // A report another process holds exclusively is not read (after the
    // bounded wait) and so not accepted.
    LTempFolder tmp;
    const std::string szReport = tmp / "HarluneVADPlugin_locked.crash";
    std::ofstream(szReport) << TextReport("2024-05-06 10:11:12");
    int arPipe[2];
    ASSERT_EQ(pipe(arPipe), 0);
    pid_t pid = fork();
    if (pid == 0) {
        int nFile = open(szReport.c_str(), O_RDONLY);
        flock(nFile, LOCK_EX);
        (void)!write(arPipe[1], "1", 1);
        pause();
        _exit(0);
    }
    char c;
    ASSERT_EQ(read(arPipe[0], &c, 1), 1);
    EXPECT_FALSE(LMacFindLatestCrashReport(sz, tmp.Path().c_str(), kApp, kExecutable));
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    close(arPipe[0]);
    close(arPipe[1]);
    EXPECT_TRUE(LMacFindLatestCrashReport(sz, tmp.Path().c_str(), kApp, kExecutable));
}

TEST(CrashReports, OnlyTheFirstThousandEntriesAreConsidered) {
    LTempFolder tmp;
    for (int i = 0; i < 1005; ++i) {
        char szName[64];
        snprintf(szName, sizeof szName, "HarluneVADPlugin-2020-01-01-%06d.ips", i % 60);
        std::ofstream(tmp / (std::to_string(i) + "_x")) << ""; // not matching: not counted
        std::ofstream(tmp / (std::string(szName) + std::to_string(i) + ".ips")) << "";
    }
    char sz[kLMaxPath];
    // No crash, no write past the table; some report is chosen.
    EXPECT_TRUE(LMacFindLatestCrashReport(sz, tmp.Path().c_str(), kApp, kExecutable));
}

TEST(NamePattern, StarQuestionMarkAndCase) {
    struct Case {
        const char* szName;
        const char* szPattern;
        bool bMatch;
    } arCases[] = {
        {"HarluneVADPlugin-1.ips", "HarluneVADPlugin*", true},
        {"harlunevadplugin", "HarluneVADPlugin*", true},
        {"HarluneVADPlugi", "HarluneVADPlugin*", false},
        {"xHarluneVADPlugin", "HarluneVADPlugin*", false},
        {"a.txt", "?.TXT", true},
        {"ab.txt", "?.txt", false},
        {"abcabd", "*abd", true},
        {"", "*", true},
        {"", "?", false},
    };
    for (const auto& c : arCases) EXPECT_EQ(LFileNameMatchesPattern(c.szName, c.szPattern), c.bMatch) << c.szName;
}

TEST(CrashReports, LocalTimeYearRules) {
    const int64_t n2024 = LCrashReportLocalTime(2024, 5, 6, 10, 11, 12);
    EXPECT_GT(n2024, 0);
    EXPECT_EQ(LCrashReportLocalTime(24, 5, 6, 10, 11, 12), n2024);
    EXPECT_EQ(LCrashReportLocalTime(124, 5, 6, 10, 11, 12), n2024);
    EXPECT_EQ(LCrashReportLocalTime(70, 1, 2, 0, 0, 0), LCrashReportLocalTime(1970, 1, 2, 0, 0, 0));
}

} // namespace
