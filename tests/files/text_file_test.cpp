// Text files: loaders with and without byte-order marks (against Python's
// decoders and hand-made edge cases), savers and appenders, the encoding
// mark, and lock contention with another process.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "files/LFiles.h"
#include "tests/support/LLengthPrefixed.h"
#include "tests/support/LTempFolder.h"

namespace {

using harlune::test::ReadChunk;

using harlune::test::LTempFolder;

void WriteBytes(const std::string& szPath, const std::string& szBytes) {
    std::ofstream out(szPath, std::ios::binary | std::ios::trunc);
    out.write(szBytes.data(), static_cast<std::streamsize>(szBytes.size()));
}

std::string ReadBytes(const std::string& szPath) {
    std::ifstream in(szPath, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Whether this file system keeps user extended attributes (tmpfs before
// Linux 6.6 does not); the savers' result depends on it.
bool SupportsUserAttributes(const std::string& szFolder) {
    const std::string szProbe = szFolder + "/xattr-probe";
    WriteBytes(szProbe, "");
    const bool bSupported = setxattr(szProbe.c_str(), "user.harlune.probe", "1", 1, 0) == 0;
    unlink(szProbe.c_str());
    return bSupported;
}

using Loader = bool (*)(const char*, LStringLongTemplate<char>&);

struct LoadCase {
    const char* szName;
    Loader pfnLoad;
    std::string szBytes;
    std::string szText;
};

const std::vector<LoadCase>& LoadCases() {
    static const std::vector<LoadCase> kCases = {
        {"auto: little-endian mark", LLoadTextAutoChar, std::string("\xFF\xFE" "a\0b\0", 6), "ab"},
        {"auto: big-endian mark", LLoadTextAutoChar, std::string("\xFE\xFF\0a\0b", 6), "ab"},
        {"auto: UTF-8 mark dropped", LLoadTextAutoChar, "\xEF\xBB\xBFx\xC3\xA9", "x\xC3\xA9"},
        {"auto: one byte", LLoadTextAutoChar, "\xFF", "\xFF"},
        {"auto: two bytes of a UTF-8 mark", LLoadTextAutoChar, "\xEF\xBB", "\xEF\xBB"},
        {"auto: odd UTF-16 length keeps the last byte", LLoadTextAutoChar, std::string("\xFF\xFE" "a\0b", 5), "ab"},
        {"auto: odd big-endian length", LLoadTextAutoChar, std::string("\xFE\xFF\0a\0", 5), "a"},
        {"auto: mark alone", LLoadTextAutoChar, "\xFF\xFE", ""},
        {"auto: no mark", LLoadTextAutoChar, "plain\r\n", "plain\r\n"},
        {"auto: surrogate pair", LLoadTextAutoChar, std::string("\xFF\xFE\x3D\xD8\x00\xDE", 6), "\xF0\x9F\x98\x80"},
        {"auto: zero unit ends the text", LLoadTextAutoChar, std::string("\xFF\xFE" "a\0\0\0b\0", 8), "a"},
        {"plain: bytes as they are", LLoadText, std::string("\xFF\xFE" "a\0", 4), std::string("\xFF\xFE" "a\0", 4)},
        {"plain: empty file", LLoadText, "", ""},
        {"as UTF-8: same as plain", LLoadTextAsUTF8, "\xEF\xBB\xBFx", "\xEF\xBB\xBFx"},
        {"as UTF-16: machine order, odd byte ignored", LLoadTextAsUTF16, std::string("a\0b\0c", 5), "ab"},
        {"as UTF-16: mark is a character", LLoadTextAsUTF16, std::string("\xFF\xFE" "a\0", 4), "\xEF\xBB\xBF" "a"},
        {"unicode: little-endian mark", LLoadTextUnicode, std::string("\xFF\xFE" "a\0", 4), "a"},
        {"unicode: big-endian mark", LLoadTextUnicode, std::string("\xFE\xFF\0a\0b", 6), "ab"},
        {"unicode: big-endian mark alone is a character", LLoadTextUnicode, "\xFE\xFF", "\xEF\xBF\xBE"},
        {"unicode: no mark reads little-endian", LLoadTextUnicode, std::string("a\0", 2), "a"},
        {"unicode: odd last byte ignored", LLoadTextUnicode, std::string("\xFF\xFE" "a\0b", 5), "a"},
        {"shared: bytes without lock", LLoadSharedText, std::string("x\0y", 3), std::string("x\0y", 3)},
    };
    return kCases;
}

TEST(TextFileLoad, EdgeCasesOfEveryLoader) {
    LTempFolder folder;
    const std::string szPath = folder / "case.txt";
    for (const LoadCase& c : LoadCases()) {
        WriteBytes(szPath, c.szBytes);
        LStringLongTemplate<char> text("stale");
        ASSERT_TRUE(c.pfnLoad(szPath.c_str(), text)) << c.szName;
        EXPECT_EQ(std::string(text.Get(), text.GetLength()), c.szText) << c.szName;
    }
}

TEST(TextFileLoad, MissingFileLeavesTheTextAlone) {
    LTempFolder folder;
    const std::string szPath = folder / "missing.txt";
    const Loader arLoaders[] = {LLoadText, LLoadTextAsUTF8, LLoadTextAsUTF16, LLoadTextUnicode,
                                LLoadTextAutoChar, LLoadSharedText, LLoadSharedTextAsUTF8};
    for (Loader pfnLoad : arLoaders) {
        LStringLongTemplate<char> text("kept");
        EXPECT_FALSE(pfnLoad(szPath.c_str(), text));
        EXPECT_STREQ(text.Get(), "kept");
        EXPECT_FALSE(pfnLoad(folder.Path().c_str(), text)) << "a folder is not a text file";
        EXPECT_STREQ(text.Get(), "kept");
    }
}

TEST(TextFileLoad, MarksReadAsPythonsDecodersReadThem) {
    std::ifstream in(HARLUNE_FILES_TEST_DATA "/bom_cases.txt", std::ios::binary);
    LTempFolder folder;
    const std::string szPath = folder / "bom.txt";
    std::string szBytes;
    std::string szExpected;
    int nCases = 0;
    while (ReadChunk(in, szBytes) && ReadChunk(in, szExpected)) {
        ++nCases;
        WriteBytes(szPath, szBytes);
        LStringLongTemplate<char> text;
        ASSERT_TRUE(LLoadTextAutoChar(szPath.c_str(), text));
        EXPECT_EQ(std::string(text.Get(), text.GetLength()), szExpected) << "case " << nCases;
    }
    EXPECT_EQ(nCases, 120) << "bom_cases.txt missing or damaged";
}

TEST(TextFileSave, SaveAppendAndMark) {
    LTempFolder folder;
    const bool bAttributes = SupportsUserAttributes(folder.Path());
    const int nExpected = bAttributes ? 0 : -1;
    const std::string szPath = folder / "saved.txt";

    WriteBytes(szPath, "a much longer previous content");
    EXPECT_EQ(LSaveText(szPath.c_str(), "first"), nExpected);
    EXPECT_EQ(LSaveAppendText(szPath.c_str(), LStringLongTemplate<char>(" second")), nExpected);
    EXPECT_EQ(LSaveAppendTextAsUTF8(szPath.c_str(), " third"), nExpected);
    EXPECT_EQ(ReadBytes(szPath), "first second third");
    if (bAttributes) {
        char szValue[64] = {};
        const ssize_t nValue = getxattr(szPath.c_str(), kLTextEncodingAttributeName, szValue, sizeof(szValue));
        EXPECT_EQ(std::string(szValue, nValue > 0 ? static_cast<size_t>(nValue) : 0), "utf-8;134217984");
    }

    EXPECT_EQ(LSaveTextAsUTF8(szPath.c_str(), LStringLongTemplate<char>()), nExpected);
    EXPECT_EQ(ReadBytes(szPath), "");
    EXPECT_EQ(LSaveText(szPath.c_str(), static_cast<const char*>(nullptr)), nExpected);
    EXPECT_EQ(ReadBytes(szPath), "");

    const std::string szNew = folder / "created.txt";
    EXPECT_EQ(LSaveAppendText(szNew.c_str(), "made"), nExpected);
    EXPECT_EQ(ReadBytes(szNew), "made");

    // A folder that does not exist: nothing can be written or marked.
    EXPECT_EQ(LSaveText((folder / "no/such/file").c_str(), "x"), -1);
}

TEST(TextFileSave, UnicodeWithMark) {
    LTempFolder folder;
    const std::string szPath = folder / "unicode.txt";
    const struct {
        const char* szText;
        std::string szBytes;
    } kCases[] = {
        {"a", std::string("\xFF\xFE" "a\0", 4)},
        {"", "\xFF\xFE"},
        {"\xE2\x82\xAC\xF0\x9F\x98\x80", std::string("\xFF\xFE\xAC\x20\x3D\xD8\x00\xDE", 8)},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(LSaveTextAsUnicodeBOM(szPath.c_str(), LStringLongTemplate<char>(c.szText)), 0);
        EXPECT_EQ(ReadBytes(szPath), c.szBytes) << c.szText;
        LStringLongTemplate<char> text;
        ASSERT_TRUE(LLoadTextAutoChar(szPath.c_str(), text));
        EXPECT_STREQ(text.Get(), c.szText);
    }
}

// Another process holding the file's lock until told to let go.
class LLockHolder {
public:
    LLockHolder(const std::string& szPath, int nOperation) {
        int arReady[2];
        if (pipe(arReady) != 0 || pipe(arRelease) != 0) {
            return;
        }
        nChild = fork();
        if (nChild == 0) {
            // Only the parent may hold the release pipe's write end, or the
            // read below would never see it closed.
            close(arRelease[1]);
            close(arReady[0]);
            const int nFile = open(szPath.c_str(), O_RDONLY);
            const char cReady = nFile >= 0 && flock(nFile, nOperation) == 0 ? 'y' : 'n';
            (void)!write(arReady[1], &cReady, 1);
            char c;
            (void)!read(arRelease[0], &c, 1); // returns when the parent writes or dies
            _exit(0);
        }
        close(arReady[1]);
        close(arRelease[0]);
        char c = 'n';
        bLocked = read(arReady[0], &c, 1) == 1 && c == 'y';
        close(arReady[0]);
    }
    ~LLockHolder() {
        if (nChild > 0) {
            close(arRelease[1]);
            int nStatus;
            waitpid(nChild, &nStatus, 0);
        }
    }
    bool bLocked = false;

private:
    pid_t nChild = -1;
    int arRelease[2] = {-1, -1};
};

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(TextFileLocking, LoadGivesUpAfterItsBoundWhileAnotherProcessWrites) {
    LTempFolder folder;
    const std::string szPath = folder / "busy.txt";
    WriteBytes(szPath, "content");
    LLockHolder holder(szPath, LOCK_EX);
    ASSERT_TRUE(holder.bLocked);

    LStringLongTemplate<char> text("kept");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(LLoadText(szPath.c_str(), text));
    // The allowance is 5000 ms and the last try comes at about 4836 ms; a
    // lower bound only, since a busy machine can only make it later.
    EXPECT_GE(SecondsSince(start), 4.5);
    EXPECT_STREQ(text.Get(), "kept");

    // Reading without a lock still works.
    EXPECT_TRUE(LLoadSharedText(szPath.c_str(), text));
    EXPECT_STREQ(text.Get(), "content");
}

TEST(TextFileLocking, SaveWithoutTheLockWritesNothingAndEmptiesNothing) {
    LTempFolder folder;
    const std::string szPath = folder / "busy.txt";
    WriteBytes(szPath, "held by a reader");
    LLockHolder holder(szPath, LOCK_SH);
    ASSERT_TRUE(holder.bLocked);

    const auto start = std::chrono::steady_clock::now();
    LSaveText(szPath.c_str(), "replacement");
    LSaveAppendText(szPath.c_str(), "appended");
    EXPECT_EQ(LSaveTextAsUnicodeBOM(szPath.c_str(), LStringLongTemplate<char>("x")), -1);
    EXPECT_GE(SecondsSince(start), 3 * 0.45);
    EXPECT_EQ(ReadBytes(szPath), "held by a reader");

    // Readers share the lock with the holder.
    LStringLongTemplate<char> text;
    EXPECT_TRUE(LLoadText(szPath.c_str(), text));
    EXPECT_STREQ(text.Get(), "held by a reader");
}

TEST(TextFileLocking, LockedOpenTruncatesOnlyOnceItHoldsTheLock) {
    LTempFolder folder;
    const std::string szPath = folder / "busy.txt";
    WriteBytes(szPath, "whole");
    {
        LLockHolder holder(szPath, LOCK_SH);
        ASSERT_TRUE(holder.bLocked);
        EXPECT_EQ(LFileOpenLocked(szPath.c_str(), LFileLockedMode::replace, 50), -1);
        EXPECT_EQ(ReadBytes(szPath), "whole");
    }
    const int nFile = LFileOpenLocked(szPath.c_str(), LFileLockedMode::replace, 50);
    ASSERT_GE(nFile, 0);
    EXPECT_EQ(ReadBytes(szPath), "");
    close(nFile);
    EXPECT_EQ(LFileOpenLocked(nullptr, LFileLockedMode::read, 0), -1);
    EXPECT_EQ(LFileOpenLocked("", LFileLockedMode::append, 0), -1);
}

} // namespace
