// File and folder name checks with the messages people see, cleaning typed
// names, shell escaping, unique names, shortened paths, byte counts and
// MIME types.
#include "files/LFiles.h"

#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace {

constexpr size_t kBuf = 260;

struct NameCase {
    std::string szName;
    int nCode;
    const char* szMessage; // "" when valid
};

TEST(LFileNames, FileNameCodesAndMessages) {
    const NameCase kCases[] = {
        {"report.txt", 0, ""},
        {"ends with period.", 0, ""},
        {"ends with space ", 0, ""},
        {"Grüße ☃.wav", 0, ""},
        {"", 1, "File name is blank. Please provide a file name."},
        {std::string(259, 'a'), 0, ""},
        {std::string(260, 'a'), 2, "File name may not be more than 260 characters long"},
        {".hidden", 4, "File name may not start with a period"},
        {".a:b", 4, "File name may not start with a period"},
        {"tab\there", 5, "File name may not contain control characters"},
        {"a\x1f", 5, "File name may not contain control characters"},
        {"a\x7f", 0, ""},
        {"a:b", 6, "File name may not contain characters : / \\"},
        {"a/b", 6, "File name may not contain characters : / \\"},
        {"a\\b", 6, "File name may not contain characters : / \\"},
        {"a:\tb", 6, "File name may not contain characters : / \\"}, // first offender decides
        {"a\t:b", 5, "File name may not contain control characters"},
    };
    for (const NameCase& c : kCases) {
        SCOPED_TRACE(c.szName);
        EXPECT_EQ(LFileOrFolderNameValidate(c.szName.c_str()), c.nCode);
        EXPECT_FALSE(LFileNameIsReserved(c.szName.c_str()));
        char szMessage[kBuf] = "stale";
        EXPECT_EQ(LFile::IsFileValid(c.szName.c_str(), szMessage), c.nCode == 0);
        EXPECT_STREQ(szMessage, c.szMessage);
        EXPECT_EQ(LFile::IsFileValid(c.szName.c_str(), nullptr), c.nCode == 0);
    }
    EXPECT_EQ(LFileOrFolderNameValidate(nullptr), 1);
}

TEST(LFileNames, FolderMessages) {
    const struct {
        std::string szPath;
        bool bValid;
        const char* szMessage;
    } kCases[] = {
        {"/", true, ""},
        {"/Users/x/", true, ""},
        {"/Users/x", true, ""},
        {"/Users\\x", true, ""},
        {"/Users/x.", true, ""},
        {"", false, "Folder must not be empty"},
        {"Users", false, "Folder must begin with /"},
        {"\\Users", false, "Folder must begin with /"},
        {"/" + std::string(258, 'a'), true, ""},
        {"/" + std::string(259, 'a'), false, "Folder must be less than 260 character long"},
        {"/Users//x", false, "Folder name must not be empty"},
        {"//", false, "Folder name must not be empty"},
        {"/Users/x//", false, "Folder name must not be empty"},
        {"/Users/.x", false, "Folder name must not start with a period"},
        {"/Users/a\tb/c", false, "Folder name must not contain control characters"},
        {"/Users/a:b", false, "Folder component must not contain character :"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szPath);
        char szMessage[kBuf] = "stale";
        EXPECT_EQ(LFile::IsFolderValid(c.szPath.c_str(), szMessage), c.bValid);
        EXPECT_STREQ(szMessage, c.szMessage);
    }
    EXPECT_FALSE(LFile::IsFolderValid(nullptr, nullptr));
}

TEST(LFileNames, PreprocessName) {
    const struct {
        std::string szTyped;
        std::string szName;
        bool bKept;
    } kCases[] = {
        {"..re:port", "report", true},
        {"...", "", false},
        {"", "", false},
        {"\t.a/b\\c.d.", "abc.d.", true},
        {". .x", " .x", true},
        {"Grüße", "Grüße", true},
        {std::string(300, 'x'), std::string(259, 'x'), true},
        // A two-byte character straddling the 259-byte limit is left out whole.
        {std::string(258, 'x') + "é", std::string(258, 'x'), true},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szTyped);
        char szName[kBuf];
        EXPECT_EQ(LFile::PreprocessName(c.szTyped.c_str(), szName), c.bKept);
        EXPECT_EQ(std::string(szName), c.szName);
    }
}

TEST(LFileNames, EscapeFilePath) {
    const struct {
        std::string szPath;
        std::string szEscaped;
    } kCases[] = {
        {"/a/\"b`.txt", "/a/\\\"b\\`.txt"},
        {"plain", "plain"},
        {"", ""},
        {std::string(258, 'a') + "\"b", std::string(258, 'a')},
        {std::string(257, 'a') + "\"b", std::string(257, 'a') + "\\\""},
        {std::string(300, 'a'), std::string(259, 'a')},
    };
    for (const auto& c : kCases) {
        char szOut[kBuf];
        EXPECT_EQ(LFile::EscapeFilePath(c.szPath.c_str(), szOut), c.szEscaped.size());
        EXPECT_EQ(std::string(szOut), c.szEscaped);
    }
    // A quote and a backtick each add one character.
    char szOut[kBuf];
    EXPECT_EQ(LFile::EscapeFilePath("/x/\"y`", szOut), strlen("/x/\"y`") + 2);
}

TEST(LFileNames, MakeUniqueOrderedFilePathCountsFromZero) {
    harlune::test::LTempFolder folder;
    ASSERT_FALSE(folder.Path().empty());
    char szOut[kBuf];
    const std::string kExpected[] = {"take.wav", "take_0.wav", "take_1.wav", "take_2.wav"};
    for (const std::string& szName : kExpected) {
        LFile::MakeUniqueOrderedFilePath(szOut, folder.Path().c_str(), "take", ".wav");
        EXPECT_EQ(std::string(szOut), folder / szName);
        std::ofstream(szOut) << "x";
    }
}

TEST(LFileNames, MakeUniqueOrderedFilePathStopsWhenCutCandidatesRepeat) {
    harlune::test::LTempFolder folder;
    ASSERT_FALSE(folder.Path().empty());
    // A name so long that the counter falls past the 259th character.
    const std::string szName(259 - folder.Path().size() - 1, 'n');
    char szOut[kBuf];
    LFile::MakeUniqueOrderedFilePath(szOut, folder.Path().c_str(), szName.c_str(), "");
    std::ofstream(szOut) << "x";
    LFile::MakeUniqueOrderedFilePath(szOut, folder.Path().c_str(), szName.c_str(), "");
    EXPECT_EQ(std::string(szOut), folder / szName);
}

TEST(LFileNames, CompactFilePath) {
    const struct {
        const char* szPath;
        unsigned long n;
        const char* szCompact;
    } kCases[] = {
        {"/abcdefghijklmnopqrs", 10, "/ab...pqrs"}, // 20 characters: 3, "...", 4
        {"/abcdefghijklmnopqrs", 11, "/abc...pqrs"},
        {"/abcdefghijklmnopqrs", 20, "/abcdefg...klmnopqrs"},
        {"/abcdefghijklmnopqrs", 21, "/abcdefghijklmnopqrs"},
        {"/abcdefghijklmnopqrs", 5, "/...s"},
        {"/abcdefghijklmnopqrs", 4, "..."},
        {"/abcdefghijklmnopqrs", 2, "."},
        {"/abcdefghijklmnopqrs", 1, ""},
        {"ab", 3, "ab"},
        {"/äöüßéèñç/x", 8, "/ä...ç/x"},   // counted in characters, not bytes
        {"/☃☃☃☃☃☃☃☃☃☃", 6, "/...☃☃"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(c.szPath) + " " + std::to_string(c.n));
        char szOut[kBuf] = "";
        LFile::CompactFilePath(szOut, c.szPath, c.n);
        EXPECT_STREQ(szOut, c.szCompact);
    }
}

TEST(LFileNames, SizesAgreeWithFormula) {
    // Expected values computed by the formula in Python; the 1.50 rows also
    // agree with numfmt --to=iec-i (1.5Ki, 1.5Mi, 1.5Gi) in value.
    const struct {
        unsigned long long nBytes;
        const char* szWhole;
        const char* szExact;
    } kCases[] = {
        {0ULL, "0 Bytes", "0 Bytes"},
        {1ULL, "1 Bytes", "1 Bytes"},
        {1023ULL, "1023 Bytes", "1023 Bytes"},
        {1024ULL, "1 KB", "1 KB"},
        {1536ULL, "1 KB", "1 KB"},
        {1048575ULL, "1023 KB", "1023 KB"},
        {1048576ULL, "1 MB", "1.00 MB"},
        {1572864ULL, "1 MB", "1.50 MB"},
        {1073741823ULL, "1023 MB", "1024.00 MB"},
        {1073741824ULL, "1 GB", "1.00 GB"},
        {1610612736ULL, "1 GB", "1.50 GB"},
        {5492165909ULL, "5 GB", "5.11 GB"},
        {1099511627775ULL, "1023 GB", "1024.00 GB"},
        {1099511627776ULL, "1 TB", "1.00 TB"},
        {3848290697216ULL, "3 TB", "3.50 TB"},
        {18446744073709551615ULL, "16777215 TB", "16777216.00 TB"},
    };
    for (const auto& c : kCases) {
        char szOut[32];
        LFile::GetSizeFormattedBytes(c.nBytes, szOut);
        EXPECT_STREQ(szOut, c.szWhole) << c.nBytes;
        LFile::GetExactSizeFormattedBytes(c.nBytes, szOut);
        EXPECT_STREQ(szOut, c.szExact) << c.nBytes;
    }
}

TEST(LFileNames, MimeTypes) {
    const struct {
        const char* szExtension;
        const char* szType;
    } kCases[] = {
        {".txt", "text/plain"},   {".PDF", "application/pdf"}, {".jpeg", "image/jpeg"},
        {".JPG", "image/jpg"},    {".bmp", "image/bmp"},       {".gif", "image/gif"},
        {".png", "image/png"},    {".mid", "audio/mid"},       {".MIDI", "audio/mid"},
        {".mp3", "audio/mpeg"},   {".wav", "audio/vnd.wav"},   {".mp4", "video/mp4"},
        {".jpe", "application/octet-stream"}, {"txt", "application/octet-stream"},
        {"", "application/octet-stream"},     {nullptr, "application/octet-stream"},
    };
    for (const auto& c : kCases) {
        EXPECT_STREQ(LFile::GetMimeTypeFromFileExtension(c.szExtension), c.szType);
    }
}

} // namespace
