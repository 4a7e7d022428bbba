// CSV fields, ampersand removal, HTTP query items, text fields, command-line
// splitting and random passwords.
#include <text/LText.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<std::string> ReadCSVLine(const char *szLine, unsigned long size, std::vector<bool> *pResults,
                                     std::vector<unsigned long> *pPositions) {
    std::vector<std::string> arFields;
    unsigned long pos = 0;
    char arField[64];
    for (int i = 0; i < 8; ++i) {
        const bool bResult = GetCSVListItem(szLine, pos, arField, size);
        arFields.push_back(arField);
        pResults->push_back(bResult);
        pPositions->push_back(pos);
        if (szLine[pos] == 0 || szLine[pos] == '\n' || szLine[pos] == '\r') {
            break;
        }
    }
    return arFields;
}

TEST(StringUtilities, CSVFields) {
    const struct {
        const char *szName;
        const char *szLine;
        unsigned long size;
        std::vector<std::string> arFields;
        std::vector<bool> arResults;
        std::vector<unsigned long> arPositions;
    } arCases[] = {
        {"quoted comma, trailing space", "a, \"p,q\" ,d", 64, {"a", "p,q", "d"}, {true, true, true}, {2, 10, 11}},
        {"only spaces", "   ,x", 64, {"", "x"}, {false, true}, {4, 5}},
        {"cut field still moves on", "abcdefgh,z", 4, {"abc", "z"}, {true, true}, {9, 10}},
        {"doubled quote inside quotes stores nothing", "\"a\"\"b\"", 64, {"ab"}, {true}, {6}},
        {"spaces inside quotes stay", "\" a \",b", 64, {" a ", "b"}, {true, true}, {6, 7}},
        {"line feed ends the field, also in quotes", "\"a\nb\",c", 64, {"a"}, {true}, {2}},
        {"empty field", ",b", 64, {"", "b"}, {false, true}, {1, 2}},
    };
    for (const auto &c : arCases) {
        std::vector<bool> arResults;
        std::vector<unsigned long> arPositions;
        EXPECT_EQ(ReadCSVLine(c.szLine, c.size, &arResults, &arPositions), c.arFields) << c.szName;
        EXPECT_EQ(arResults, c.arResults) << c.szName;
        EXPECT_EQ(arPositions, c.arPositions) << c.szName;
    }
}

TEST(StringUtilities, Ampersands) {
    typedef void (*Remover)(char *, const char *, unsigned long);
    const struct {
        const char *szName;
        Remover pRemove;
        const char *szIn;
        unsigned long size;
        const char *szExpected;
    } arCases[] = {
        {"accelerator", LStringRemoveAmpersand, "&File", 64, "File"},
        {"doubled", LStringRemoveAmpersand, "Save && Quit", 64, "Save & Quit"},
        {"all localizations", LStringRemoveAmpersandAllLocalization, "E&xit", 64, "Exit"},
        {"bounded", LStringRemoveAmpersand, "&Open file", 5, "Open"},
        {"trailing single", LStringRemoveAmpersand, "ab&", 64, "ab"},
        {"Japanese accelerator", LStringRemoveJPStyleAmpersand, "\xE4\xBF\x9D\xE5\xAD\x98(&S)", 64,
         "\xE4\xBF\x9D\xE5\xAD\x98"},
        {"Japanese keeps other ampersands", LStringRemoveJPStyleAmpersand, "A & B (&C) (D)", 64, "A & B  (D)"},
        {"Japanese without closing parenthesis", LStringRemoveJPStyleAmpersand, "Save(&S", 64, "Save"},
        {"Japanese bounded", LStringRemoveJPStyleAmpersand, "abcdef", 3, "ab"},
    };
    for (const auto &c : arCases) {
        char arOut[64];
        c.pRemove(arOut, c.szIn, c.size);
        EXPECT_STREQ(arOut, c.szExpected) << c.szName;
    }
    char arUntouched[2] = {'x', 0};
    LStringRemoveAmpersand(arUntouched, "&a", 0);
    LStringRemoveJPStyleAmpersand(arUntouched, "a", 0);
    EXPECT_STREQ(arUntouched, "x");
}

TEST(StringUtilities, HTTPItems) {
    const struct {
        const char *szName;
        const char *szQuery;
        const char *szExpected;
    } arCases[] = {
        {"b", "a=1&b=2&d=3", "a=1&d=3"},
        {"a", "a=1&b=2&d=3", "&b=2&d=3"},
        {"d", "a=1&b=2&d=3", "a=1&b=2"},
        {"x", "a=1&b=2", "a=1&b=2"},
        {"b", "b=", ""},
    };
    for (const auto &c : arCases) {
        char arQuery[64];
        strcpy(arQuery, c.szQuery);
        LRemoveHTTPItem(c.szName, arQuery);
        EXPECT_STREQ(arQuery, c.szExpected) << c.szName << " from " << c.szQuery;
    }
    const std::string sLongName(300, 'n');
    char arQuery[] = "a=1";
    LRemoveHTTPItem(sLongName.c_str(), arQuery);
    EXPECT_STREQ(arQuery, "a=1");
}

TEST(StringUtilities, TextFields) {
    const struct {
        const char *szName;
        const char *szText;
        unsigned long size;
        bool bFound;
        const char *szExpected;
    } arCases[] = {
        {"between markers", "<b>bold</b> rest", 64, true, "bold"},
        {"no end marker", "<b>bold and more", 64, true, "bold and more"},
        {"cut by size", "<b>bold</b>", 3, true, "bo"},
        {"no start marker", "plain", 64, false, ""},
    };
    for (const auto &c : arCases) {
        char arOut[64];
        strcpy(arOut, "junk");
        EXPECT_EQ(LStringFindTextField(c.szText, "<b>", "</b>", arOut, c.size), c.bFound) << c.szName;
        EXPECT_STREQ(arOut, c.szExpected) << c.szName;
    }
}

TEST(StringUtilities, CommandLineArguments) {
    const struct {
        const char *szLine;
        std::vector<std::string> arArguments;
    } arCases[] = {
        {"prog \"two words\" x\\ y", {"prog", "two words", "x y"}},
        {"  \t prog   a\\b  ", {"prog", "a\\b"}},
        {"prog \"unclosed quote", {"prog", "unclosed quote"}},
        {"prog ab\"c d\"e", {"prog", "abc d", "e"}},
        {"", {}},
    };
    for (const auto &c : arCases) {
        LCommandLineArgumentStringExpander expander(c.szLine);
        std::vector<std::string> arSeen;
        while (expander.NextArgument()) {
            arSeen.push_back(expander.GetArgument());
        }
        EXPECT_STREQ(expander.GetArgument(), "");
        EXPECT_EQ(arSeen, c.arArguments) << c.szLine;
        const unsigned long nExpected = c.arArguments.empty() ? 0 : c.arArguments.size() - 1;
        EXPECT_EQ(expander.GetArgumentCount(c.szLine), nExpected) << c.szLine;
    }
}

TEST(StringUtilities, RandomPasswordsUseTheirAlphabets) {
    typedef void (*Generator)(char *, unsigned long);
    const struct {
        Generator pGenerate;
        const char *szAlphabet;
    } arCases[] = {
        {LStringGenerateRandomPassword, "abcdefghijklmnopqrstuvwxyz"},
        {LStringGenerateRandomPasswordAlphaNumCI, "0123456789abcdefghijklmnopqrstuvwxyz"},
        {LStringGenerateRandomPasswordAlphaNumCS,
         "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"},
    };
    for (const auto &c : arCases) {
        // 4000 characters from a uniform generator: every letter of the
        // alphabet appears (missing one has a chance below 1e-40).
        std::string sOut(4001, 'X');
        c.pGenerate(sOut.data(), 4000);
        EXPECT_EQ(sOut[4000], '\0');
        sOut.resize(4000);
        EXPECT_EQ(sOut.find_first_not_of(c.szAlphabet), std::string::npos) << c.szAlphabet;
        for (const char *p = c.szAlphabet; *p; ++p) {
            EXPECT_NE(sOut.find(*p), std::string::npos) << *p;
        }
    }
    EXPECT_TRUE(gbLRandomizeCalled);
    char arOne[2] = {'x', 'x'};
    LStringGenerateRandomPassword(arOne, 0);
    EXPECT_EQ(arOne[0], '\0');
}

}  // namespace
