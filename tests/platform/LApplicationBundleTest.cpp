// Application bundles made in a private folder: which executable a bundle
// names, and the installed-application look-up through a private home.
#include "platform/LPlatform.h"

#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace {

using harlune::test::LTempFolder;
namespace fs = std::filesystem;

void Touch(const std::string& szPath, const std::string& szContents = "") {
    fs::create_directories(fs::path(szPath).parent_path());
    std::ofstream(szPath) << szContents;
}

std::string InfoPlistDeclaring(const std::string& szExecutable) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><string>" +
           szExecutable + "</string></dict></plist>\n";
}

TEST(LApplicationBundle, DotAppFiles) {
    struct Case {
        const char* szPath;
        bool bApp;
    } arCases[] = {
        {"/Applications/Foo.app", true}, {"/Applications/Foo.APP", false}, {"Foo.app", true},
        {"/a.app/Contents", false},      {"/Applications/Foo.app/", false}, {"/x/Foo.app.zip", false},
        {"", false},                     {nullptr, false},
    };
    for (const Case& c : arCases) {
        EXPECT_EQ(LIsDotAppFile(c.szPath), c.bApp) << (c.szPath ? c.szPath : "(null)");
    }
}

struct BundleCase {
    const char* szName;
    std::optional<std::string> szInfoPlist;
    std::vector<std::string> arFiles; // relative to the bundle
    std::string szExpected;           // relative to the bundle; empty for none
};

TEST(LApplicationBundle, ExecutableOfABundle) {
    const BundleCase arCases[] = {
        {"declared", InfoPlistDeclaring("Main"), {"Contents/MacOS/Aux", "Contents/MacOS/Main"}, "Contents/MacOS/Main"},
        {"sorted", std::nullopt, {"Contents/MacOS/b", "Contents/MacOS/a", "Contents/MacOS/c"}, "Contents/MacOS/a"},
        {"declared but missing", InfoPlistDeclaring("Gone"), {"Contents/MacOS/z", "Contents/MacOS/y"}, "Contents/MacOS/y"},
        {"declaration leaves the bundle", InfoPlistDeclaring("../../evil"), {"evil", "Contents/MacOS/m"}, "Contents/MacOS/m"},
        {"malformed Info.plist", std::string("<plist><dict><key>"), {"Contents/MacOS/m"}, "Contents/MacOS/m"},
        {"linux bundle", InfoPlistDeclaring("tool"), {"Contents/Linux/other", "Contents/Linux/tool"}, "Contents/Linux/tool"},
        {"linux only, undeclared", std::nullopt, {"Contents/Linux/x"}, "Contents/Linux/x"},
        {"no executable folder", InfoPlistDeclaring("Main"), {"Contents/Resources/Main"}, ""},
        {"empty executable folder", std::nullopt, {"Contents/MacOS/.keep"}, "Contents/MacOS/.keep"},
    };
    for (const BundleCase& c : arCases) {
        LTempFolder folder;
        const std::string szBundle = folder / "App.app";
        fs::create_directories(szBundle);
        if (c.szInfoPlist) {
            Touch(szBundle + "/Contents/Info.plist", *c.szInfoPlist);
        }
        for (const std::string& szFile : c.arFiles) {
            Touch(szBundle + "/" + szFile);
        }
        char szExecutable[260] = "garbage";
        LExpandDotAppToPointToExecutable(szExecutable, szBundle.c_str());
        EXPECT_EQ(szExecutable, c.szExpected.empty() ? std::string() : szBundle + "/" + c.szExpected) << c.szName;
    }
    char szExecutable[260] = "garbage";
    LExpandDotAppToPointToExecutable(szExecutable, "/no/such/harlune/App.app");
    EXPECT_STREQ(szExecutable, "");
    LExpandDotAppToPointToExecutable(szExecutable, nullptr);
    EXPECT_STREQ(szExecutable, "");
}

class HomeScope {
public:
    explicit HomeScope(const std::string& szHome) {
        if (const char* szOld = getenv("HOME")) {
            m_szOld = szOld;
        }
        setenv("HOME", szHome.c_str(), 1);
    }
    ~HomeScope() {
        if (m_szOld) {
            setenv("HOME", m_szOld->c_str(), 1);
        } else {
            unsetenv("HOME");
        }
    }

private:
    std::optional<std::string> m_szOld;
};

TEST(LApplicationBundle, InstalledApplicationsInTheHome) {
    LTempFolder home;
    HomeScope scope(home.Path());
    const std::string szApps = home / "Applications";
    Touch(szApps + "/HarluneTestRecorder.app/Contents/MacOS/HarluneTestRecorder");
    Touch(szApps + "/harlune-test-tool");
    const std::string szExecutable = szApps + "/HarluneTestRecorder.app/Contents/MacOS/HarluneTestRecorder";

    struct Case {
        const char* szName;
        bool bInstalled;
        std::string szExecutable;
    } arCases[] = {
        {"HarluneTestRecorder", true, szExecutable},
        {"HarluneTestRecorder.app", true, szExecutable},
        {"harlunetestrecorder", false, ""},
        {"harlune-test-tool", true, ""}, // found, but not a bundle
        {"NoSuchHarluneApplication", false, ""},
        {"../Applications/HarluneTestRecorder", false, ""},
        {"..", false, ""},
        {"", false, ""},
        {nullptr, false, ""},
    };
    for (const Case& c : arCases) {
        const char* szShown = c.szName ? c.szName : "(null)";
        EXPECT_EQ(LIsApplicationInstalled(c.szName), c.bInstalled) << szShown;
        char szOut[260] = "garbage";
        LGetApplicationPath(c.szName, szOut);
        EXPECT_EQ(szOut, c.szExecutable) << szShown;
    }
    char szPath[260];
    ASSERT_TRUE(LFile::GetInstalledApplicationExePath(szPath, "HarluneTestRecorder"));
    EXPECT_EQ(szPath, szApps + "/HarluneTestRecorder.app");
}

} // namespace
