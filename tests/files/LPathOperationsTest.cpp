// Path operations: the parts of a path against Python's posixpath where the
// two agree, then the cases where this library's rules are its own (both
// separators, leading dots, cutting at 259 characters, relative paths).
#include "files/LFiles.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr size_t kPathBytes = 260;

// Expected values as posixpath.dirname, basename and splitext give them.
struct PosixCase {
    const char* szPath;
    const char* szDirname;
    const char* szBasename;
    const char* szRoot;
    const char* szExtension;
} const kPosixCases[] = {
    {"/a/b/c.txt", "/a/b", "c.txt", "c", ".txt"},
    {"/c.txt", "/", "c.txt", "c", ".txt"},
    {"c.txt", "", "c.txt", "c", ".txt"},
    {"/usr/local/lib/libz.so.1", "/usr/local/lib", "libz.so.1", "libz.so", ".1"},
    {"a/b", "a", "b", "b", ""},
    {"a/b.tar.gz", "a", "b.tar.gz", "b.tar", ".gz"},
    {"/a.b/c", "/a.b", "c", "c", ""},
    {"/a/c.TXT", "/a", "c.TXT", "c", ".TXT"},
    {"dir/file.", "dir", "file.", "file", "."},
    {"/x/y/z", "/x/y", "z", "z", ""},
    {"rel/path/name.ext", "rel/path", "name.ext", "name", ".ext"},
    {"/Users/anna/Documents/report.final.pdf", "/Users/anna/Documents", "report.final.pdf", "report.final", ".pdf"},
    {"n", "", "n", "n", ""},
    {"/a/b/c", "/a/b", "c", "c", ""},
};

TEST(LPathOperations, PartsAgreeWithPosixpath) {
    for (const PosixCase& c : kPosixCases) {
        char szOut[kPathBytes];
        EXPECT_EQ(LFile::_GetFolderFromPath(szOut, c.szPath), strlen(c.szDirname)) << c.szPath;
        EXPECT_STREQ(szOut, c.szDirname) << c.szPath;
        LFile::_GetFileFromPath(szOut, c.szPath);
        EXPECT_STREQ(szOut, c.szBasename) << c.szPath;
        const size_t nCut = LFile::_GetFileNameFromPath(szOut, c.szPath);
        EXPECT_STREQ(szOut, c.szRoot) << c.szPath;
        EXPECT_EQ(nCut, c.szExtension[0] == '\0' ? 0 : strlen(c.szRoot)) << c.szPath;
        LFile::_GetFileExtensionFromPath(szOut, c.szPath);
        EXPECT_STREQ(szOut, c.szExtension) << c.szPath;
        // Replacing the extension by the one it had gives the path back.
        LFile::_ApplyNewFileExtension(szOut, c.szPath, c.szExtension);
        EXPECT_STREQ(szOut, c.szPath) << c.szPath;
    }
}

struct PartsCase {
    const char* szPath;
    const char* szFolder;
    const char* szFile;
    const char* szName;
    const char* szExtension;
};

TEST(LPathOperations, PartsWithBothSeparatorsAndLeadingDots) {
    const PartsCase arCases[] = {
        {"C:\\work\\song.wav", "C:\\work", "song.wav", "song", ".wav"},
        {"/a\\b/c.d", "/a\\b", "c.d", "c", ".d"},
        {"\\c.txt", "", "c.txt", "c", ".txt"},
        {"/a/.profile", "/a", ".profile", ".profile", ".profile"},
        {".profile", "", ".profile", ".profile", ".profile"},
        {"/a/b/", "/a/b", "", "", ""},
        {"/", "/", "", "", ""},
        {"", "", "", "", ""},
        {"a.b\\c", "a.b", "c", "c", ""},
        {"..", "", "..", ".", "."},
    };
    for (const PartsCase& c : arCases) {
        char szOut[kPathBytes];
        LFile::_GetFolderFromPath(szOut, c.szPath);
        EXPECT_STREQ(szOut, c.szFolder) << c.szPath;
        LFile::_GetFileFromPath(szOut, c.szPath);
        EXPECT_STREQ(szOut, c.szFile) << c.szPath;
        LFile::_GetFileNameFromPath(szOut, c.szPath);
        EXPECT_STREQ(szOut, c.szName) << c.szPath;
        LFile::_GetFileExtensionFromPath(szOut, c.szPath);
        EXPECT_STREQ(szOut, c.szExtension) << c.szPath;
    }
}

TEST(LPathOperations, NewExtensions) {
    struct Case {
        const char* szPath;
        const char* szExtension;
        const char* szExpected;
    } arCases[] = {
        {"/a/c.txt", ".wav", "/a/c.wav"},
        {"/a.b/c", ".wav", "/a.b/c.wav"},
        {"c.tar.gz", ".zip", "c.tar.zip"},
        {".profile", ".bak", ".profile.bak"},
        {"/a/.profile", ".bak", "/a/.bak"},
        {"C:\\x.y\\z", ".wav", "C:\\x.y\\z.wav"},
        {"/a/c.txt", "", "/a/c"},
        {"/a/c.txt", nullptr, "/a/c"},
        {"", ".wav", ".wav"},
        {nullptr, ".wav", ".wav"},
    };
    for (const Case& c : arCases) {
        char szOut[kPathBytes];
        LFile::_ApplyNewFileExtension(szOut, c.szPath, c.szExtension);
        EXPECT_STREQ(szOut, c.szExpected) << (c.szPath ? c.szPath : "(null)");
    }
}

TEST(LPathOperations, BaseFolders) {
    struct Case {
        const char* szPath;
        const char* szBase;
    } arCases[] = {
        {"/Users/anna/file", "/Users"}, {"abc", "abc"},     {"/", "/"},     {"", ""},
        {"a/b/c", "a/b"},               {"ab/c", "ab"},     {"//x/y", "//x"}, {"C:\\work\\x", "C:"},
        {"/a", "/a"},                   {"/ab/", "/ab"},    {"//", "/"},
    };
    for (const Case& c : arCases) {
        char szOut[kPathBytes];
        EXPECT_EQ(LFile::_GetBaseFolderFromPath(szOut, c.szPath), strlen(c.szBase)) << c.szPath;
        EXPECT_STREQ(szOut, c.szBase) << c.szPath;
    }
}

TEST(LPathOperations, RelativePaths) {
    struct Case {
        const char* szBase;
        const char* szPath;
        bool bInside;
        const char* szRelative;
    } arCases[] = {
        // The first four agree with posixpath.relpath.
        {"/a/b", "/a/b/c/d", true, "c/d"},
        {"/a", "/a/x/y.txt", true, "x/y.txt"},
        {"/usr/local", "/usr/local/share/doc", true, "share/doc"},
        {"/", "/etc/passwd", true, "etc/passwd"},
        {"/a/b/", "/a/b/c", true, "c"},
        {"/a/b", "/a/b", true, ""},
        {"/a/b", "/a/bc", false, ""},
        {"/A", "/a/x", false, ""},
        {"/a/b", "/a", false, ""},
        {"/a/b/", "/a/b", false, ""},
        {"C:\\a", "C:/a\\b", true, "b"},
        {"/a/b", "/a\\b\\c", true, "c"},
        {"/a\\b", "/a/b/c", true, "c"},
        {"", "/x", true, "x"},
        {"/a", "/a//b", true, "/b"},
        {nullptr, "/a", false, ""},
        {"/a", nullptr, false, ""},
    };
    for (const Case& c : arCases) {
        char szOut[kPathBytes] = "garbage";
        EXPECT_EQ(LFile::GetRelativePathFromAbsolutePath(szOut, c.szBase, c.szPath), c.bInside)
            << (c.szBase ? c.szBase : "(null)") << " / " << (c.szPath ? c.szPath : "(null)");
        EXPECT_STREQ(szOut, c.szRelative);
    }
}

TEST(LPathOperations, LongPathsAreCutAt259Characters) {
    const std::string szLongName(400, 'n');
    const std::string szLongPath = "/folder/" + szLongName + ".ext";
    char szOut[kPathBytes + 8];
    memset(szOut, 'Z', sizeof(szOut));

    LFile::_GetFileFromPath(szOut, szLongPath.c_str());
    EXPECT_EQ(strlen(szOut), 259u);
    EXPECT_EQ(szOut[kPathBytes], 'Z');

    LFile::_GetFolderFromPath(szOut, ("/" + szLongName + "/x").c_str());
    EXPECT_STREQ(szOut, "/") << "the last separator lies beyond the first 260 characters";
    const std::string szFolder259 = "/" + std::string(258, 'f');
    EXPECT_EQ(LFile::_GetFolderFromPath(szOut, (szFolder259 + "/x").c_str()), 259u);
    EXPECT_EQ(szOut, szFolder259);

    LFile::_ApplyNewFileExtension(szOut, std::string(257, 'p').c_str(), ".wav");
    EXPECT_EQ(std::string(szOut), std::string(257, 'p') + ".w");
    LFile::_ApplyNewFileExtension(szOut, szLongPath.c_str(), ".wav");
    EXPECT_EQ(strlen(szOut), 259u) << "the dot was cut off, so the extension is appended to nothing";

    LFile::_GetBaseFolderFromPath(szOut, szLongName.c_str());
    EXPECT_EQ(strlen(szOut), 259u);
    EXPECT_TRUE(LFile::GetRelativePathFromAbsolutePath(szOut, "/folder", szLongPath.c_str()));
    EXPECT_EQ(strlen(szOut), 259u);
    EXPECT_EQ(szOut[kPathBytes], 'Z');
}

TEST(LPathOperations, NullBuffersWriteNothing) {
    EXPECT_EQ(LFile::_GetFolderFromPath(nullptr, "/a/b"), 0u);
    EXPECT_EQ(LFile::_GetFileNameFromPath(nullptr, "/a/b.c"), 0u);
    EXPECT_EQ(LFile::_GetBaseFolderFromPath(nullptr, "/a/b"), 0u);
    EXPECT_FALSE(LFile::GetRelativePathFromAbsolutePath(nullptr, "/a", "/a/b"));
    LFile::_GetFileFromPath(nullptr, "/a");
    LFile::_GetFileExtensionFromPath(nullptr, "/a.b");
    LFile::_ApplyNewFileExtension(nullptr, "/a", ".b");
}

TEST(LPathOperations, LettersAndNumbersAreAsciiOnly) {
    for (int c = -128; c < 128; ++c) {
        const bool bExpected = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        EXPECT_EQ(LFileIsLetterOrNumber(static_cast<char>(c)), bExpected) << c;
    }
}

} // namespace
