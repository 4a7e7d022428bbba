// Buffered reading replayed against a plain model of a file (a string and a
// position, as unbuffered reads see the file) on random sequences of reads,
// peeks, line reads and seeks; then the cases where the buffer's workings
// show: direct reads, CR LF across a refill, telling while read ahead.
#include "files/LFiles.h"

#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <string>

namespace {

using harlune::test::LTempFolder;

class OpenFile {
public:
    OpenFile(const std::string& szPath, const std::string& szData) {
        std::ofstream(szPath, std::ios::binary) << szData;
        nFile = open(szPath.c_str(), O_RDONLY | O_CLOEXEC);
    }
    ~OpenFile() {
        if (nFile >= 0) close(nFile);
    }
    int nFile;
};

// What unbuffered reads of the file give.
struct Model {
    std::string szData;
    size_t nPos = 0;
    std::string Read(size_t n) {
        const std::string s = nPos < szData.size() ? szData.substr(nPos, n) : "";
        nPos += s.size();
        return s;
    }
    std::string Peek(size_t n) const { return nPos < szData.size() ? szData.substr(nPos, n) : ""; }
    bool ReadLine(std::string& szLine, size_t nSize) {
        szLine.clear();
        bool bAny = false;
        while (nPos < szData.size()) {
            const char c = szData[nPos++];
            if (c == '\n' || c == '\r') {
                if (c == '\r' && nPos < szData.size() && szData[nPos] == '\n') ++nPos;
                return true;
            }
            bAny = true;
            if (szLine.size() + 1 < nSize) szLine += c;
        }
        return bAny;
    }
};

TEST(LReadFileBuffered, RandomOperationsAgreeWithUnbufferedReads) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    std::mt19937 rng(20261123);
    for (int nRound = 0; nRound < 20; ++nRound) {
        Model model;
        const size_t nBytes = 1 + rng() % 40000;
        const char kAlphabet[] = "abc\r\n\r\nxyz 0123";
        for (size_t i = 0; i < nBytes; ++i) model.szData += kAlphabet[rng() % (sizeof kAlphabet - 1)];
        OpenFile file(tmp / "data", model.szData);
        ASSERT_GE(file.nFile, 0);
        LReadFileBuffered reader(file.nFile);
        EXPECT_EQ(reader.GetFileSizeBytes64(), nBytes);
        const unsigned long kSizes[] = {1, 2, 4, 8, 3, 256, 257, 300, 8191, 8192, 9000, 20000};
        for (int nOp = 0; nOp < 400; ++nOp) {
            SCOPED_TRACE("round " + std::to_string(nRound) + " op " + std::to_string(nOp));
            const unsigned long nSize = kSizes[rng() % std::size(kSizes)];
            std::string szGot(nSize, '\0');
            switch (rng() % 6) {
            case 0: {
                szGot.resize(reader.Read(szGot.data(), nSize));
                ASSERT_EQ(szGot, model.Read(nSize));
                break;
            }
            case 1: {
                szGot.resize(reader.Peek(szGot.data(), nSize));
                ASSERT_EQ(szGot, model.Peek(nSize));
                break;
            }
            case 2: {
                std::string szExpected;
                char szLine[64];
                const unsigned long nLine = 1 + rng() % 64;
                const bool bExpected = model.ReadLine(szExpected, nLine);
                ASSERT_EQ(reader.ReadLine(szLine, nLine), bExpected);
                ASSERT_EQ(std::string(szLine), szExpected);
                break;
            }
            case 3: {
                const size_t nTo = rng() % (nBytes + 10);
                ASSERT_TRUE(rng() % 2 ? reader.Seek64(nTo) : reader.Seek(static_cast<unsigned>(nTo)));
                model.nPos = nTo;
                break;
            }
            case 4: {
                const long long nBy = static_cast<long long>(rng() % 600) - 300;
                if (static_cast<long long>(model.nPos) + nBy < 0) break;
                ASSERT_TRUE(reader.SeekOffset64(nBy));
                model.nPos = static_cast<size_t>(static_cast<long long>(model.nPos) + nBy);
                break;
            }
            default: break;
            }
            ASSERT_EQ(reader.Tell64(), model.nPos);
        }
    }
}

TEST(LReadFileBuffered, BufferWorkingsShowThroughTheDescriptor) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    std::string szData(20000, '\0');
    for (size_t i = 0; i < szData.size(); ++i) szData[i] = static_cast<char>('a' + i % 26);
    const struct {
        unsigned long nRead;
        off_t nDescriptor; // where the descriptor stands afterwards
    } kCases[] = {
        {10, 8192},   // read ahead a whole buffer
        {256, 8192},  // small enough to go through the buffer
        {257, 257},   // read straight into the caller's memory
        {300, 300},
        {8192, 8192},
    };
    for (const auto& c : kCases) {
        OpenFile file(tmp / "data", szData);
        LReadFileBuffered reader(file.nFile);
        std::string szGot(c.nRead, '\0');
        EXPECT_EQ(reader.Read(szGot.data(), c.nRead), c.nRead);
        EXPECT_EQ(szGot, szData.substr(0, c.nRead));
        EXPECT_EQ(lseek(file.nFile, 0, SEEK_CUR), c.nDescriptor) << c.nRead;
        EXPECT_EQ(reader.Tell64(), c.nRead);
    }
    // Peek then Read deliver the same bytes; SeekOffset64(-1) repeats a byte.
    OpenFile file(tmp / "data", szData);
    LReadFileBuffered reader(file.nFile);
    char arPeek[4], arRead[4], arFive[5], cAgain;
    EXPECT_EQ(reader.Peek(arPeek, 4), 4U);
    EXPECT_EQ(reader.Read(arRead, 4), 4U);
    EXPECT_EQ(std::string(arPeek, 4), std::string(arRead, 4));
    EXPECT_TRUE(reader.Seek(0));
    EXPECT_EQ(reader.Read(arFive, 5), 5U);
    EXPECT_TRUE(reader.SeekOffset64(-1));
    EXPECT_EQ(reader.Read(&cAgain, 1), 1U);
    EXPECT_EQ(cAgain, arFive[4]);
}

TEST(LReadFileBuffered, LineEndsIncludingAcrossARefill) {
    const std::string szBefore(8191, 'p'); // the CR falls on the buffer's last byte
    const struct {
        std::string szData;
        std::vector<std::string> arLines;
    } kCases[] = {
        {"a\r\nb\rc\nd", {"a", "b", "c", "d"}},
        {"a\n\rb", {"a", "", "b"}}, // LF CR is two line ends here
        {"a\n\n", {"a", ""}},
        {szBefore + "\r\nnext", {szBefore, "next"}},
        {szBefore + "\r" + "\r\n", {szBefore, ""}},
        {"", {}},
    };
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    for (const auto& c : kCases) {
        OpenFile file(tmp / "lines", c.szData);
        LReadFileBuffered reader(file.nFile);
        std::vector<std::string> arLines;
        std::string szLine(10000, '\0');
        while (reader.ReadLine(szLine.data(), szLine.size())) arLines.emplace_back(szLine.c_str());
        EXPECT_EQ(arLines, c.arLines) << c.szData.size();
    }
    LReadFileBuffered none;
    char sz[4];
    EXPECT_EQ(none.Read(sz, 4), 0U);
    EXPECT_FALSE(none.ReadLine(sz, 4));
    EXPECT_EQ(none.Tell64(), 0U);
    EXPECT_EQ(none.GetFileSizeBytes64(), 0U);
}

} // namespace
