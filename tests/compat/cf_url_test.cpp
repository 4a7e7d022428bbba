// File URLs: encoding, normalisation and path manipulation.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <filesystem>

using cftest::Owned;
using cftest::text;

namespace {

CFURLRef urlForPath(const std::string &path, bool isDirectory) {
    Owned<CFStringRef> string(cftest::makeString(path));
    return CFURLCreateWithFileSystemPath(nullptr, string, kCFURLPOSIXPathStyle, isDirectory);
}

}  // namespace

TEST(CFURL, EncodesPathsAndDecodesThemBack) {
    struct Case {
        const char *path;
        bool isDirectory;
        const char *url, *pathBack, *last;
    } cases[] = {
        {"/tmp/file.wav", false, "file:///tmp/file.wav", "/tmp/file.wav", "file.wav"},
        {"/tmp/dir", true, "file:///tmp/dir/", "/tmp/dir", "dir"},
        {"/tmp/dir/", false, "file:///tmp/dir", "/tmp/dir", "dir"},
        {"/", false, "file:///", "/", "/"},
        {"//tmp///x", false, "file:///tmp/x", "/tmp/x", "x"},
        {"/a b/c#d?e", false, "file:///a%20b/c%23d%3Fe", "/a b/c#d?e", "c#d?e"},
        {"/100%/caf\xC3\xA9", false, "file:///100%25/caf%C3%A9", "/100%/caf\xC3\xA9", "caf\xC3\xA9"},
    };
    for (const Case &c : cases) {
        Owned<CFURLRef> url(urlForPath(c.path, c.isDirectory));
        ASSERT_NE(url.get(), nullptr) << c.path;
        EXPECT_EQ(text(CFURLGetString(url)), c.url) << c.path;
        Owned<CFStringRef> path(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle));
        EXPECT_EQ(text(path), c.pathBack) << c.path;
        Owned<CFStringRef> last(CFURLCopyLastPathComponent(url));
        EXPECT_EQ(text(last), c.last) << c.path;
        // The URL text parses back to an equal URL.
        Owned<CFURLRef> parsed(CFURLCreateWithString(nullptr, CFURLGetString(url), nullptr));
        EXPECT_TRUE(CFEqual(parsed, url)) << c.path;
    }
}

TEST(CFURL, RejectsWhatIsNotALocalFileURL) {
    const char *rejected[] = {"http://example.com/x", "file://otherhost/x", "file:///bad%2", "file:///bad%zz",
                              "file:", "relative/path"};
    for (const char *text : rejected) {
        Owned<CFStringRef> string(cftest::makeString(text));
        EXPECT_EQ(CFURLCreateWithString(nullptr, string, nullptr), nullptr) << text;
    }
    Owned<CFURLRef> localhost(CFURLCreateWithString(nullptr, CFSTR("file://localhost/tmp/"), nullptr));
    ASSERT_NE(localhost.get(), nullptr);
    EXPECT_TRUE(CFURLHasDirectoryPath(localhost));
    EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, CFSTR("/x"), kCFURLWindowsPathStyle, false), nullptr);
    EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, CFSTR(""), kCFURLPOSIXPathStyle, false), nullptr);
}

TEST(CFURL, ResolvesRelativePathsAgainstTheCurrentDirectory) {
    Owned<CFURLRef> url(urlForPath("sub/file", false));
    Owned<CFStringRef> path(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle));
    EXPECT_EQ(text(path), (std::filesystem::current_path() / "sub/file").string());
}

TEST(CFURL, AppendsAndRemovesComponents) {
    Owned<CFURLRef> base(urlForPath("/Library/Audio", true));
    Owned<CFURLRef> bundle(CFURLCreateCopyAppendingPathComponent(nullptr, base, CFSTR("Harlune.driver"), true));
    EXPECT_EQ(text(CFURLGetString(bundle)), "file:///Library/Audio/Harlune.driver/");
    Owned<CFStringRef> extension(CFURLCopyPathExtension(bundle));
    EXPECT_EQ(text(extension), "driver");
    Owned<CFURLRef> parent(CFURLCreateCopyDeletingLastPathComponent(nullptr, bundle));
    EXPECT_TRUE(CFEqual(parent, base));
    Owned<CFURLRef> root(urlForPath("/", true));
    Owned<CFURLRef> top(CFURLCreateCopyAppendingPathComponent(nullptr, root, CFSTR("etc"), false));
    EXPECT_EQ(text(CFURLGetString(top)), "file:///etc");
    Owned<CFURLRef> hidden(urlForPath("/home/.profile", false));
    EXPECT_EQ(CFURLCopyPathExtension(hidden), nullptr);

    UInt8 buffer[32];
    ASSERT_TRUE(CFURLGetFileSystemRepresentation(bundle, true, buffer, sizeof buffer));
    EXPECT_STREQ(reinterpret_cast<char *>(buffer), "/Library/Audio/Harlune.driver");
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(bundle, true, buffer, 29));  // no room for the NUL
    Owned<CFURLRef> fromBytes(CFURLCreateFromFileSystemRepresentation(nullptr, buffer, 29, true));
    EXPECT_TRUE(CFEqual(fromBytes, bundle));
}
