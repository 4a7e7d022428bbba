// Documents in files: the three results of XMLLoadFile with their messages,
// byte-order marks, stop requests, and saving under the file lock.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/LTempFolder.h"
#include "tests/xml/LXMLDump.h"
#include "threads/LProcessInterfaceVoid.h"
#include "xml/LXML.h"

namespace {

using harlune::test::DumpChildren;
using harlune::test::LTempFolder;

void WriteBytes(const std::string& szPath, const std::string& szBytes) {
    std::ofstream out(szPath, std::ios::binary | std::ios::trunc);
    out.write(szBytes.data(), static_cast<std::streamsize>(szBytes.size()));
}

class LStopAt : public LProcessInterfaceVoid {
public:
    explicit LStopAt(int nAnswer) : nStopAt(nAnswer) {}
    bool IsToStop() override { return ++nAsked >= nStopAt; }
    int nStopAt;
    int nAsked = 0;
};

TEST(XMLLoadFile, LoadsEveryEncodingByItsMark) {
    LTempFolder folder;
    const std::string szPath = folder / "doc.xml";
    const struct {
        const char* szName;
        std::string szBytes;
    } kCases[] = {
        {"UTF-8", "<a x=\"\xC3\xA9\">\xE2\x82\xAC</a>"},
        {"UTF-8 with mark", "\xEF\xBB\xBF<a x=\"\xC3\xA9\">\xE2\x82\xAC</a>"},
        {"UTF-16 little-endian", std::string("\xFF\xFE<\0a\0 \0x\0=\0\"\0\xE9\0\"\0>\0\xAC\x20<\0/\0a\0>\0", 30)},
        {"UTF-16 big-endian", std::string("\xFE\xFF\0<\0a\0 \0x\0=\0\"\0\xE9\0\"\0>\x20\xAC\0<\0/\0a\0>", 30)},
    };
    for (const auto& c : kCases) {
        WriteBytes(szPath, c.szBytes);
        LXMLDocument document;
        LProcessInterfaceVoid process;
        char szError[kXMLErrorBufferSize] = "stale";
        EXPECT_EQ(XMLLoadFile(document, process, szPath.c_str(), szError), kXMLLoadFileLoaded) << c.szName;
        EXPECT_STREQ(szError, "") << c.szName;
        EXPECT_EQ(DumpChildren(document), "(a @x=\xC3\xA9 \"\xE2\x82\xAC\")") << c.szName;
    }
}

TEST(XMLLoadFile, FailuresLeaveTheTreeAlone) {
    LTempFolder folder;
    const std::string szMissing = folder / "missing.xml";
    const struct {
        std::string szPath;
        std::string szMessage;
    } kCases[] = {
        {szMissing, "File does not exist: " + szMissing},
        {folder.Path(), "Cannot open xml file: " + folder.Path()},
    };
    for (const auto& c : kCases) {
        LXMLDocument document;
        document.AddElement("kept");
        LProcessInterfaceVoid process;
        char szError[kXMLErrorBufferSize];
        EXPECT_EQ(XMLLoadFile(document, process, c.szPath.c_str(), szError), kXMLLoadFileFailed);
        EXPECT_EQ(std::string(szError), c.szMessage);
        EXPECT_EQ(DumpChildren(document), "(kept)");
    }
}

TEST(XMLLoadFile, ParseErrorsStillLoad) {
    LTempFolder folder;
    const std::string szPath = folder / "broken.xml";
    WriteBytes(szPath, "<a>\r\n<b>1</c>\r\n</a>");
    LXMLDocument document;
    LProcessInterfaceVoid process;
    char szError[kXMLErrorBufferSize];
    EXPECT_EQ(XMLLoadFile(document, process, szPath.c_str(), szError), kXMLLoadFileLoaded);
    EXPECT_STREQ(szError,
                 "Ln 2, Col 9: Element <b> should be terminated with </b>, was with c. Check you have terminated "
                 "your element properly.");
    EXPECT_EQ(DumpChildren(document), "(a \"\\n\" (b \"1\") \"\\n\")");
}

TEST(XMLLoadFile, StopRequestsAtEachStage) {
    LTempFolder folder;
    const std::string szPath = folder / "long.xml";
    std::string szText = "<r>";
    for (int i = 0; i < 2000; ++i) {
        szText += "<item>value</item>";
    }
    WriteBytes(szPath, szText + "</r>");
    // Asked before reading (1), before parsing (2), while parsing (3 on).
    for (int nStopAt = 1; nStopAt <= 4; ++nStopAt) {
        LXMLDocument document;
        LStopAt process(nStopAt);
        char szError[kXMLErrorBufferSize];
        EXPECT_EQ(XMLLoadFile(document, process, szPath.c_str(), szError), kXMLLoadFileStopped) << nStopAt;
        EXPECT_STREQ(szError, "") << nStopAt;
    }
}

TEST(XMLLoadFile, RefusesFilesTooLargeForTheFreeHeap) {
    LTempFolder folder;
    const std::string szPath = folder / "big.xml";
    WriteBytes(szPath, "<a>" + std::string(1 << 20, 'x') + "</a>");
    // In a child: lower the data limit to just above what the process
    // uses, so 20 times the file's megabyte does not fit.
    const pid_t nChild = fork();
    ASSERT_GE(nChild, 0);
    if (nChild == 0) {
        std::ifstream statm("/proc/self/statm");
        unsigned long long nPages = 0;
        statm >> nPages;
        const unsigned long long nUsed = nPages * static_cast<unsigned long long>(sysconf(_SC_PAGESIZE));
        struct rlimit limit;
        getrlimit(RLIMIT_DATA, &limit);
        limit.rlim_cur = nUsed + (4ull << 20);
        if (setrlimit(RLIMIT_DATA, &limit) != 0) {
            _exit(3);
        }
        LXMLDocument document;
        LProcessInterfaceVoid process;
        char szError[kXMLErrorBufferSize];
        const int nResult = XMLLoadFile(document, process, szPath.c_str(), szError);
        const std::string szExpected = "Not enough memory available to load " + szPath;
        _exit(nResult == kXMLLoadFileFailed && szExpected == szError && document.pFirstChild == nullptr ? 0 : 1);
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 0);
}

TEST(XMLSaveFile, WritesTopLevelNodesAndReadsBack) {
    LTempFolder folder;
    const std::string szPath = folder / "SharedSettings.xml";
    LXMLDocument document;
    char szError[kXMLErrorBufferSize];
    ASSERT_TRUE(document.LoadFromText("<?xml version=\"1.0\"?>\n<Settings><Item>5</Item></Settings>\n", szError));
    XMLSaveFile(document, szPath.c_str());

    LXMLDocument reloaded;
    LProcessInterfaceVoid process;
    ASSERT_EQ(XMLLoadFile(reloaded, process, szPath.c_str(), szError), kXMLLoadFileLoaded);
    std::string szSaved;
    reloaded.SaveDocumentToString(szSaved);
    EXPECT_EQ(szSaved, "<?xml version=\"1.0\"?>\n<Settings>\n\t<Item>5</Item>\n</Settings>\n");
    EXPECT_EQ(reloaded.GetRootElement()->GetInt("Item", 0), 5);
}

} // namespace
