// Calendar rules of LDateTime: validators, month lengths, month steps at
// month ends and across years, weekly schedules over midnight, the build
// date, and the date order of real locales compiled with localedef.
#include "datetime/LDateTime.h"

#include "tests/datetime/LDateTimeTestOracle.h"
#include "tests/datetime/LTimeZoneScope.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using harlune::test::kZoneBerlin;
using harlune::test::kZoneNewYork;
using harlune::test::kZoneSydney;
using harlune::test::Local;
using harlune::test::LTempFolder;
using harlune::test::LTimeZoneScope;

TEST(LDateTimeCalendar, MonthLengthsAndLeapYears) {
    struct Case {
        int nYear, nMonth, nDays;
    } arCases[] = {
        {2000, 2, 29}, {2024, 2, 29}, {1900, 2, 28}, {2023, 2, 28}, {2100, 2, 28}, {2400, 2, 29},
        {2023, 1, 31}, {2023, 4, 30}, {2023, 6, 30}, {2023, 7, 31}, {2023, 8, 31}, {2023, 9, 30},
        {2023, 11, 30}, {2023, 12, 31}, {2023, 0, 0},  {2023, 13, 0}, {2023, -1, 0},
    };
    for (const Case& c : arCases) {
        EXPECT_EQ(LDateTime::GetNumberOfDaysInMonth(c.nYear, c.nMonth), c.nDays) << c.nYear << "-" << c.nMonth;
        if (c.nMonth == 2) {
            EXPECT_EQ(LDateTime::IsLeapYear(c.nYear), c.nDays == 29) << c.nYear;
        }
    }
}

TEST(LDateTimeCalendar, DateAndTimeValidators) {
    struct DateCase {
        int nYear, nMonth, nDay;
        bool bValid;
    } arDates[] = {
        {2024, 2, 29, true},  {2023, 2, 29, false}, {1970, 1, 1, true},   {1969, 12, 31, false},
        {2999, 12, 31, true}, {3000, 1, 1, false},  {2024, 0, 1, false},  {2024, 13, 1, false},
        {2024, 4, 31, false}, {2024, 4, 0, false},  {2024, 12, 31, true},
    };
    for (const DateCase& c : arDates) {
        EXPECT_EQ(LDateTime::IsDateValid(c.nYear, c.nMonth, c.nDay), c.bValid) << c.nYear << "-" << c.nMonth << "-" << c.nDay;
    }
    EXPECT_TRUE(LDateTime::IsYearValid(1970));
    EXPECT_FALSE(LDateTime::IsYearValid(3000));
    EXPECT_TRUE(LDateTime::IsMonthValid(12));
    EXPECT_FALSE(LDateTime::IsMonthValid(0));

    struct TimeCase {
        int nHour, nMinute, nSecond;
        bool bTwelveHour, bValid;
    } arTimes[] = {
        {12, 0, 0, true, true},    {0, 0, 0, true, true},     {13, 0, 0, true, false},
        {23, 59, 59, false, true}, {24, 0, 0, false, false},  {-1, 0, 0, false, false},
        {0, 60, 0, false, false},  {0, 0, 60, false, false},  {0, -1, 0, false, false},
        {0, 0, -1, true, false},
    };
    for (const TimeCase& c : arTimes) {
        EXPECT_EQ(LDateTime::IsTimeValid(c.nHour, c.nMinute, c.nSecond, c.bTwelveHour), c.bValid)
            << c.nHour << ":" << c.nMinute << ":" << c.nSecond << (c.bTwelveHour ? " 12h" : " 24h");
    }
}

TEST(LDateTimeCalendar, TextValidators) {
    struct Case {
        const char* szText;
        bool bDateValid;     // ValidateDateYYYYHMMHDD
        bool bDateTimeValid; // ValidateDateTimeYYYYHMMHDDHHCMMCSS
    } arCases[] = {
        {"", true, false},
        {nullptr, true, false},
        {"2024-02-30", false, false},
        {"2024-02-29", true, false},
        {"2024-02-29 23:59:59", true, true},
        {"2024-02-29 24:00:00", true, false},
        {"2024-02-29 12:00", true, false},
        {"2024-02-29 12:60:00", true, false},
        {"2024-02", false, false},
        {"1969-12-31 10:00:00", false, false},
        {"3000-01-01", false, false},
        {"2024-1-5 1:2:3", true, true},
        {"garbage", false, false},
        {"2024-02-29T12:00:00", true, false},
        {"99999999999-1-1 0:0:0", false, false},
    };
    for (const Case& c : arCases) {
        const char* szShown = c.szText ? c.szText : "(null)";
        EXPECT_EQ(LDateTime::ValidateDateYYYYHMMHDD(c.szText), c.bDateValid) << szShown;
        EXPECT_EQ(LDateTime::ValidateDateTimeYYYYHMMHDDHHCMMCSS(c.szText), c.bDateTimeValid) << szShown;
    }
}

TEST(LDateTimeCalendar, MonthStepsCutTheDayAndKeepTheTime) {
    struct Case {
        int nYear, nMonth, nDay;
        int nStep;
        int nExpectedYear, nExpectedMonth, nExpectedDay;
    } arCases[] = {
        {2023, 1, 31, 1, 2023, 2, 28},   {2024, 1, 31, 1, 2024, 2, 29},   {2024, 1, 15, -1, 2023, 12, 15},
        {2024, 1, 15, -13, 2022, 12, 15}, {2024, 1, 15, -12, 2023, 1, 15}, {2024, 3, 31, -1, 2024, 2, 29},
        {2024, 12, 31, 2, 2025, 2, 28},  {2024, 11, 15, 14, 2026, 1, 15}, {2024, 5, 31, 0, 2024, 5, 31},
        {2024, 12, 15, 1, 2025, 1, 15},  {2024, 12, 15, 12, 2025, 12, 15}, {2024, 12, 15, -12, 2023, 12, 15},
        {2024, 2, 29, 12, 2025, 2, 28},  {2024, 2, 29, 48, 2028, 2, 29},  {2024, 5, 31, -25, 2022, 4, 30},
        {2024, 3, 15, 1, 2024, 4, 15},   {2024, 10, 31, 1, 2024, 11, 30},
    };
    for (const char* szZone : {kZoneBerlin, kZoneNewYork, kZoneSydney}) {
        LTimeZoneScope zone(szZone);
        for (const Case& c : arCases) {
            // 02:30 does not exist on some change days; 10:20:30 always does.
            const LDateTime value(Local(c.nYear, c.nMonth, c.nDay, 10, 20, 30));
            const LDateTime stepped = value.AdjustByMonths(c.nStep);
            EXPECT_EQ(stepped.GetValue(), Local(c.nExpectedYear, c.nExpectedMonth, c.nExpectedDay, 10, 20, 30))
                << c.nYear << "-" << c.nMonth << "-" << c.nDay << " by " << c.nStep << " in " << szZone;
            EXPECT_EQ(value.GetValue(), Local(c.nYear, c.nMonth, c.nDay, 10, 20, 30));
        }
    }
}

TEST(LDateTimeCalendar, ExtremeMonthStepsNeitherOverflowNorInventADate) {
    LTimeZoneScope zone(kZoneBerlin);
    const LDateTime value(Local(2024, 1, 31, 10));
    for (int nStep : {INT_MAX, INT_MIN, INT_MAX - 11, INT_MIN + 1}) {
        const LDateTime stepped = value.AdjustByMonths(nStep);
        if (stepped.GetValue() != 0) {
            // Representable: it must be the first... last day rule in the right direction.
            EXPECT_EQ(nStep > 0, stepped.GetValue() > value.GetValue()) << nStep;
        }
    }
}

TEST(LDateTimeCalendar, WeeklySchedules) {
    constexpr LDayTime k22 = 22 * 3600, k06 = 6 * 3600, k09 = 9 * 3600, k17 = 17 * 3600;
    constexpr LWeekDay kMonday = 0x02, kWeekdays = 0x3E, kWeekend = 0x41;
    const LDateTime now(1700000000);
    struct Case {
        const char* szName;
        LDayTime nowTime;
        LWeekDay nowDay;
        long start, end;
        LDayTime from, to;
        LWeekDay days;
        bool bExpected;
    } arCases[] = {
        {"over midnight, late", 23 * 3600, kMonday, 0, 0, k22, k06, kWeekdays, true},
        {"over midnight, early", 5 * 3600, kMonday, 0, 0, k22, k06, kWeekdays, true},
        {"over midnight, noon", 12 * 3600, kMonday, 0, 0, k22, k06, kWeekdays, false},
        {"over midnight, at from", k22, kMonday, 0, 0, k22, k06, kWeekdays, true},
        {"over midnight, at to", k06, kMonday, 0, 0, k22, k06, kWeekdays, false},
        {"day period, inside", 12 * 3600, kMonday, 0, 0, k09, k17, kWeekdays, true},
        {"day period, at to", k17, kMonday, 0, 0, k09, k17, kWeekdays, false},
        {"day period, before", 8 * 3600, kMonday, 0, 0, k09, k17, kWeekdays, false},
        {"empty period", k09, kMonday, 0, 0, k09, k09, kWeekdays, false},
        {"wrong weekday", 12 * 3600, kMonday, 0, 0, k09, k17, kWeekend, false},
        {"only low 8 bits count", 12 * 3600, kMonday | 0x100, 0, 0, k09, k17, 0x100, false},
        {"starts later", 12 * 3600, kMonday, now.GetValue() + 1, 0, k09, k17, kWeekdays, false},
        {"starts now", 12 * 3600, kMonday, now.GetValue(), 0, k09, k17, kWeekdays, true},
        {"ended now", 12 * 3600, kMonday, 0, now.GetValue(), k09, k17, kWeekdays, false},
        {"ends later", 12 * 3600, kMonday, 0, now.GetValue() + 1, k09, k17, kWeekdays, true},
    };
    for (const Case& c : arCases) {
        EXPECT_EQ(LDateTime::TestScheduleDetails(now, c.nowTime, c.nowDay, LDateTime(c.start), LDateTime(c.end), c.from,
                                                 c.to, c.days),
                  c.bExpected)
            << c.szName;
    }
}

TEST(LDateTimeCalendar, BuildDateTexts) {
    LTimeZoneScope zone(kZoneBerlin);
    struct Case {
        const char* szText;
        long nExpected;
    } arCases[] = {
        {"Sep 23 2024", Local(2024, 9, 23)},
        {"Jan  5 2025", Local(2025, 1, 5)},
        {"Dec 31 1999", Local(1999, 12, 31)},
        {"Xyz  1 2024", Local(2023, 12, 1)},
    };
    for (const Case& c : arCases) {
        EXPECT_EQ(LDateTime::GetDateFromBuildDateText(c.szText).GetValue(), c.nExpected) << c.szText;
    }
    const long nBuild = LDateTime::GetBuildDate().GetValue();
    EXPECT_GT(nBuild, Local(2024, 1, 1));
    EXPECT_LE(nBuild, time(nullptr));
    EXPECT_EQ(LDateTime(nBuild).GetDayTime(), 0);
}

TEST(LDateTimeCalendar, DateOrderFromFormats) {
    struct Case {
        const char* szFormat;
        int nOrder;
    } arCases[] = {
        {"%m/%d/%y", LDateTime::kOrderMonthDayYear}, {"%d/%m/%Y", LDateTime::kOrderDayMonthYear},
        {"%d.%m.%Y", LDateTime::kOrderDayMonthYear}, {"%Y-%m-%d", LDateTime::kOrderYearMonthDay},
        {"%D", LDateTime::kOrderMonthDayYear},       {"%e %b %Y", LDateTime::kOrderDayMonthYear},
        {"%B %e, %Y", LDateTime::kOrderMonthDayYear}, {"%y/%h/%d", LDateTime::kOrderYearMonthDay},
        {"%d %h %y", LDateTime::kOrderDayMonthYear}, {"%Y\xe5\xb9\xb4%m\xe6\x9c\x88%d\xe6\x97\xa5", LDateTime::kOrderYearMonthDay},
        // A format without a year puts the missing year first.
        {"%d/%m", LDateTime::kOrderYearMonthDay},
    };
    for (const Case& c : arCases) {
        EXPECT_EQ(LDateTime::DateFormatOrderFromFormat(c.szFormat), c.nOrder) << c.szFormat;
    }
}

// Compiles a locale into a private folder and, in a child process (the
// order is cached once per process), checks the order, the local date text
// and a typed date under it.
void ExpectLocaleOrder(const char* szLocale, int nOrder, const char* szLocalDate, const char* szTyped) {
    LTempFolder folder;
    ASSERT_FALSE(folder.Path().empty());
    const std::string szCompiled = folder / (std::string(szLocale) + ".UTF-8");
    const std::string szCommand = std::string("localedef -i ") + szLocale + " -f UTF-8 '" + szCompiled + "' >/dev/null 2>&1";
    if (std::system(szCommand.c_str()) != 0) {
        GTEST_SKIP() << "localedef cannot build " << szLocale << " (the locales package provides its sources)";
    }
    const pid_t pid = fork();
    ASSERT_NE(pid, -1);
    if (pid == 0) {
        int nFailures = 0;
        setenv("TZ", kZoneBerlin, 1);
        tzset();
        setenv("LOCPATH", folder.Path().c_str(), 1);
        if (setlocale(LC_ALL, (std::string(szLocale) + ".UTF-8").c_str()) == nullptr) {
            _exit(100);
        }
        nFailures += LDateTime::DateFormatOrder() != nOrder;
        nFailures += LDateTime::DateFormatOrder() != nOrder;
        char szOut[20];
        LDateTime(Local(2024, 4, 3, 15)).GetDateLocalFormat(szOut);
        nFailures += std::string(szOut) != szLocalDate;
        LDateTime typed;
        typed._SetTextDate(szTyped);
        nFailures += typed.GetValue() != Local(2024, 4, 3);
        _exit(nFailures);
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(pid, &nStatus, 0), pid);
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_NE(WEXITSTATUS(nStatus), 100) << "setlocale refused " << szCompiled;
    EXPECT_EQ(WEXITSTATUS(nStatus), 0) << szLocale;
}

TEST(LDateTimeLocale, UnitedStatesIsMonthDayYear) { ExpectLocaleOrder("en_US", 0, "04/03/24", "4/3/2024"); }
TEST(LDateTimeLocale, BritainIsDayMonthYear) { ExpectLocaleOrder("en_GB", 1, "03/04/24", "3/4/2024"); }
TEST(LDateTimeLocale, GermanyIsDayMonthYear) { ExpectLocaleOrder("de_DE", 1, "03/04/24", "3.4.24"); }
TEST(LDateTimeLocale, SwedenIsYearMonthDay) { ExpectLocaleOrder("sv_SE", 2, "24/04/03", "2024/4/3"); }

} // namespace
