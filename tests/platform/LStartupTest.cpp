// Start-up: arguments as the application sees them, and the effects of
// LUnixAppInitCommon on the process (umask, open-file limit, locale), each
// in a child process so the test process keeps its own.
#include "platform/LPlatform.h"

#include "diagnostics/LDebugThreadRegistry.h"
#include "tests/platform/LChildProcess.h"
#include "tests/support/LTempFolder.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace {

using harlune::test::Check;
using harlune::test::LTempFolder;
using harlune::test::RunInChild;

std::vector<std::string> Arguments() {
    std::vector<std::string> arOut;
    for (int i = 0; i < gargc; ++i) {
        arOut.emplace_back(gargv[i]);
    }
    return arOut;
}

struct ArgumentsCase {
    std::vector<const char*> arArgs;
    std::vector<std::string> arExpected;
};

TEST(LCommandLine, ProcessSerialNumberIsLeftOutOnlyAtPositionOne) {
    const ArgumentsCase arCases[] = {
        {{"program", "-psn_0_12345", "-x"}, {"program", "-x"}},
        {{"program", "-x", "-psn_0_12345"}, {"program", "-x", "-psn_0_12345"}},
        {{"-psn_0_1"}, {"-psn_0_1"}},
        {{"program", "-ps"}, {"program", "-ps"}},
        {{"program"}, {"program"}},
        {{}, {}},
    };
    for (const ArgumentsCase& c : arCases) {
        std::vector<char*> arArgv;
        for (const char* sz : c.arArgs) {
            arArgv.push_back(const_cast<char*>(sz));
        }
        arArgv.push_back(nullptr);
        LUnixAppCopyCommandLineArguments(static_cast<int>(c.arArgs.size()), arArgv.data());
        ASSERT_NE(gargv, nullptr);
        EXPECT_EQ(Arguments(), c.arExpected);
        EXPECT_EQ(gargv[gargc], nullptr);
    }
    LUnixAppCopyCommandLineArguments(3, nullptr);
    EXPECT_EQ(gargc, 0);
    ASSERT_NE(gargv, nullptr);
    EXPECT_EQ(gargv[0], nullptr);
}

TEST(LCommandLine, RemovingAndLookingUpArguments) {
    const char* arArgs[] = {"program", "-o", "out.txt", "-v", "-o", "second", "-last"};
    LUnixAppCopyCommandLineArguments(7, const_cast<char**>(arArgs));
    char szValue[260] = "garbage";
    struct Case {
        const char* szName;
        const char* szValue;
    } arLookups[] = {
        {"-o", "out.txt"}, {"-v", "-o"}, {"-last", ""}, {"program", ""}, {"-x", ""}, {nullptr, ""}, {"-O", ""},
    };
    for (const Case& c : arLookups) {
        LGetCommandLineArgumentValue(c.szName, szValue);
        EXPECT_STREQ(szValue, c.szValue) << (c.szName ? c.szName : "(null)");
    }

    EXPECT_EQ(LRemoveCommandLineArgument(1), 6);
    EXPECT_EQ(Arguments(), (std::vector<std::string>{"program", "out.txt", "-v", "-o", "second", "-last"}));
    EXPECT_EQ(LRemoveCommandLineArgument(5), 5);
    EXPECT_EQ(gargv[5], nullptr);
    EXPECT_EQ(LRemoveCommandLineArgument(5), 5) << "an index at the count changes nothing";
    EXPECT_EQ(LRemoveCommandLineArgument(-1), 5);
    LGetCommandLineArgumentValue("-o", szValue);
    EXPECT_STREQ(szValue, "second");

    const char* arShort[] = {"program", "-o"};
    LUnixAppCopyCommandLineArguments(2, const_cast<char**>(arShort));
    LGetCommandLineArgumentValue("-o", szValue);
    EXPECT_STREQ(szValue, "") << "nothing follows -o";

    const std::string szLong(400, 'v');
    const char* arLong[] = {"program", "-o", szLong.c_str()};
    LUnixAppCopyCommandLineArguments(3, const_cast<char**>(arLong));
    LGetCommandLineArgumentValue("-o", szValue);
    EXPECT_EQ(std::string(szValue), szLong.substr(0, 259));
}

TEST(LAppInit, InitialisesMaskArgumentsLimitAndLocale) {
    const std::string szFailures = RunInChild([] {
        std::string szOut;
        umask(022);
        rlimit limits {};
        getrlimit(RLIMIT_NOFILE, &limits);
        limits.rlim_cur = 512 < limits.rlim_max ? 512 : limits.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limits);
        setenv("LANG", "C.UTF-8", 1);
        unsetenv("LC_ALL");

        const char* arArgs[] = {"program", "-psn_0_12345", "-x", nullptr};
        Check(szOut, "result", LUnixAppInitCommon(3, const_cast<char**>(arArgs)), true);
        Check(szOut, "umask", umask(0), static_cast<mode_t>(0));
        Check(szOut, "gargc", gargc, 2);
        Check(szOut, "gargv[1]", std::string(gargv[1]), std::string("-x"));
        getrlimit(RLIMIT_NOFILE, &limits);
        const rlim_t nExpected = limits.rlim_max < 1024 ? limits.rlim_max : 1024;
        Check(szOut, "soft open-file limit", limits.rlim_cur, nExpected);
        Check(szOut, "locale", std::string(setlocale(LC_ALL, nullptr)), std::string("C.UTF-8"));
        char szThread[8] = "";
        LDebugThreadGetName(szThread);
        Check(szOut, "registered thread name", std::string(szThread), std::string("MAIN"));
        return szOut;
    });
    EXPECT_EQ(szFailures, "");
}

TEST(LAppInit, OpenFileLimitNeverExceedsTheHardLimit) {
    const std::string szFailures = RunInChild([] {
        std::string szOut;
        rlimit limits {};
        getrlimit(RLIMIT_NOFILE, &limits);
        limits.rlim_cur = 100;
        limits.rlim_max = 800;
        if (setrlimit(RLIMIT_NOFILE, &limits) != 0) {
            return szOut; // cannot lower the hard limit here; nothing to check
        }
        Check(szOut, "result", LSetMaximumNumberOfOpenFiles(), true);
        getrlimit(RLIMIT_NOFILE, &limits);
        Check(szOut, "soft", limits.rlim_cur, static_cast<rlim_t>(800));
        Check(szOut, "hard", limits.rlim_max, static_cast<rlim_t>(800));
        return szOut;
    });
    EXPECT_EQ(szFailures, "");
}

// Where the preferred locale is stored for a test.
enum class Preference { None, Application, AnyApplication };

// The locale chosen for an environment, in a child (it is set once per
// process), with preferences in szPreferences when it is not empty.
std::string LocaleChosenFor(const char* szLang, const std::string& szLocalePath,
                            Preference ePreference = Preference::None, const std::string& szPreferences = "",
                            const char* szAppleLocale = "de_DE") {
    const std::string szFailures = RunInChild([&] {
        if (!szLocalePath.empty()) {
            setenv("LOCPATH", szLocalePath.c_str(), 1);
        }
        if (!szPreferences.empty()) {
            setenv("XDG_CONFIG_HOME", szPreferences.c_str(), 1);
        }
        CFStringRef value = CFStringCreateWithCString(nullptr, szAppleLocale, kCFStringEncodingUTF8);
        if (ePreference == Preference::Application) {
            CFPreferencesSetAppValue(CFSTR("AppleLocale"), value, kCFPreferencesCurrentApplication);
            CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication);
        } else if (ePreference == Preference::AnyApplication) {
            CFPreferencesSetValue(CFSTR("AppleLocale"), value, kCFPreferencesAnyApplication, kCFPreferencesCurrentUser,
                                  kCFPreferencesAnyHost);
            CFPreferencesSynchronize(kCFPreferencesAnyApplication, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
        }
        CFRelease(value);
        unsetenv("LC_ALL");
        setenv("LANG", szLang, 1);
        std::string szOut = LUnixAppSetLocale();
        // Later calls keep the first answer whatever the environment says.
        setenv("LANG", "C", 1);
        if (std::string(LUnixAppSetLocale()) != szOut) {
            szOut += " (changed on the second call)";
        }
        return szOut;
    });
    return szFailures;
}

TEST(LAppInit, LocaleNameFallsBackToTheCodesetFormThenTheDefault) {
    LTempFolder folder;
    ASSERT_FALSE(folder.Path().empty());
    const std::string szCommand = "localedef -i de_DE -f UTF-8 '" + (folder / "de_DE.UTF-8") + "' >/dev/null 2>&1";
    const bool bHaveGerman = std::system(szCommand.c_str()) == 0;

    EXPECT_EQ(LocaleChosenFor("C.UTF-8", ""), "C.UTF-8");
    EXPECT_EQ(LocaleChosenFor("POSIX", ""), "C");
    EXPECT_EQ(LocaleChosenFor("xx_YY.UTF-8", ""), "C") << "nothing can be set: the process keeps its locale";
    if (bHaveGerman) {
        EXPECT_EQ(LocaleChosenFor("de_DE.UTF-8", folder.Path()), "de_DE.UTF-8");
        EXPECT_EQ(LocaleChosenFor("de_DE", folder.Path()), "de_DE.UTF-8");
    }
}

TEST(LAppInit, WithoutALocaleInTheEnvironmentThePreferencesChoose) {
    LTempFolder folder;
    ASSERT_FALSE(folder.Path().empty());
    const std::string szCommand = "localedef -i de_DE -f UTF-8 '" + (folder / "de_DE.UTF-8") + "' >/dev/null 2>&1";
    if (std::system(szCommand.c_str()) != 0) {
        GTEST_SKIP() << "localedef cannot build de_DE (the locales package provides its sources)";
    }
    struct Case {
        const char* szName;
        const char* szLang;
        Preference ePreference;
        const char* szAppleLocale;
        const char* szExpected;
    } arCases[] = {
        {"application's preference", "C", Preference::Application, "de_DE", "de_DE.UTF-8"},
        {"any application's preference", "C", Preference::AnyApplication, "de_DE", "de_DE.UTF-8"},
        {"options after the identifier", "POSIX", Preference::Application, "de_DE@currency=EUR", "de_DE.UTF-8"},
        {"the environment comes first", "de_DE", Preference::Application, "xx_YY", "de_DE.UTF-8"},
        {"a C environment is no locale", "C.UTF-8", Preference::Application, "de_DE", "de_DE.UTF-8"},
        {"no preference", "C", Preference::None, "", "C"},
    };
    for (const Case& c : arCases) {
        LTempFolder preferences;
        EXPECT_EQ(LocaleChosenFor(c.szLang, folder.Path(), c.ePreference, preferences.Path(), c.szAppleLocale),
                  c.szExpected)
            << c.szName;
    }
}

} // namespace
