// Formatting of LDateTime in several zones: fixed expectations around
// daylight-saving changes, the value 0, years past 9999, and a differential
// check against the C library's strftime over random instants.
#include "datetime/LDateTime.h"

#include "tests/datetime/LTimeZoneScope.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <random>
#include <string>

namespace {

using harlune::test::kZoneBerlin;
using harlune::test::kZoneKolkata;
using harlune::test::kZoneNewYork;
using harlune::test::kZoneSydney;
using harlune::test::kZoneUTC;
using harlune::test::LTimeZoneScope;

struct LocalCase {
    const char* szZone;
    long t;
    const char* szDateTime; // "YYYY-MM-DD HH:MM:SS" local
};

// Instants on both sides of changes of offset, a leap day and a half-hour
// zone; the expected local texts come from the zone rules.
const LocalCase kLocalCases[] = {
    {kZoneBerlin, 1700000000, "2023-11-14 23:13:20"},
    {kZoneNewYork, 1700000000, "2023-11-14 17:13:20"},
    {kZoneSydney, 1700000000, "2023-11-15 09:13:20"},
    {kZoneKolkata, 1700000000, "2023-11-15 03:43:20"},
    {kZoneBerlin, 1719835200, "2024-07-01 14:00:00"},
    {kZoneSydney, 1719835200, "2024-07-01 22:00:00"},
    {kZoneBerlin, 1711846799, "2024-03-31 01:59:59"},
    {kZoneBerlin, 1711846800, "2024-03-31 03:00:00"},
    {kZoneNewYork, 1730613600, "2024-11-03 01:00:00"},
    {kZoneNewYork, 951825600, "2000-02-29 07:00:00"},
    {kZoneUTC, 1, "1970-01-01 00:00:01"},
    {kZoneUTC, -1, "1969-12-31 23:59:59"},
};

TEST(LDateTimeFormat, LocalFormsAgreeInEveryZone) {
    for (const LocalCase& c : kLocalCases) {
        LTimeZoneScope zone(c.szZone);
        const std::string szExpected = c.szDateTime;
        const std::string szDate = szExpected.substr(0, 10);
        const std::string szTime = szExpected.substr(11);
        SCOPED_TRACE(std::string(c.szZone) + " " + std::to_string(c.t));

        char szA[20], szB[20];
        LDateTime::GetDateTime(c.t, szA, szB);
        EXPECT_EQ(szA, szDate);
        EXPECT_EQ(szB, szTime);
        LDateTime::GetDateYYYYHMMHDD(c.t, szA);
        EXPECT_EQ(szA, szDate);
        LDateTime::GetDateYYYYHMMHDDTimeHHCMM(c.t, szA, szB);
        EXPECT_EQ(szA, szDate);
        EXPECT_EQ(szB, szTime.substr(0, 5));
        LDateTime::GetTimeHHCMM(c.t, szA);
        EXPECT_EQ(szA, szTime.substr(0, 5));
        LDateTime::GetTimeHHHMMHSS(c.t, szA);
        EXPECT_EQ(szA, szTime.substr(0, 2) + "-" + szTime.substr(3, 2) + "-" + szTime.substr(6, 2));

        const LDateTime value(c.t);
        value.GetDateTime(szA);
        EXPECT_EQ(szA, szExpected);
        value.GetDateTimeInLocalFormat(szA);
        EXPECT_EQ(szA, szExpected);
        value.GetDateInLocalFormat(szA);
        EXPECT_EQ(szA, szDate);
        value.GetTimeInLocalFormat(szA);
        EXPECT_EQ(szA, szTime);
        value._GetTextTime(szA);
        EXPECT_EQ(szA, szTime);
        value.GetDateYYYYHMM(szA);
        EXPECT_EQ(szA, szDate.substr(0, 7));
        char szJoined[260];
        value.GetDateYYYYHMMHDDTimeHHCMM(szJoined);
        EXPECT_EQ(szJoined, szExpected.substr(0, 16));
    }
}

TEST(LDateTimeFormat, UtcFormsIgnoreTheZone) {
    for (const char* szZone : {kZoneBerlin, kZoneSydney, kZoneKolkata}) {
        LTimeZoneScope zone(szZone);
        char szOut[20];
        LDateTime(1711846799).GetDateTimeUTC(szOut);
        EXPECT_STREQ(szOut, "2024-03-31 00:59:59");
        LDateTime(1711846799).GetDateUTC(szOut);
        EXPECT_STREQ(szOut, "2024-03-31");
    }
}

TEST(LDateTimeFormat, NoDateGivesEmptyTextsAndTheJoinedFormOneBlank) {
    LTimeZoneScope zone(kZoneBerlin);
    char szA[20] = "garbage", szB[20] = "garbage";
    LDateTime::GetDateTime(0, szA, szB);
    EXPECT_STREQ(szA, "");
    EXPECT_STREQ(szB, "");
    strcpy(szA, "garbage");
    strcpy(szB, "garbage");
    LDateTime::GetDateYYYYHMMHDDTimeHHCMM(0, szA, szB);
    EXPECT_STREQ(szA, "");
    EXPECT_STREQ(szB, "");

    using Member = void (LDateTime::*)(char*) const;
    const Member arMembers[] = {&LDateTime::GetDateTime,        &LDateTime::GetDateTimeInLocalFormat,
                                &LDateTime::GetDateInLocalFormat, &LDateTime::GetTimeInLocalFormat,
                                &LDateTime::_GetTextTime,       &LDateTime::GetDateYYYYHMM,
                                &LDateTime::GetDateTimeUTC,     &LDateTime::GetDateUTC,
                                &LDateTime::GetDateLocalFormat};
    for (Member pMember : arMembers) {
        strcpy(szA, "garbage");
        (LDateTime(0).*pMember)(szA);
        EXPECT_STREQ(szA, "");
    }
    char szJoined[260] = "garbage";
    LDateTime(0).GetDateYYYYHMMHDDTimeHHCMM(szJoined);
    EXPECT_STREQ(szJoined, " ");
}

TEST(LDateTimeFormat, YearsPastNineThousandNineHundredNinetyNineAreCutNotOverrun) {
    LTimeZoneScope zone(kZoneUTC);
    // 10000-01-01 00:00:00 UTC would need 21 bytes.
    const long t = 253402300800L;
    char arBuffer[24];
    memset(arBuffer, 'Z', sizeof(arBuffer));
    LDateTime(t).GetDateTimeUTC(arBuffer);
    EXPECT_STREQ(arBuffer, "10000-01-01 00:00:0");
    EXPECT_EQ(arBuffer[20], 'Z');
}

TEST(LDateTimeFormat, MatchesStrftimeOverRandomInstants) {
    std::mt19937_64 rng(1234567);
    // Years 1000 to 9999, where strftime's %Y prints four digits too.
    std::uniform_int_distribution<long> distribution(-30610224000L, 253402300799L);
    for (const char* szZone : {kZoneBerlin, kZoneNewYork, kZoneSydney, kZoneKolkata, kZoneUTC}) {
        LTimeZoneScope zone(szZone);
        for (int i = 0; i < 2000; ++i) {
            const long t = distribution(rng);
            if (t == 0) {
                continue;
            }
            const time_t tValue = t;
            tm tmLocal{}, tmUTC{};
            ASSERT_NE(localtime_r(&tValue, &tmLocal), nullptr);
            ASSERT_NE(gmtime_r(&tValue, &tmUTC), nullptr);
            char szExpected[64], szOurs[260];
            SCOPED_TRACE(std::string(szZone) + " " + std::to_string(t));

            strftime(szExpected, sizeof(szExpected), "%Y-%m-%d %H:%M:%S", &tmLocal);
            LDateTime(t).GetDateTime(szOurs);
            EXPECT_STREQ(szOurs, szExpected);
            strftime(szExpected, sizeof(szExpected), "%H-%M-%S", &tmLocal);
            LDateTime::GetTimeHHHMMHSS(t, szOurs);
            EXPECT_STREQ(szOurs, szExpected);
            strftime(szExpected, sizeof(szExpected), "%Y-%m-%d %H:%M", &tmLocal);
            LDateTime(t).GetDateYYYYHMMHDDTimeHHCMM(szOurs);
            EXPECT_STREQ(szOurs, szExpected);
            strftime(szExpected, sizeof(szExpected), "%Y-%m-%d %H:%M:%S", &tmUTC);
            LDateTime(t).GetDateTimeUTC(szOurs);
            EXPECT_STREQ(szOurs, szExpected);
        }
    }
}

TEST(LDateTimeFormat, NowInUtcIsTheCurrentDate) {
    char szBefore[20], szNow[20], szAfter[20], szDateNow[20];
    LDateTime(time(nullptr)).GetDateTimeUTC(szBefore);
    LDateTime::GetDateTimeNowUTC(szNow);
    LDateTime::GetDateNowUTC(szDateNow);
    LDateTime(time(nullptr)).GetDateTimeUTC(szAfter);
    EXPECT_LE(strcmp(szBefore, szNow), 0);
    EXPECT_LE(strcmp(szNow, szAfter), 0);
    EXPECT_EQ(std::string(szNow).substr(0, 10) == szDateNow || std::string(szAfter).substr(0, 10) == szDateNow, true);
}

} // namespace
