// File references: both line readers on every line-end mix, the
// length-prefixed strings byte for byte, and the chunked stoppable
// transfers with their progress reports.
#include "files/LFiles.h"

#include "tests/support/LTempFolder.h"
#include "threads/LProcessInterfaceVoid.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using harlune::test::LTempFolder;

void WriteFile(const std::string& szPath, const std::string& szData) {
    std::ofstream(szPath, std::ios::binary) << szData;
}

std::string ReadFile(const std::string& szPath) {
    std::ifstream in(szPath, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::vector<std::string> FixedLines(const std::string& szPath, unsigned long nSize) {
    LReadFileRef ref;
    EXPECT_TRUE(ref.Open(szPath.c_str()));
    std::vector<std::string> ar;
    std::vector<char> line(nSize);
    while (ref.ReadLine(line.data(), nSize)) ar.emplace_back(line.data());
    return ar;
}

std::vector<std::string> GrowableLines(const std::string& szPath) {
    LReadFileRef ref;
    EXPECT_TRUE(ref.Open(szPath.c_str()));
    std::vector<std::string> ar;
    LStringLongTemplate<char> line;
    while (ref.ReadLine(line)) ar.emplace_back(line.GetBuffer() != nullptr ? line.GetBuffer() : "");
    return ar;
}

TEST(LFileRef, LineEndsReadAlikeInBothReaders) {
    using Lines = std::vector<std::string>;
    const struct {
        std::string szData;
        Lines arLines;
    } kCases[] = {
        {"one\r\ntwo\r\n", {"one", "two"}},
        {"one\n\rtwo\n\r", {"one", "two"}},
        {"one\rtwo\r", {"one", "two"}},
        {"one\ntwo\n", {"one", "two"}},
        {"one\r\ntwo\ntwo-b\rthree", {"one", "two", "two-b", "three"}},
        {"one\n\ntwo", {"one", "", "two"}},
        {"one\r\rtwo", {"one", "", "two"}},
        {"one\r\n\r\ntwo", {"one", "", "two"}},
        {"one\n\r\ntwo", {"one", "", "two"}}, // LF CR is one end, the next LF another
        {"", {}},
        {"\n", {""}},
        {"last without end", {"last without end"}},
    };
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::PrintToString(c.szData));
        WriteFile(tmp / "lines", c.szData);
        EXPECT_EQ(FixedLines(tmp / "lines", 260), c.arLines);
        EXPECT_EQ(GrowableLines(tmp / "lines"), c.arLines);
    }
}

TEST(LFileRef, LongLinesAreCutOnlyInTheFixedReader) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    const std::string szLong(100000, 'L');
    WriteFile(tmp / "long", "0123456789abc\nnext\n" + szLong + "\r\nend");
    EXPECT_EQ(FixedLines(tmp / "long", 10), (std::vector<std::string>{"012345678", "next", "LLLLLLLLL", "end"}));
    EXPECT_EQ(GrowableLines(tmp / "long"), (std::vector<std::string>{"0123456789abc", "next", szLong, "end"}));
}

TEST(LFileRef, ReferenceWithoutFileDoesNothing) {
    LReadFileRef r;
    char sz[8] = "stale";
    EXPECT_FALSE(r.ReadLine(sz, sizeof sz));
    EXPECT_STREQ(sz, "");
    EXPECT_FALSE(r.ReadStringLenUTF8(sz));
    EXPECT_EQ(r.Read(sz, 4), -1);
    LWriteFileRef w;
    EXPECT_TRUE(w.WriteString(""));
    EXPECT_FALSE(w.WriteString("x"));
    EXPECT_FALSE(w.WriteLineLF(""));
    EXPECT_FALSE(r.Open("/nonexistent/harlune/file"));
    EXPECT_FALSE(r.IsOpen());
}

TEST(LFileRef, LengthPrefixedStringsByteForByte) {
    const struct {
        size_t nLength;
        std::string szPrefix;
    } kCases[] = {
        {0, std::string(1, '\0')},
        {1, "\x01"},
        {254, "\xFE"},
        {255, std::string("\xFF\xFF\x00\x00\x00", 5)},
        {300, std::string("\xFF\x2C\x01\x00\x00", 5)},
        {70000, std::string("\xFF\x70\x11\x01\x00", 5)},
    };
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.nLength);
        const std::string szText(c.nLength, 'q');
        {
            LWriteFileRef w;
            ASSERT_TRUE(w.Open((tmp / "strings").c_str()));
            EXPECT_TRUE(w.WriteStringLenUTF8(szText.c_str()));
            EXPECT_TRUE(w.WriteStringLenUTF8("after"));
            EXPECT_TRUE(w.WriteLineCRLF("tail"));
        }
        EXPECT_EQ(ReadFile(tmp / "strings"), c.szPrefix + szText + "\x05" + "after" + "tail\r\n");
        LReadFileRef r;
        ASSERT_TRUE(r.Open((tmp / "strings").c_str()));
        char sz[260];
        EXPECT_TRUE(r.ReadStringLenUTF8(sz));
        EXPECT_EQ(std::string(sz), szText.substr(0, 259));
        EXPECT_TRUE(r.ReadStringLenUTF8(sz));
        EXPECT_STREQ(sz, "after");
        EXPECT_EQ(r.ReadStringUTF8(sz, 4), 4U);
        EXPECT_STREQ(sz, "tail");
    }
}

TEST(LFileRef, DamagedLengthPrefixesEndCleanly) {
    const struct {
        std::string szData;
        std::string szText;
    } kCases[] = {
        {"", ""},
        {"\x05" "ab", "ab"},                          // text shorter than its length
        {"\xFF\x01", ""},                              // long marker cut short
        {std::string("\xFF\xFF\xFF\xFF\xFF", 5) + "xyz", "xyz"}, // 4 GiB claimed, 3 bytes there
    };
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    for (const auto& c : kCases) {
        WriteFile(tmp / "bad", c.szData);
        LReadFileRef r;
        ASSERT_TRUE(r.Open((tmp / "bad").c_str()));
        char sz[260];
        EXPECT_FALSE(r.ReadStringLenUTF8(sz));
        EXPECT_EQ(std::string(sz), c.szText);
        EXPECT_FALSE(r.ReadStringLenUTF8(sz)); // nothing more to read
    }
}

// Records progress reports and stops before the chunk given.
class RecordingProcess : public LProcessInterfaceVoid {
public:
    explicit RecordingProcess(int nStopBefore) : nStopBefore(nStopBefore) {}
    bool IsToStop() override { return nAsked++ == nStopBefore; }
    void SetProgress(double f) override { arProgress.push_back(f); }
    int nStopBefore;
    int nAsked = 0;
    std::vector<double> arProgress;
};

TEST(LFileRef, ChunkedTransfersReportProgressAndStop) {
    const struct {
        unsigned long nSize;
        int nStopBefore;
        int nResult;
        std::vector<double> arProgress;
    } kCases[] = {
        {25000, -1, kLProcessFileDone, {10240.0 / 25000, 20480.0 / 25000, 1.0}},
        {10240, -1, kLProcessFileDone, {1.0}},
        {0, 0, kLProcessFileDone, {}},
        {25000, 0, kLProcessFileStopped, {}},
        {25000, 2, kLProcessFileStopped, {10240.0 / 25000, 20480.0 / 25000}},
    };
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::to_string(c.nSize) + " stop " + std::to_string(c.nStopBefore));
        std::string szData(c.nSize, '\0');
        for (size_t i = 0; i < szData.size(); ++i) szData[i] = static_cast<char>(i * 7 + 3);
        RecordingProcess write(c.nStopBefore);
        {
            LWriteFileRef w;
            ASSERT_TRUE(w.Open((tmp / "block").c_str()));
            EXPECT_EQ(LProcessFileWrite(write, w, szData.data(), c.nSize), c.nResult);
        }
        EXPECT_EQ(write.arProgress, c.arProgress);
        if (c.nResult != kLProcessFileDone) continue;
        EXPECT_EQ(ReadFile(tmp / "block"), szData);
        RecordingProcess read(c.nStopBefore);
        LReadFileRef r;
        ASSERT_TRUE(r.Open((tmp / "block").c_str()));
        std::string szBack(c.nSize, 'x');
        EXPECT_EQ(LProcessFileRead(read, r, szBack.data(), c.nSize), kLProcessFileDone);
        EXPECT_EQ(szBack, szData);
        EXPECT_EQ(read.arProgress, c.arProgress);
    }
    // Asking for more than the file holds ends short.
    RecordingProcess never(-1);
    LReadFileRef r;
    ASSERT_TRUE(r.Open((tmp / "block").c_str()));
    std::string szBig(30000, 'x');
    EXPECT_EQ(LProcessFileRead(never, r, szBig.data(), szBig.size()), kLProcessFileShort);
    LWriteFileRef none;
    EXPECT_EQ(LProcessFileWrite(never, none, szBig.data(), szBig.size()), kLProcessFileShort);
}

} // namespace
