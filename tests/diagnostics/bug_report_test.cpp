// Bug-report texts: the writer, the "xi" code for each command and thread
// kind, the machine data's format, percent encoding at its limit, the
// bug-report address, the OS version and the web-page URLs.
#include "diagnostics/LDiagnostics.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <memory>
#include <string>
#include <thread>

namespace {

std::string Write(size_t nCapacity, void (*fn)(LFixedLengthStringWriter&)) {
    std::string szBuffer(nCapacity + 1, '\x7f');
    LFixedLengthStringWriter writer(szBuffer.data(), nCapacity);
    fn(writer);
    writer.Terminate();
    EXPECT_LE(writer.GetLength(), nCapacity);
    return szBuffer.c_str();
}

TEST(FixedLengthStringWriter, FormatsAndDropsWhatDoesNotFit) {
    struct Case {
        const char* szCase;
        size_t nCapacity;
        void (*fn)(LFixedLengthStringWriter&);
        const char* szExpected;
    } arCases[] = {
        {"plain and %s", 32, [](auto& w) { w.sprintf("a=%s;b=%s", "x y", "z"); }, "a=x y;b=z"},
        {"numbers with flags", 64,
         [](auto& w) { w.sprintf("%d|%05d|%-3d|%x|%lu|%02d|%zu|%lld", -7, 42, 1, 255, 123456789ul, 5, size_t{9}, -1ll); },
         "-7|00042|1  |ff|123456789|05|9|-1"},
        {"star width and precision", 32, [](auto& w) { w.sprintf("[%*d][%.*f]", 4, 7, 2, 3.14159); }, "[   7][3.14]"},
        {"percent and null text", 32, [](auto& w) { w.sprintf("100%% %s", static_cast<const char*>(nullptr)); },
         "100% (null)"},
        {"cut inside a plain run", 5, [](auto& w) { w.sprintf("abcdefgh"); }, "abcde"},
        {"cut inside %s", 6, [](auto& w) { w.sprintf("ab%s", "cdefgh"); }, "abcdef"},
        {"cut inside a number", 4, [](auto& w) { w.sprintf("x%d", 123456); }, "x123"},
        {"nothing fits", 0, [](auto& w) { w.sprintf("abc%d", 1); w.Append('z'); }, ""},
        {"appends after a cut are dropped", 3, [](auto& w) { w.Append("abcd"); w.Append('e'); }, "abc"},
    };
    for (const Case& c : arCases) EXPECT_EQ(Write(c.nCapacity, c.fn), c.szExpected) << c.szCase;
}

// The "xi" code's parts that do not depend on the thread.
std::string OsTag() {
    uint8_t nMajor = 0, nMinor = 0;
    LGetOSVersion(nMajor, nMinor);
    char sz[32];
    snprintf(sz, sizeof sz, "MacIntel%d%02d", nMajor, nMinor);
    return sz;
}

struct CommandCase {
    uint32_t nCurrent;
    uint32_t nLast;
    const char* szTag;
};

TEST(XIString, CommandTagsOnTheMainThread) {
    const CommandCase arCases[] = {
        {0, 0, "(Cmd0)"},   {1, 0, "GloIni1"}, {2, 0, "GuiIni2"}, {3, 0, "GuiDes3"},
        {4, 0, "GloDes4"},  {5, 17, "Ukn0(LstCmd17)"}, {6, 0, "(Cmd6)"}, {9, 3, "(Cmd9)"},
    };
    LDebugThreadDataStartThread("MAIN");
    for (const CommandCase& c : arCases) {
        gwDebugCurrentCommand = c.nCurrent;
        gwDebugLastCommand = c.nLast;
        char szOut[kLMaxPath];
        LDebugGenerateXIString(szOut, "App", "1.0");
        EXPECT_EQ(std::string(szOut), "App-" + OsTag() + "-1.0-MAIN" + c.szTag) << c.nCurrent;
    }
    gwDebugCurrentCommand = gwDebugLastCommand = 0;
    LDebugThreadDataStopThread();
}

struct ThreadCase {
    const char* szCase;
    const char* szName;   // null: generated; "-": unregistered
    const char* szDialog; // null: none
    std::string szTail;   // "%d" is replaced by the dialog digits
};

TEST(XIString, ThreadKindsOffTheMainThread) {
    gwDebugCurrentCommand = 5; // ignored off the main thread
    const ThreadCase arCases[] = {
        {"named", "Work", nullptr, "Work"},
        {"named with dialog", "Work", "Options", "WorkOptions%d"},
        {"generated name is left out", nullptr, nullptr, ""},
        {"generated name with dialog", nullptr, "Save", "Save%d"},
        {"unregistered", "-", nullptr, "Unknown"},
    };
    for (const ThreadCase& c : arCases) {
        std::string szOut, szDigits;
        std::thread([&] {
            if (std::string(c.szName ? c.szName : "") != "-") LDebugThreadDataStartThread(c.szName);
            if (c.szDialog) LDebugThreadSetLastDialog(c.szDialog);
            const uint32_t id = LDebugGetCurrentThreadId();
            szDigits = std::to_string(id % 10) + std::to_string((id % 100) / 10) + std::to_string((id % 1000) / 100);
            char sz[kLMaxPath];
            LDebugGenerateXIString(sz, "P", "D");
            szOut = sz;
            LDebugThreadDataStopThread();
        }).join();
        std::string szTail = c.szTail;
        if (size_t n = szTail.find("%d"); n != std::string::npos) szTail.replace(n, 2, szDigits);
        EXPECT_EQ(szOut, "P-" + OsTag() + "-D-" + szTail) << c.szCase;
    }
    gwDebugCurrentCommand = 0;
}

TEST(XIString, CutAt259) {
    const std::string szLong(400, 'p');
    char szOut[kLMaxPath];
    memset(szOut, 'Z', sizeof szOut);
    LDebugGenerateXIString(szOut, szLong.c_str(), "d");
    EXPECT_EQ(strlen(szOut), 259u);
    EXPECT_EQ(std::string(szOut), szLong.substr(0, 259));
}

TEST(MachineData, Format) {
    LStringList lTwo, lNone;
    lTwo.Add("Radeon");
    lTwo.Add("Iris Xe");
    struct Case {
        const char* szCase;
        LMachineFacts facts;
        const char* szExpected;
    } arCases[] = {
        {"two displays", {16ull << 30, "BRAND", 12, &lTwo}, "&memphys=16384&cpu=BRAND (12 CPUs)&disp=GPU0:RadeonGPU1:Iris Xe"},
        {"no display", {(16ull << 30) + (1 << 19), "", 1, &lNone}, "&memphys=16384&cpu= (1 CPUs)&disp="},
        {"no list", {0, "X", 2, nullptr}, "&memphys=0&cpu=X (2 CPUs)&disp="},
    };
    for (const Case& c : arCases) {
        char sz[512];
        LFixedLengthStringWriter writer(sz, sizeof sz - 1);
        LDebugGetMachineDataForBugReport(writer, c.facts);
        writer.Terminate();
        EXPECT_STREQ(sz, c.szExpected) << c.szCase;
    }
}

TEST(MachineData, CrashReportFormOnThisMachine) {
    auto sz = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LFixedLengthStringWriter writer(sz.get(), kLBugReportTextMax);
    LDebugGetMachineDataForCrashReport(writer, -3, 250);
    writer.Terminate();
    const std::string szText = sz.get();
    EXPECT_EQ(szText.rfind("memfrhp=-3&memfrlg=250&memphys=", 0), 0u) << szText;
    EXPECT_NE(szText.find(" CPUs)&disp="), std::string::npos) << szText;
    // The encoded form has no separators left.
    auto szEncoded = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LDebugGetMachineDataForCrashReport(szEncoded.get(), -3, 250);
    EXPECT_EQ(std::string(szEncoded.get()).find_first_of("&= "), std::string::npos);
}

TEST(PercentEncode, CopiesOrEscapes) {
    struct Case {
        std::string szIn;
        std::string szExpected;
    } arCases[] = {
        {"a b&x=y", "a%20b%26x%3Dy"},
        {"A.b-_~!9", "A.b-_~!9"},
        {"", ""},
        {"\xc3\xa9/", "%C3%A9%2F"},
        {"*'()", "%2A%27%28%29"},
    };
    for (const Case& c : arCases) {
        auto sz = std::make_unique<char[]>(kLBugReportTextMax + 1);
        EXPECT_EQ(LDebugPercentEncode(sz.get(), c.szIn.c_str()), c.szExpected.size());
        EXPECT_EQ(std::string(sz.get()), c.szExpected) << c.szIn;
    }
}

TEST(PercentEncode, StopsAt8193AndCutsTheLastEscape) {
    struct Case {
        const char* szCase;
        size_t nPlain;  // plain characters before the escapes
        std::string szTailExpected;
    } arCases[] = {
        // 8192 plain then " " needs 3: only "%" fits.
        {"one character of the escape fits", 8192, "%"},
        // 8191 plain: "%2" fits, the "0" is cut.
        {"two characters fit", 8191, "%2"},
        // 8190 plain: the whole "%20" fits and nothing after it.
        {"the escape fits exactly", 8190, "%20"},
        {"plain text fills it", 9000, ""},
    };
    for (const Case& c : arCases) {
        const std::string szIn = std::string(c.nPlain, 'a') + "  ";
        auto sz = std::make_unique<char[]>(kLBugReportTextMax + 1);
        memset(sz.get(), 'Z', kLBugReportTextMax + 1);
        EXPECT_EQ(LDebugPercentEncode(sz.get(), szIn.c_str()), kLBugReportTextMax) << c.szCase;
        const std::string szOut = sz.get();
        ASSERT_EQ(szOut.size(), kLBugReportTextMax) << c.szCase;
        EXPECT_EQ(szOut.substr(std::min(c.nPlain, kLBugReportTextMax)), c.szTailExpected) << c.szCase;
    }
}

TEST(BugReportURL, PathQueryAndInstallationId) {
    const char* szSaved = getenv("XDG_CONFIG_HOME");
    const std::string szOld = szSaved ? szSaved : "";
    char szTemplate[] = "/tmp/harlune-url-XXXXXX";
    ASSERT_NE(mkdtemp(szTemplate), nullptr);
    setenv("XDG_CONFIG_HOME", szTemplate, 1);
    CFPreferencesSetValue(CFSTR("Software/IID"), CFSTR("IID-42"), CFSTR("com.zentalworks.HarluneVADPlugin"),
                          kCFPreferencesCurrentUser, kCFPreferencesCurrentHost);
    auto sz = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LDebugComposeBugReportURL(sz.get());
    const std::string szURL = sz.get();
    uint8_t nMajor = 0, nMinor = 0;
    LGetOSVersion(nMajor, nMinor);
    char szXi[64];
    snprintf(szXi, sizeof szXi, "&xi=AbTermOrHang-Mac%d%02d&iid=IID-42&data=memfrhp%%3D", nMajor, nMinor);
    EXPECT_EQ(szURL.rfind("https://", 0), 0u);
    EXPECT_NE(szURL.find("/software/bug.html?software=HarluneVADPlugin&version=1.0" + std::string(szXi)),
              std::string::npos)
        << szURL;
    CFPreferencesSetValue(CFSTR("Software/IID"), nullptr, CFSTR("com.zentalworks.HarluneVADPlugin"),
                          kCFPreferencesCurrentUser, kCFPreferencesCurrentHost);
    LDebugComposeBugReportURL(sz.get());
    EXPECT_NE(std::string(sz.get()).find("&iid=&data="), std::string::npos);
    szSaved ? setenv("XDG_CONFIG_HOME", szOld.c_str(), 1) : unsetenv("XDG_CONFIG_HOME");
    std::filesystem::remove_all(szTemplate);
}

TEST(OSVersion, ParsesVersionId) {
    struct Case {
        const char* szText;
        bool bFound;
        int nMajor, nMinor, nPatch;
    } arCases[] = {
        {"NAME=\"Debian\"\nVERSION_ID=\"12\"\n", true, 12, 0, 0},
        {"VERSION_ID=22.04\n", true, 22, 4, 0},
        {"ID=x\nVERSION_ID='10.15.7'\n", true, 10, 15, 7},
        {"VERSION_ID=300.1\n", true, 300 & 0xFF, 1, 0},
        {"VERSION_ID=\"\"\n", false, 0, 0, 0},
        {"ID=arch\n", false, 0, 0, 0},
        {"XVERSION_ID=3\n", false, 0, 0, 0},
    };
    for (const auto& c : arCases) {
        uint8_t nMajor = 9, nMinor = 9, nPatch = 9;
        EXPECT_EQ(LParseOSVersion(c.szText, nMajor, nMinor, nPatch), c.bFound) << c.szText;
        EXPECT_EQ(nMajor, c.nMajor) << c.szText;
        EXPECT_EQ(nMinor, c.nMinor) << c.szText;
        EXPECT_EQ(nPatch, c.nPatch) << c.szText;
    }
}

TEST(WebPage, URLsMadeFromText) {
    struct Case {
        const char* szText;
        bool bMade;
        const char* szURL;
    } arCases[] = {
        {"example.com/a?b=c", true, "http://example.com/a?b=c"},
        {"https://example.com/x y", true, "https://example.com/x%20y"},
        {"/tmp/some file.txt", true, "file:///tmp/some%20file.txt"},
        {"see file:///tmp/x", true, "file:///tmp/x"},
        {"file:///tmp/y", true, "file:///tmp/y"},
        {"", false, ""},
    };
    for (const auto& c : arCases) {
        auto sz = std::make_unique<char[]>(kLBugReportTextMax + 1);
        const bool bMade = LMakeWebPageURL(c.szText, sz.get());
        EXPECT_EQ(bMade, c.bMade) << c.szText;
        if (bMade) EXPECT_STREQ(sz.get(), c.szURL) << c.szText;
    }
    EXPECT_FALSE(LMakeWebPageURL(nullptr, nullptr));
}

} // namespace
