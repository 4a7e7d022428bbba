// Loading driver bundles, good and broken, through the host.
#include "host/LHost.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace harlune::test {
namespace {

namespace fs = std::filesystem;

void WriteText(const std::string& szPath, const std::string& szText) {
    fs::create_directories(fs::path(szPath).parent_path());
    std::ofstream(szPath) << szText;
}

std::string ReadText(const std::string& szPath) {
    std::ifstream in(szPath);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A copy of the built bundle in a temporary folder, to break at will.
std::string CopyBundle(const LTempFolder& folder) {
    const std::string szCopy = folder / "Copy.driver";
    fs::copy(HARLUNE_BUNDLE_PATH, szCopy, fs::copy_options::recursive);
    return szCopy;
}

TEST(BundleLoadingTest, TheBuiltBundleLoadsAndInitializes) {
    LTempFolder folder;
    std::string szError;
    auto pHost = host::LHost::Load({HARLUNE_BUNDLE_PATH, folder / "storage"}, &szError);
    ASSERT_NE(pHost, nullptr) << szError;
    EXPECT_EQ(pHost->BundleIdentifier(), "com.zentalworks.driver.HarluneVirtualAudioDevice");
    EXPECT_EQ(pHost->InitializeStatus(), 0);
}

TEST(BundleLoadingTest, BrokenBundlesAreReportedWithPathAndReason) {
    struct Case {
        const char* szName;
        std::function<std::string(const LTempFolder&)> make; // returns the bundle path
        const char* szReason;
    };
    const Case cases[] = {
        {"missing folder", [](const LTempFolder& f) { return f / "Nothing.driver"; }, "no such folder"},
        {"no Info.plist",
         [](const LTempFolder& f) {
             const std::string szPath = CopyBundle(f);
             fs::remove(szPath + "/Contents/Info.plist");
             return szPath;
         },
         "no Contents/Info.plist"},
        {"Info.plist not a property list",
         [](const LTempFolder& f) {
             const std::string szPath = CopyBundle(f);
             WriteText(szPath + "/Contents/Info.plist", "<plist><dict><key>x</dict>");
             return szPath;
         },
         "not a readable property list"},
        {"no factory for the plug-in type",
         [](const LTempFolder& f) {
             const std::string szPath = CopyBundle(f);
             std::string szInfo = ReadText(szPath + "/Contents/Info.plist");
             const std::size_t nPos = szInfo.find("443ABAB8");
             szInfo.replace(nPos, 8, "00000000");
             WriteText(szPath + "/Contents/Info.plist", szInfo);
             return szPath;
         },
         "names no factory"},
        {"executable missing",
         [](const LTempFolder& f) {
             const std::string szPath = CopyBundle(f);
             fs::remove(szPath + "/Contents/Linux/HarluneVirtualAudioDevice.so");
             return szPath;
         },
         "does not load"},
        {"executable is not a shared object",
         [](const LTempFolder& f) {
             const std::string szPath = CopyBundle(f);
             WriteText(szPath + "/Contents/Linux/HarluneVirtualAudioDevice.so", "not an ELF file");
             return szPath;
         },
         "does not load"},
        {"factory not exported",
         [](const LTempFolder& f) {
             const std::string szPath = CopyBundle(f);
             std::string szInfo = ReadText(szPath + "/Contents/Info.plist");
             const std::size_t nPos = szInfo.find("LVirtualAudioDevice_Create");
             szInfo.replace(nPos, 26, "LVirtualAudioDevice_Absent");
             WriteText(szPath + "/Contents/Info.plist", szInfo);
             return szPath;
         },
         "does not export the factory LVirtualAudioDevice_Absent"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.szName);
        LTempFolder folder;
        const std::string szBundle = c.make(folder);
        std::string szError;
        EXPECT_EQ(host::LHost::Load({szBundle, folder / "storage"}, &szError), nullptr);
        EXPECT_NE(szError.find(szBundle), std::string::npos) << szError;
        EXPECT_NE(szError.find(c.szReason), std::string::npos) << szError;
    }
}

} // namespace
} // namespace harlune::test
