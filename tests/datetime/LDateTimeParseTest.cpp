// Parsing into LDateTime: the fixed numeric forms with their starting
// values and normalisation, the year rule, typed dates in each date order,
// typed times (with the kept daylight-saving flag), and time of day.
#include "datetime/LDateTime.h"
#include "datetime/LScanDecimalFields.h"

#include "tests/datetime/LDateTimeTestOracle.h"
#include "tests/datetime/LTimeZoneScope.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <random>
#include <string>

namespace {

using harlune::test::kZoneBerlin;
using harlune::test::kZoneNewYork;
using harlune::test::kZoneSydney;
using harlune::test::kZoneUTC;
using harlune::test::Local;
using harlune::test::LTimeZoneScope;
using harlune::test::Utc;

constexpr long kOldValue = 123456789;

struct FixedFormCase {
    const char* szName;
    std::function<void(long&)> fnParse;
    std::function<long()> fnExpected; // evaluated inside the zone
};

TEST(LDateTimeParse, FixedFormsInLocalTime) {
    const FixedFormCase arCases[] = {
        {"date and time", [](long& t) { LDateTime::SetDateTime(t, "2024-05-06", "07:08:09"); },
         [] { return Local(2024, 5, 6, 7, 8, 9); }},
        {"date without day, no time", [](long& t) { LDateTime::SetDateTime(t, "2024-05", nullptr); },
         [] { return Local(2024, 5, 1); }},
        {"time without seconds", [](long& t) { LDateTime::SetDateTime(t, "2024-05-06", "07:08"); },
         [] { return Local(2024, 5, 6, 7, 8, 0); }},
        {"noon of a normalised date", [](long& t) { LDateTime::SetDateTimeNoon(t, "2024-02-30"); },
         [] { return Local(2024, 3, 1, 12); }},
        {"noon, 13th month", [](long& t) { LDateTime::SetDateTimeNoon(t, "2024-13-01"); },
         [] { return Local(2025, 1, 1, 12); }},
        {"date-only text to the date-and-time form",
         [](long& t) { LDateTime::SetDateYYYYHMMHDDTimeHHCMMCSS(t, "2024-05-06"); },
         [] { return Local(2024, 5, 6, 12); }},
        {"full date-and-time form",
         [](long& t) { LDateTime::SetDateYYYYHMMHDDTimeHHCMMCSS(t, "2024-05-06 23:59:59"); },
         [] { return Local(2024, 5, 6, 23, 59, 59); }},
        {"unreadable text keeps the starting values", [](long& t) { LDateTime::SetDateTimeNoon(t, "today"); },
         [] { return Local(2000, 1, 1, 12); }},
        {"two-digit year", [](long& t) { LDateTime::SetDateTimeNoon(t, "24-1-2"); },
         [] { return Local(2024, 1, 2, 12); }},
        {"after the spring change", [](long& t) { LDateTime::SetDateYYYYHMMHDDTimeHHCMMCSS(t, "2024-03-31 03:00:00"); },
         [] { return Local(2024, 3, 31, 3); }},
        {"huge numbers are clamped, not overflowed",
         [](long& t) { LDateTime::SetDateTime(t, "2024-99999999999-1", "99999999999:0:0"); },
         [] { return Local(2024, kScanDecimalLimit, 1, kScanDecimalLimit); }},
    };
    for (const char* szZone : {kZoneBerlin, kZoneNewYork, kZoneSydney, kZoneUTC}) {
        LTimeZoneScope zone(szZone);
        for (const FixedFormCase& c : arCases) {
            long t = kOldValue;
            c.fnParse(t);
            EXPECT_EQ(t, c.fnExpected()) << c.szName << " in " << szZone;
        }
    }
}

TEST(LDateTimeParse, EmptyDateTextsMeanNoDate) {
    LTimeZoneScope zone(kZoneBerlin);
    long t = kOldValue;
    LDateTime::SetDateTime(t, "", "10:00:00");
    EXPECT_EQ(t, 0);
    t = kOldValue;
    LDateTime::SetDateTime(t, nullptr, "10:00:00");
    EXPECT_EQ(t, 0);
    t = kOldValue;
    LDateTime::SetDateTimeNoon(t, "");
    EXPECT_EQ(t, 0);
    t = kOldValue;
    LDateTime::SetDateYYYYHMMHDDTimeHHCMMCSS(t, nullptr);
    EXPECT_EQ(t, 0);
    t = kOldValue;
    LDateTime::SetDateTimeUTC(t, "");
    EXPECT_EQ(t, 0);
}

TEST(LDateTimeParse, UtcTextIgnoresTheZone) {
    for (const char* szZone : {kZoneBerlin, kZoneSydney}) {
        LTimeZoneScope zone(szZone);
        long t = 0;
        LDateTime::SetDateTimeUTC(t, "2024-03-31 00:59:59");
        EXPECT_EQ(t, 1711846799);
        LDateTime::SetDateTimeUTC(t, "2024-03-31");
        EXPECT_EQ(t, Utc(2024, 3, 31, 12));
        LDateTime value;
        value.SetDateTimeUTC("1999-12-31 23:59:59");
        EXPECT_EQ(value.GetValue(), Utc(1999, 12, 31, 23, 59, 59));
    }
}

TEST(LDateTimeParse, YearRuleForNumbers) {
    LTimeZoneScope zone(kZoneUTC);
    struct Case {
        int nYearArgument;
        int nFullYear;
    } arCases[] = {{0, 2000}, {24, 2024}, {69, 2069}, {70, 1970}, {99, 1999}, {124, 2024},
                   {1899, 3799}, {1900, 1900}, {2024, 2024}, {-1, 1999}};
    for (const Case& c : arCases) {
        long t = 0;
        EXPECT_EQ(LDateTime::SetDateTimeUTC(t, c.nYearArgument, 6, 15, 0, 0, 0), Utc(c.nFullYear, 6, 15))
            << c.nYearArgument;
        EXPECT_EQ(t, Utc(c.nFullYear, 6, 15)) << c.nYearArgument;
        long tLocal = 0;
        LDateTime::SetDateTime(tLocal, c.nYearArgument, 6, 15, 0, 0, 0);
        EXPECT_EQ(tLocal, Utc(c.nFullYear, 6, 15)) << c.nYearArgument;
    }
}

TEST(LDateTimeParse, FailedConversionKeepsTheOldValue) {
    LTimeZoneScope zone(kZoneBerlin);
    long t = kOldValue;
    EXPECT_EQ(LDateTime::SetDateTimeUTC(t, INT_MAX, INT_MAX, 1, 0, 0, 0), -1);
    EXPECT_EQ(t, kOldValue);
    EXPECT_EQ(LDateTime::SetDateTime(t, INT_MAX, INT_MAX, 1, 0, 0, 0), -1);
    EXPECT_EQ(t, kOldValue);
    // One second before the epoch converts to -1 too, which reads as failure.
    EXPECT_EQ(LDateTime::SetDateTimeUTC(t, 1969, 12, 31, 23, 59, 59), -1);
    EXPECT_EQ(t, kOldValue);
}

TEST(LDateTimeParse, FormattedTextsReadBackToTheSameText) {
    std::mt19937_64 rng(42);
    std::uniform_int_distribution<long> distribution(1L, 4102444800L);
    for (const char* szZone : {kZoneBerlin, kZoneNewYork, kZoneSydney}) {
        LTimeZoneScope zone(szZone);
        for (int i = 0; i < 2000; ++i) {
            const long t = distribution(rng);
            char szText[20], szAgain[20];
            LDateTime(t).GetDateTime(szText);
            long tParsed = 0;
            LDateTime::SetDateYYYYHMMHDDTimeHHCMMCSS(tParsed, szText);
            LDateTime(tParsed).GetDateTime(szAgain);
            // The hour repeated when clocks go back has two instants with one
            // text; the text must come back either way.
            EXPECT_STREQ(szAgain, szText) << szZone << " " << t;
            EXPECT_TRUE(tParsed == t || tParsed == t - 3600 || tParsed == t + 3600) << szZone << " " << t;
        }
    }
}

struct TextDateCase {
    int nOrder;
    const char* szText;
    int nYear, nMonth, nDay; // expected local midnight; nYear 0 means "no date"
};

TEST(LDateTimeParse, TypedDatesInEachOrder) {
    const TextDateCase arCases[] = {
        {LDateTime::kOrderDayMonthYear, "3/4/2024", 2024, 4, 3},
        {LDateTime::kOrderMonthDayYear, "3/4/2024", 2024, 3, 4},
        {LDateTime::kOrderDayMonthYear, "3.4.24", 2024, 4, 3},
        {LDateTime::kOrderYearMonthDay, "2024-04-03", 2023, 12, 1},
        {LDateTime::kOrderYearMonthDay, "2024/04/03", 2024, 4, 3},
        {LDateTime::kOrderYearMonthDay, "2024//5", 2023, 12, 5},
        {LDateTime::kOrderDayMonthYear, "31/2/2023", 2023, 3, 3},
        {LDateTime::kOrderMonthDayYear, "12/25/99", 1999, 12, 25},
        {LDateTime::kOrderDayMonthYear, "1:2:2024", 2024, 2, 1},
        {LDateTime::kOrderDayMonthYear, "1\\2\\2024", 2024, 2, 1},
        {LDateTime::kOrderDayMonthYear, "1/2/2024/7", 2024, 2, 1},
        {LDateTime::kOrderDayMonthYear, " 1 / 2 / 20 24 ", 2024, 2, 1},
        {LDateTime::kOrderDayMonthYear, "-", 1999, 12, 1},
        {LDateTime::kOrderDayMonthYear, "/", 1999, 12, 1},
        {LDateTime::kOrderDayMonthYear, "abc", 0, 0, 0},
        {LDateTime::kOrderDayMonthYear, "", 0, 0, 0},
    };
    for (const char* szZone : {kZoneBerlin, kZoneSydney}) {
        LTimeZoneScope zone(szZone);
        for (const TextDateCase& c : arCases) {
            LDateTime value(kOldValue);
            value._SetTextDateInOrder(c.szText, c.nOrder);
            const long nExpected = c.nYear == 0 ? 0 : Local(c.nYear, c.nMonth, c.nDay);
            EXPECT_EQ(value.GetValue(), nExpected) << "\"" << c.szText << "\" order " << c.nOrder << " in " << szZone;
        }
    }
}

TEST(LDateTimeParse, TypedTimesKeepTheDate) {
    LTimeZoneScope zone(kZoneBerlin);
    struct Case {
        const char* szText;
        long nExpected;
    } arCases[] = {
        {"13:05:09", Local(2024, 7, 1, 13, 5, 9)},
        {"7", Local(2024, 7, 1, 7)},
        {"7:5", Local(2024, 7, 1, 7, 5)},
        {"1:2:3:4", Local(2024, 7, 1, 1, 2, 3)},
        {"1h 30", Local(2024, 7, 1, 130)},
        {"25:00", Local(2024, 7, 2, 1)},
        {"", Local(2024, 7, 1)},
        {nullptr, Local(2024, 7, 1)},
    };
    for (const Case& c : arCases) {
        LDateTime value(Local(2024, 7, 1, 12));
        value._SetTextTime(c.szText);
        EXPECT_EQ(value.GetValue(), c.nExpected) << (c.szText ? c.szText : "(null)");
    }
    LDateTime none;
    none._SetTextTime("10:00");
    EXPECT_EQ(none.GetValue(), 0);
}

TEST(LDateTimeParse, TypedTimeKeepsTheDatesDaylightSavingFlag) {
    LTimeZoneScope zone(kZoneBerlin);
    // Noon on the day clocks go forward is summer time; 01:00 that morning
    // was still winter time, but it is read with the summer offset.
    LDateTime value(Local(2024, 3, 31, 12));
    value._SetTextTime("01:00");
    EXPECT_EQ(value.GetValue(), Utc(2024, 3, 30, 23));
}

TEST(LDateTimeParse, DayTimeAndWeekDay) {
    LTimeZoneScope zone(kZoneNewYork);
    LDateTime value(Local(2024, 7, 1, 20, 30)); // a Monday
    EXPECT_EQ(value.GetWeekDay(), 0x02u);
    EXPECT_EQ(value.SetDayTime(13 * 3600 + 5 * 60 + 9), Local(2024, 7, 1, 13, 5, 9));
    EXPECT_EQ(value.GetValue(), Local(2024, 7, 1, 13, 5, 9));
    EXPECT_EQ(value.GetDayTime(), 13 * 3600 + 5 * 60 + 9);
    // A negative time of day counts back from midnight.
    EXPECT_EQ(value.SetDayTime(-60), Local(2024, 6, 30, 23, 59));
    EXPECT_EQ(LDateTime(0).GetDayTime(), 0);

    LDateTime fromNone;
    const long nBefore = time(nullptr);
    fromNone.SetDayTime(0);
    char szDate[20], szNow[20];
    LDateTime(fromNone).GetDateInLocalFormat(szDate);
    LDateTime::GetDateYYYYHMMHDD(nBefore, szNow);
    EXPECT_STREQ(szDate, szNow); // fails only if midnight passes in between
    EXPECT_EQ(fromNone.GetDayTime(), 0);
}

TEST(LDateTimeParse, WeekDayOfTheEpochIsThursday) {
    LTimeZoneScope zone(kZoneUTC);
    EXPECT_EQ(LDateTime(0).GetWeekDay(), 0x10u);
    EXPECT_EQ(LDateTime(Utc(2024, 7, 7)).GetWeekDay(), 0x01u);
    EXPECT_EQ(LDateTime(Utc(2024, 7, 6)).GetWeekDay(), 0x40u);
}

} // namespace
