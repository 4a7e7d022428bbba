// LTempFolder.h: a private temporary folder for one test, removed with
// everything in it when the test ends. Made under HARLUNE_TEST_TMP when the
// test runner sets it (./run test does), else under TMPDIR or /tmp.
#ifndef HARLUNE_TESTS_LTEMPFOLDER_H
#define HARLUNE_TESTS_LTEMPFOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

namespace harlune::test {

class LTempFolder {
public:
    LTempFolder() {
        const char* szBase = std::getenv("HARLUNE_TEST_TMP");
        if (szBase == nullptr || szBase[0] == '\0') {
            szBase = std::getenv("TMPDIR");
        }
        std::string szTemplate = std::string(szBase != nullptr && szBase[0] != '\0' ? szBase : "/tmp") +
                                 "/harlune-case.XXXXXX";
        if (mkdtemp(szTemplate.data()) != nullptr) {
            m_szPath = szTemplate;
        }
    }
    ~LTempFolder() {
        if (!m_szPath.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(m_szPath, ec);
        }
    }
    LTempFolder(const LTempFolder&) = delete;
    LTempFolder& operator=(const LTempFolder&) = delete;

    const std::string& Path() const { return m_szPath; }
    std::string operator/(const std::string& szName) const { return m_szPath + "/" + szName; }

private:
    std::string m_szPath; // empty when the folder could not be made
};

} // namespace harlune::test

#endif
