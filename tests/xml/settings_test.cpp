// Settings: the password cipher against an independent Blowfish, the exact
// bytes of a shared settings file, two processes changing one file, and user
// settings written by one process and read by another.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/LLengthPrefixed.h"
#include "tests/support/LTempFolder.h"
#include "threads/LProcessInterfaceVoid.h"
#include "xml/LSettingCipher.h"
#include "xml/LSettings.h"
#include "xml/LUserSettings.h"
#include "xml/LXML.h"

namespace {

using harlune::test::ReadChunk;

using harlune::test::LTempFolder;

TEST(SettingCipher, MatchesAnIndependentBlowfish) {
    std::ifstream in(HARLUNE_XML_TEST_DATA "/setting_cipher_vectors.txt", std::ios::binary);
    std::string szText;
    std::string szForm;
    int nVectors = 0;
    while (ReadChunk(in, szText) && ReadChunk(in, szForm)) {
        ++nVectors;
        LStringLongTemplate<char> encoded;
        LSettingEncrypt(encoded, szText.c_str());
        EXPECT_EQ(std::string(encoded.Get()), szForm) << szText;

        LStringLongTemplate<char> decoded(szForm.c_str());
        LSettingDecrypt(decoded);
        EXPECT_EQ(std::string(decoded.Get()), szText);
        std::string szInPlace = szForm;
        LSettingDecrypt(szInPlace.data());
        EXPECT_STREQ(szInPlace.c_str(), szText.c_str());
    }
    EXPECT_EQ(nVectors, 47) << "setting_cipher_vectors.txt missing or damaged";
}

TEST(SettingCipher, LengthsLineBreaksAndDamagedText) {
    const struct {
        std::string szText;
        size_t nForm;
    } kCases[] = {{"abc", 12}, {"12345678", 24}, {std::string(60, 'x'), 90}, {"", 0}};
    for (const auto& c : kCases) {
        LStringLongTemplate<char> encoded;
        LSettingEncrypt(encoded, c.szText.c_str());
        EXPECT_EQ(encoded.GetLength(), c.nForm) << c.szText;
    }
    LStringLongTemplate<char> encoded;
    LSettingEncrypt(encoded, std::string(60, 'x').c_str());
    EXPECT_EQ(std::string(encoded.Get()).find("\r\n"), 76u);

    // Junk between the characters is skipped.
    LSettingEncrypt(encoded, "secret");
    std::string szNoisy = "  ";
    for (const char* p = encoded.Get(); *p != '\0'; ++p) {
        szNoisy += *p;
        szNoisy += "\n*";
    }
    LSettingDecrypt(szNoisy.data());
    EXPECT_STREQ(szNoisy.c_str(), "secret");

    // Text that deciphers to more bytes than it has characters is cut.
    char szShort[] = "AAAA";
    LSettingDecrypt(szShort);
    EXPECT_LE(std::string(szShort).size(), 4u);
    LSettingDecrypt(static_cast<char*>(nullptr));
}

// Points the application-support and configuration folders at a private
// temporary folder for one test.
class SettingsFolders : public testing::Test {
protected:
    void SetUp() override {
        Remember("XDG_DATA_HOME", szOldData);
        Remember("XDG_CONFIG_HOME", szOldConfig);
        setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (folder / "config").c_str(), 1);
    }
    void TearDown() override {
        Restore("XDG_DATA_HOME", szOldData);
        Restore("XDG_CONFIG_HOME", szOldConfig);
    }
    static void Remember(const char* szName, std::string& szOld) {
        const char* sz = std::getenv(szName);
        szOld = sz != nullptr ? sz : std::string(1, '\0');
    }
    static void Restore(const char* szName, const std::string& szOld) {
        if (szOld.size() == 1 && szOld[0] == '\0') {
            unsetenv(szName);
        } else {
            setenv(szName, szOld.c_str(), 1);
        }
    }
    static std::string ReadFile(const char* szPath) {
        std::ifstream in(szPath, std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    }

    LTempFolder folder;
    std::string szOldData;
    std::string szOldConfig;
};

TEST_F(SettingsFolders, SharedFileHoldsExactlyTheSetsMade) {
    char szPath[260];
    ASSERT_TRUE(LSharedSettingsGetPath(szPath));
    EXPECT_EQ(std::string(szPath), folder / "data/HarluneVADPlugin/Shared/SharedSettings.xml");

    EXPECT_TRUE(LSharedSettingSetString("Options", "Format", "wav"));
    EXPECT_TRUE(LSharedSettingSetString("Options", "Rate", "48000"));
    EXPECT_TRUE(LSharedSettingSetString("Paths", "Out", "/tmp/a <b> & \"c\""));
    EXPECT_TRUE(LSharedSettingSetString("Options", "Format", "flac"));
    EXPECT_EQ(ReadFile(szPath),
              "<Options>\n"
              "\t<Format value=\"flac\"/>\n"
              "\t<Rate value=\"48000\"/>\n"
              "</Options>\n"
              "<Paths>\n"
              "\t<Out value=\"/tmp/a &lt;b&gt; &amp; &quot;c&quot;\"/>\n"
              "</Paths>\n");

    char szValue[260];
    EXPECT_TRUE(_LSharedSettingGetString("Paths", "Out", "none", szValue));
    EXPECT_STREQ(szValue, "/tmp/a <b> & \"c\"");
    EXPECT_FALSE(_LSharedSettingGetString("Paths", "Missing", "none", szValue));
    EXPECT_STREQ(szValue, "none");
    EXPECT_FALSE(_LSharedSettingGetString("options", "Format", "none", szValue));
    EXPECT_STREQ(szValue, "none");

    // Long values are cut at a character boundary.
    std::string szLong;
    for (int i = 0; i < 200; ++i) {
        szLong += "\xC3\xA9";
    }
    EXPECT_TRUE(LSharedSettingSetString("Options", "Long", szLong.c_str()));
    EXPECT_TRUE(_LSharedSettingGetString("Options", "Long", "", szValue));
    EXPECT_EQ(std::string(szValue), szLong.substr(0, 258));
}

TEST_F(SettingsFolders, PasswordsInEveryStore) {
    char szValue[260];
    EXPECT_TRUE(LSharedSettingSetPassword("Account", "Password", "abc"));
    EXPECT_TRUE(_LSharedSettingGetString("Account", "__Password", "", szValue));
    EXPECT_EQ(std::string(szValue).size(), 12u);
    EXPECT_EQ(szValue[11], '=');
    EXPECT_TRUE(LSharedSettingGetPassword("Account", "Password", "ignored", szValue));
    EXPECT_STREQ(szValue, "abc");
    EXPECT_FALSE(LSharedSettingGetPassword("Account", "Missing", "ignored", szValue));
    EXPECT_STREQ(szValue, "");

    const std::string szLong(60, 'p');
    EXPECT_TRUE(LUserHiddenSettingSetPassword("Account", "Password", szLong.c_str()));
    EXPECT_TRUE(LUserHiddenSettingGetPassword("Account", "Password", "", szValue));
    EXPECT_EQ(std::string(szValue), szLong);
    EXPECT_TRUE(LUserHiddenSettingSetPassword("Account", "Empty", ""));
    EXPECT_TRUE(LUserHiddenSettingGetPassword("Account", "Empty", "x", szValue));
    EXPECT_STREQ(szValue, "");
    char szHidden[260];
    ASSERT_TRUE(LUserHiddenSettingsGetPath(szHidden));
    EXPECT_EQ(std::string(szHidden), folder / "data/HarluneVADPlugin/.zentalworks/HarluneVADPlugin.xml");

    EXPECT_TRUE(LUserSettingSetPassword("Account", "Password", "pw"));
    EXPECT_TRUE(LUserSettingGetPassword("Account", "Password", "", szValue));
    EXPECT_STREQ(szValue, "pw");
}

TEST_F(SettingsFolders, UserSettingsCrossProcesses) {
    const pid_t nChild = fork();
    ASSERT_GE(nChild, 0);
    if (nChild == 0) {
        const bool bOk = LUserSettingSetString("Options/", "Format", "wav") && LUserSettingSetString("A", "B", "c");
        _exit(bOk ? 0 : 1);
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    ASSERT_TRUE(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0);

    char szValue[260];
    EXPECT_TRUE(_LUserSettingGetString("Options", "Format", "none", szValue));
    EXPECT_STREQ(szValue, "wav");
    LStringLongTemplate<char> value;
    EXPECT_TRUE(_LUserSettingGetString("A", "B", "none", value));
    EXPECT_STREQ(value.Get(), "c");
    EXPECT_FALSE(_LUserSettingGetString("A", "Z", "none", value));
    EXPECT_STREQ(value.Get(), "none");
}

TEST_F(SettingsFolders, TwoProcessesNeverTearTheSharedFile) {
    constexpr int kSets = 40;
    pid_t arChildren[2];
    for (int nChild = 0; nChild < 2; ++nChild) {
        arChildren[nChild] = fork();
        ASSERT_GE(arChildren[nChild], 0);
        if (arChildren[nChild] == 0) {
            const std::string szSection = nChild == 0 ? "First" : "Second";
            for (int i = 0; i < kSets; ++i) {
                LSharedSettingSetString(szSection.c_str(), ("k" + std::to_string(i)).c_str(), std::to_string(i).c_str());
            }
            _exit(0);
        }
    }
    // Meanwhile every read sees a whole document.
    char szPath[260];
    ASSERT_TRUE(LSharedSettingsGetPath(szPath));
    for (int i = 0; i < 40; ++i) {
        LXMLDocument document;
        LProcessInterfaceVoid process;
        char szError[kXMLErrorBufferSize];
        if (XMLLoadFile(document, process, szPath, szError) == kXMLLoadFileLoaded) {
            EXPECT_STREQ(szError, "") << "torn file on read " << i;
        }
    }
    for (pid_t nChild : arChildren) {
        int nStatus = 0;
        waitpid(nChild, &nStatus, 0);
    }
    // Each writer's last set is saved by a save of its own or survives a
    // later one; every value present is the one its key was given.
    LXMLDocument document;
    LSharedSettingsLoad(document);
    int nKeys = 0;
    for (const char* szSection : {"First", "Second"}) {
        const LXMLElement* pSection = document.GetElement(szSection);
        if (pSection == nullptr) {
            continue;
        }
        for (const LXMLElement* pKey = pSection->pFirstChild; pKey != nullptr; pKey = pKey->pNext) {
            if (pKey->szName == nullptr) {
                continue; // the line breaks and tabs between keys
            }
            ++nKeys;
            ASSERT_NE(pKey->GetAttribute("value"), nullptr);
            EXPECT_EQ(std::string("k") + pKey->GetAttribute("value"), pKey->szName);
        }
    }
    EXPECT_GT(nKeys, 0);
    EXPECT_NE(ReadFile(szPath), "");
}

} // namespace
