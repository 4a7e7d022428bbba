// CFBundle on the Linux bundle layout: creation from a folder, resources,
// lookup by identifier, and loading the executable.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>

using cftest::Owned;
using cftest::TempDir;
using cftest::text;

namespace {

std::string infoPlist(const std::string &identifier, const std::string &executable) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<plist version=\"1.0\">\n<dict>\n"
           "\t<key>CFBundleIdentifier</key>\n\t<string>" + identifier + "</string>\n"
           "\t<key>CFBundleExecutable</key>\n\t<string>" + executable + "</string>\n"
           "\t<key>HarluneChannels</key>\n\t<integer>2</integer>\n"
           "</dict>\n</plist>\n";
}

CFURLRef urlFor(const std::filesystem::path &path) {
    Owned<CFStringRef> string(cftest::makeString(path.string()));
    return CFURLCreateWithFileSystemPath(nullptr, string, kCFURLPOSIXPathStyle, true);
}

CFBundleRef createBundle(const std::filesystem::path &path) {
    Owned<CFURLRef> url(urlFor(path));
    return CFBundleCreate(nullptr, url);
}

/* The file of the loaded compat library, which serves as a loadable executable. */
std::filesystem::path compatLibraryPath() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void *>(&CFRetain), &info) == 0 || info.dli_fname == nullptr) return {};
    return std::filesystem::canonical(info.dli_fname);
}

/* A bundle folder named Test.driver in a temporary folder, unique per test. */
class BundleFolder {
public:
    explicit BundleFolder(const std::string &executable = "Test") {
        identifier_ = "com.harlune.test." + temp_.path().filename().string();
        temp_.write("Test.driver/Contents/Info.plist", infoPlist(identifier_, executable));
        temp_.write("Test.driver/Contents/Resources/tone.wav", "RIFF");
        temp_.write("Test.driver/Contents/Resources/presets/default.plist", "<dict/>");
    }
    std::filesystem::path path() const { return temp_.path() / "Test.driver"; }
    const std::string &identifier() const { return identifier_; }
    const TempDir &temp() const { return temp_; }

private:
    TempDir temp_;
    std::string identifier_;
};

}  // namespace

TEST(CFBundle, ReadsInfoAndFindsResources) {
    BundleFolder folder;
    Owned<CFBundleRef> bundle(createBundle(folder.path()));
    ASSERT_NE(bundle.get(), nullptr);
    EXPECT_EQ(text(CFBundleGetIdentifier(bundle)), folder.identifier());
    SInt32 channels = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("HarluneChannels"))),
                     kCFNumberSInt32Type, &channels);
    EXPECT_EQ(channels, 2);
    EXPECT_EQ(CFDictionaryGetCount(CFBundleGetInfoDictionary(bundle)), 3);
    Owned<CFURLRef> bundleURL(CFBundleCopyBundleURL(bundle)), expectedURL(urlFor(folder.path()));
    EXPECT_TRUE(CFEqual(bundleURL, expectedURL));

    const std::string resources = (folder.path() / "Contents/Resources").string();
    struct Case {
        const char *name, *type, *subDir;
        std::string expected;  // empty: not found
    } cases[] = {
        {"tone", "wav", nullptr, resources + "/tone.wav"},
        {"tone", ".wav", nullptr, resources + "/tone.wav"},
        {"tone.wav", nullptr, nullptr, resources + "/tone.wav"},
        {"default", "plist", "presets", resources + "/presets/default.plist"},
        {"presets", nullptr, nullptr, resources + "/presets"},
        {"tone", "aiff", nullptr, ""},
        {"missing", nullptr, nullptr, ""},
        {"default", "plist", nullptr, ""},
    };
    for (const Case &c : cases) {
        Owned<CFStringRef> name(cftest::makeString(c.name));
        Owned<CFStringRef> type(c.type ? cftest::makeString(c.type) : nullptr);
        Owned<CFStringRef> subDir(c.subDir ? cftest::makeString(c.subDir) : nullptr);
        Owned<CFURLRef> url(CFBundleCopyResourceURL(bundle, name, type, subDir));
        if (c.expected.empty()) {
            EXPECT_EQ(url.get(), nullptr) << c.name;
            continue;
        }
        ASSERT_NE(url.get(), nullptr) << c.name;
        Owned<CFStringRef> path(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle));
        EXPECT_EQ(text(path), c.expected);
    }
}

TEST(CFBundle, IsSharedPerFolderAndFoundByIdentifier) {
    BundleFolder folder;
    Owned<CFBundleRef> bundle(createBundle(folder.path()));
    ASSERT_NE(bundle.get(), nullptr);
    Owned<CFBundleRef> again(createBundle(folder.path()));
    EXPECT_EQ(again.get(), bundle.get());
    Owned<CFStringRef> identifier(cftest::makeString(folder.identifier()));
    EXPECT_EQ(CFBundleGetBundleWithIdentifier(identifier), bundle.get());
    EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("com.harlune.nobody")), nullptr);
}

TEST(CFBundle, RefusesFoldersThatAreNotBundles) {
    TempDir temp;
    temp.write("NoInfo.driver/Contents/Resources/x", "");
    temp.write("BadInfo.driver/Contents/Info.plist", "<plist><dict><key>a</key></dict></plist>");
    temp.write("ArrayInfo.driver/Contents/Info.plist", "<plist version=\"1.0\"><array/></plist>");
    temp.write("file.driver", "not a folder");
    for (const char *name : {"Missing.driver", "NoInfo.driver", "BadInfo.driver", "ArrayInfo.driver", "file.driver"}) {
        Owned<CFBundleRef> bundle(createBundle(temp.path() / name));
        EXPECT_EQ(bundle.get(), nullptr) << name;
    }
    EXPECT_EQ(CFBundleCreate(nullptr, nullptr), nullptr);
}

TEST(CFBundle, LoadsTheExecutableAndResolvesSymbols) {
    const auto library = compatLibraryPath();
    ASSERT_FALSE(library.empty());
    BundleFolder folder;
    std::filesystem::create_directories(folder.path() / "Contents/Linux");
    std::filesystem::create_symlink(library, folder.path() / "Contents/Linux/Test");
    Owned<CFBundleRef> bundle(createBundle(folder.path()));
    ASSERT_NE(bundle.get(), nullptr);
    Owned<CFURLRef> executable(CFBundleCopyExecutableURL(bundle));
    EXPECT_NE(executable.get(), nullptr);

    EXPECT_FALSE(CFBundleIsExecutableLoaded(bundle));
    // Resolving a symbol loads the executable on demand, as on Apple's platforms.
    void *function = CFBundleGetFunctionPointerForName(bundle, CFSTR("CFStringGetTypeID"));
    EXPECT_EQ(function, reinterpret_cast<void *>(&CFStringGetTypeID));
    EXPECT_TRUE(CFBundleIsExecutableLoaded(bundle));
    EXPECT_TRUE(CFBundleLoadExecutable(bundle));
    EXPECT_EQ(CFBundleGetFunctionPointerForName(bundle, CFSTR("NoSuchFunction")), nullptr);
    EXPECT_NE(CFBundleGetDataPointerForName(bundle, CFSTR("kCFBooleanTrue")), nullptr);

    // A second bundle with the same identifier that is not loaded loses to the loaded one.
    folder.temp().write("Twin.driver/Contents/Info.plist", infoPlist(folder.identifier(), "Test"));
    Owned<CFBundleRef> twin(createBundle(folder.temp().path() / "Twin.driver"));
    ASSERT_NE(twin.get(), nullptr);
    Owned<CFStringRef> identifier(cftest::makeString(folder.identifier()));
    EXPECT_EQ(CFBundleGetBundleWithIdentifier(identifier), bundle.get());

    CFBundleUnloadExecutable(bundle);
    EXPECT_FALSE(CFBundleIsExecutableLoaded(bundle));
}

TEST(CFBundle, ReportsWhyTheExecutableCannotBeLoaded) {
    BundleFolder broken;
    broken.temp().write("Test.driver/Contents/Linux/Test", "this is not a shared object");
    Owned<CFBundleRef> bundle(createBundle(broken.path()));
    ASSERT_NE(bundle.get(), nullptr);
    CFErrorRef error = nullptr;
    EXPECT_FALSE(CFBundleLoadExecutableAndReturnError(bundle, &error));
    ASSERT_NE(error, nullptr);
    Owned<CFStringRef> description(CFErrorCopyDescription(error));
    const std::string executable = (broken.path() / "Contents/Linux/Test").string();
    EXPECT_NE(text(description).find(executable + " could not be loaded: "), std::string::npos) << text(description);
    CFRelease(error);
    EXPECT_FALSE(CFBundleIsExecutableLoaded(bundle));
    EXPECT_EQ(CFBundleGetFunctionPointerForName(bundle, CFSTR("CFRetain")), nullptr);

    BundleFolder missing("Absent");
    Owned<CFBundleRef> noExecutable(createBundle(missing.path()));
    ASSERT_NE(noExecutable.get(), nullptr);
    EXPECT_EQ(CFBundleCopyExecutableURL(noExecutable), nullptr);
    EXPECT_FALSE(CFBundleLoadExecutableAndReturnError(noExecutable, &error));
    ASSERT_NE(error, nullptr);
    description.reset(CFErrorCopyDescription(error));
    EXPECT_NE(text(description).find("Contents/Linux/Absent"), std::string::npos) << text(description);
    CFRelease(error);
}
