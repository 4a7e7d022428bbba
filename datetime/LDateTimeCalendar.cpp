// Calendar rules of LDateTime: name tables, validators, the locale's date
// order, time of day and weekday, weekly schedules, month steps and the
// build date.
#include "datetime/LDateTime.h"

#include "datetime/LCalendarConversion.h"
#include "datetime/LScanDecimalFields.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <langinfo.h>

const char* const LDateTime::szWeekDays[8] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", nullptr};
const char* const LDateTime::szWeekDaysAbbreviated[8] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", nullptr};
const char* const LDateTime::szWeekDaysLong[8] = {"Sunday",   "Monday", "Tuesday",  "Wednesday",
                                                  "Thursday", "Friday", "Saturday", nullptr};
const char* const LDateTime::szMonths[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const char* const LDateTime::szMonthsAbbreviated[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const char* const LDateTime::szMonthsLong[12] = {"January", "February", "March",     "April",   "May",      "June",
                                                 "July",    "August",   "September", "October", "November", "December"};

namespace {

// The locale's date order, -1 until first computed. One aligned integer
// written whole: two threads that compute it at once store the same value.
std::atomic<int> gnDateFormatOrder{-1};

constexpr int kMinValidYear = 1970;
constexpr int kMaxValidYear = 2999;

// Position of the first of up to two markers in szFormat, -1 when neither
// is there (so a missing marker stands before every found one).
int FindMarker(const char* szFormat, const char* szFirst, const char* szSecond = nullptr) {
    const char* p = strstr(szFormat, szFirst);
    if (szSecond != nullptr) {
        const char* q = strstr(szFormat, szSecond);
        if (p == nullptr || (q != nullptr && q < p)) {
            p = q;
        }
    }
    return p == nullptr ? -1 : static_cast<int>(p - szFormat);
}

bool DateFieldsValid(int nYear, int nMonth, int nDay) { return LDateTime::IsDateValid(nYear, nMonth, nDay); }

} // namespace

bool LDateTime::IsLeapYear(int nYear) {
    if (nYear % 400 == 0) {
        return true;
    }
    return nYear % 100 != 0 && nYear % 4 == 0;
}

int LDateTime::GetNumberOfDaysInMonth(int nYear, int nMonth) {
    switch (nMonth) {
    case 1: case 3: case 5: case 7: case 8: case 10: case 12:
        return 31;
    case 4: case 6: case 9: case 11:
        return 30;
    case 2:
        return IsLeapYear(nYear) ? 29 : 28;
    default:
        return 0;
    }
}

bool LDateTime::IsYearValid(int nYear) { return nYear >= kMinValidYear && nYear <= kMaxValidYear; }

bool LDateTime::IsMonthValid(int nMonth) { return nMonth >= 1 && nMonth <= 12; }

bool LDateTime::IsDateValid(int nYear, int nMonth, int nDay) {
    return IsYearValid(nYear) && IsMonthValid(nMonth) && nDay >= 1 && nDay <= GetNumberOfDaysInMonth(nYear, nMonth);
}

bool LDateTime::IsTimeValid(int nHour, int nMinute, int nSecond, bool bTwelveHour) {
    const int nMaxHour = bTwelveHour ? 12 : 23;
    return nSecond >= 0 && nSecond <= 59 && nMinute >= 0 && nMinute <= 59 && nHour >= 0 && nHour <= nMaxHour;
}

bool LDateTime::ValidateDateYYYYHMMHDD(const char* szText) {
    if (szText == nullptr || szText[0] == '\0') {
        return true;
    }
    int arDate[3] = {0, 0, 0};
    LScanDecimalFields(szText, "%d-%d-%d", arDate, 3);
    return DateFieldsValid(arDate[0], arDate[1], arDate[2]);
}

bool LDateTime::ValidateDateTimeYYYYHMMHDDHHCMMCSS(const char* szText) {
    if (szText == nullptr || szText[0] == '\0') {
        return false;
    }
    // Unread time fields are -1, so a text without its time part fails.
    int arFields[6] = {0, 0, 0, -1, -1, -1};
    LScanDecimalFields(szText, "%d-%d-%d %d:%d:%d", arFields, 6);
    return DateFieldsValid(arFields[0], arFields[1], arFields[2]) && IsTimeValid(arFields[3], arFields[4], arFields[5], false);
}

int LDateTime::DateFormatOrderFromFormat(const char* szFormat) {
    if (szFormat == nullptr) {
        return kOrderMonthDayYear;
    }
    // Only the first 259 characters count, as the copy the order is read
    // from has 260 bytes.
    char szCopy[260];
    snprintf(szCopy, sizeof(szCopy), "%s", szFormat);
    if (strstr(szCopy, "%D") != nullptr) {
        return kOrderMonthDayYear;
    }
    int nMonth = FindMarker(szCopy, "%m");
    if (nMonth < 0) {
        nMonth = FindMarker(szCopy, "%b", "%B");
    }
    if (nMonth < 0) {
        nMonth = FindMarker(szCopy, "%h");
    }
    int nDay = FindMarker(szCopy, "%d");
    if (nDay < 0) {
        nDay = FindMarker(szCopy, "%e");
    }
    const int nYear = FindMarker(szCopy, "%y", "%Y");
    if (nYear < nMonth && nYear < nDay) {
        return kOrderYearMonthDay;
    }
    return nMonth < nDay ? kOrderMonthDayYear : kOrderDayMonthYear;
}

int LDateTime::DateFormatOrder() {
    const int nCached = gnDateFormatOrder.load(std::memory_order_relaxed);
    if (nCached >= 0) {
        return nCached;
    }
    const int nOrder = DateFormatOrderFromFormat(nl_langinfo(D_FMT));
    gnDateFormatOrder.store(nOrder, std::memory_order_relaxed);
    return nOrder;
}

bool LDateTime::TestScheduleDetails(LDateTime now, LDayTime nowTime, LWeekDay nowDay, LDateTime start, LDateTime end,
                                    LDayTime from, LDayTime to, LWeekDay days) {
    if (start.GetValue() > now.GetValue()) {
        return false;
    }
    if (end.GetValue() >= 1 && end.GetValue() <= now.GetValue()) {
        return false;
    }
    const bool bInPeriod = from <= to ? (nowTime >= from && nowTime < to) : (nowTime >= from || nowTime < to);
    if (!bInPeriod) {
        return false;
    }
    return (days & nowDay & 0xFF) != 0;
}

LDateTime LDateTime::GetBuildDate() { return GetDateFromBuildDateText(__DATE__); }

LDateTime LDateTime::GetDateFromBuildDateText(const char* szText) {
    // "Mmm D YYYY" (the day padded with a blank below 10). An abbreviation
    // not in the table gives month 0, which the conversion turns into
    // December of the year before.
    char szMonth[4] = "";
    int arDayYear[2] = {0, 0};
    if (szText != nullptr) {
        size_t n = 0;
        while (n < 3 && szText[n] != '\0' && szText[n] != ' ') {
            szMonth[n] = szText[n];
            ++n;
        }
        szMonth[n] = '\0';
        LScanDecimalFields(szText + n, " %d %d", arDayYear, 2);
    }
    int nMonth = 0;
    for (int i = 0; i < 12; ++i) {
        if (strcmp(szMonth, szMonths[i]) == 0) {
            nMonth = i + 1;
            break;
        }
    }
    long t = 0;
    SetDateTime(t, arDayYear[1], nMonth, arDayYear[0], 0, 0, 0);
    return LDateTime(t);
}

long LDateTime::SetDayTime(LDayTime nSeconds) {
    if (m_nValue == 0) {
        m_nValue = static_cast<long>(time(nullptr));
    }
    tm tmRecord{};
    if (!LBreakDownLocal(m_nValue, tmRecord)) {
        return -1;
    }
    tmRecord.tm_hour = nSeconds / 3600;
    tmRecord.tm_min = (nSeconds / 60) % 60;
    tmRecord.tm_sec = nSeconds % 60;
    tmRecord.tm_isdst = -1;
    const long nResult = LConvertLocal(tmRecord);
    if (nResult != -1) {
        m_nValue = nResult;
    }
    return nResult;
}

LDayTime LDateTime::GetDayTime() const {
    tm tmRecord{};
    if (m_nValue == 0 || !LBreakDownLocal(m_nValue, tmRecord)) {
        return 0;
    }
    return tmRecord.tm_hour * 3600 + tmRecord.tm_min * 60 + tmRecord.tm_sec;
}

LWeekDay LDateTime::GetWeekDay() const {
    tm tmRecord{};
    if (!LBreakDownLocal(m_nValue, tmRecord)) {
        return 0;
    }
    return static_cast<LWeekDay>(1u << tmRecord.tm_wday);
}

LDateTime LDateTime::AdjustByMonths(int nMonths) const {
    tm tmRecord{};
    if (!LBreakDownLocal(m_nValue, tmRecord)) {
        return LDateTime(0);
    }
    // 64-bit arithmetic: a month count near INT_MAX must not overflow.
    long long nYear = static_cast<long long>(tmRecord.tm_year) + 1900;
    const long long nMonthIndex = tmRecord.tm_mon;
    long long nTarget = nMonthIndex + 1 + nMonths;
    if (nTarget > 12) {
        nYear += (nMonthIndex + nMonths) / 12;
        nTarget = (nMonthIndex + nMonths) % 12 + 1;
    } else if (nTarget < 1) {
        const long long k = nTarget;
        nYear -= llabs(k / 12) + 1;
        nTarget = 12 - llabs(k % 12);
    }
    if (nYear - 1900 > kScanDecimalLimit || nYear - 1900 < -kScanDecimalLimit) {
        return LDateTime(0);
    }
    const int nFullYear = static_cast<int>(nYear);
    const int nMonth = static_cast<int>(nTarget);
    const int nMonthDays = GetNumberOfDaysInMonth(nFullYear, nMonth);
    // The record is built with tm_year directly rather than through the year
    // rule, which would read a full year before 1900 as years since 1900;
    // for every later year the two are the same.
    tm tmTarget{};
    tmTarget.tm_year = nFullYear - 1900;
    tmTarget.tm_mon = nMonth - 1;
    tmTarget.tm_mday = tmRecord.tm_mday < nMonthDays ? tmRecord.tm_mday : nMonthDays;
    tmTarget.tm_hour = tmRecord.tm_hour;
    tmTarget.tm_min = tmRecord.tm_min;
    tmTarget.tm_sec = tmRecord.tm_sec;
    tmTarget.tm_isdst = -1;
    const long nResult = LConvertLocal(tmTarget);
    return LDateTime(nResult == -1 ? 0 : nResult);
}
