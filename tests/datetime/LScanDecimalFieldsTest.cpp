// The field reader against sscanf, its model, for every input sscanf reads
// without undefined behaviour; and its clamping where sscanf has none.
#include "datetime/LScanDecimalFields.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

namespace {

void ExpectSameAsSscanf(const std::string& szText, const char* szFormat) {
    int arOurs[6] = {-7, -7, -7, -7, -7, -7};
    int arLibc[6] = {-7, -7, -7, -7, -7, -7};
    const int nOurs = LScanDecimalFields(szText.c_str(), szFormat, arOurs, 6);
    int nLibc = sscanf(szText.c_str(), szFormat, &arLibc[0], &arLibc[1], &arLibc[2], &arLibc[3], &arLibc[4], &arLibc[5]);
    if (nLibc == EOF) {
        nLibc = 0;
    }
    EXPECT_EQ(nOurs, nLibc) << "text \"" << szText << "\" format \"" << szFormat << "\"";
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(arOurs[i], arLibc[i]) << "field " << i << " of \"" << szText << "\"";
    }
}

constexpr const char* kDateTimeFormat = "%d-%d-%d %d:%d:%d";

TEST(LScanDecimalFields, ReadsLikeSscanf) {
    const char* arTexts[] = {
        "",
        "2024-05-06 07:08:09",
        "2024-05",
        "2024-5-6",
        "2024/05/06",
        "  2024 -05-06",
        "2024- 05-06",
        "2024--5-6",
        "+2024-+5-6",
        "-",
        "x2024",
        "2024-05-06",
        "2024-05-06   \t7:8:9",
        "2024-05-06T07:08:09",
        "2024-05-0607:08:09",
        "2024-05-06 07:08",
        "2024-05-06 07::09",
        "2024-05-06 07:08:09 trailing",
        "0-0-0 0:0:0",
        "007-08-09",
        "- 5",
        "+-5",
    };
    for (const char* szText : arTexts) {
        ExpectSameAsSscanf(szText, kDateTimeFormat);
        ExpectSameAsSscanf(szText, "%d:%d:%d");
    }
}

TEST(LScanDecimalFields, RandomTextsOfDateCharactersReadLikeSscanf) {
    // Short numbers only: sscanf's result for numbers beyond int is undefined.
    std::mt19937 rng(20240506);
    const char arAlphabet[] = "0123456789- :+/\tx";
    for (int nCase = 0; nCase < 5000; ++nCase) {
        std::string szText;
        int nDigitRun = 0;
        const int nLength = static_cast<int>(rng() % 24);
        for (int i = 0; i < nLength; ++i) {
            char c = arAlphabet[rng() % (sizeof(arAlphabet) - 1)];
            if (c >= '0' && c <= '9' && ++nDigitRun > 8) {
                c = '-';
            }
            if (c < '0' || c > '9') {
                nDigitRun = 0;
            }
            szText += c;
        }
        ExpectSameAsSscanf(szText, kDateTimeFormat);
    }
}

TEST(LScanDecimalFields, ClampsNumbersThatDoNotFitAnInt) {
    struct Case {
        const char* szText;
        int nExpected;
    } arCases[] = {
        {"99999999999999999999", kScanDecimalLimit},
        {"-99999999999999999999", -kScanDecimalLimit},
        {"2147483648", kScanDecimalLimit},
        {"999999999", 999999999},
        {"1000000000", kScanDecimalLimit},
    };
    for (const Case& c : arCases) {
        int nValue = 0;
        EXPECT_EQ(LScanDecimalFields(c.szText, "%d", &nValue, 1), 1) << c.szText;
        EXPECT_EQ(nValue, c.nExpected) << c.szText;
    }
}

TEST(LScanDecimalFields, NullTextAndShortOutputReadNothingBeyond) {
    int arValues[2] = {5, 6};
    EXPECT_EQ(LScanDecimalFields(nullptr, "%d", arValues, 2), 0);
    EXPECT_EQ(arValues[0], 5);
    EXPECT_EQ(LScanDecimalFields("1-2-3", "%d-%d-%d", arValues, 2), 2);
    EXPECT_EQ(arValues[0], 1);
    EXPECT_EQ(arValues[1], 2);
}

} // namespace
