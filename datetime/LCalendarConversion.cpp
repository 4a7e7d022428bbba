#include "datetime/LCalendarConversion.h"

#include <climits>

bool LBreakDownLocal(long t, tm& tmOut) {
    const time_t tValue = t;
    return localtime_r(&tValue, &tmOut) != nullptr;
}

bool LBreakDownUTC(long t, tm& tmOut) {
    const time_t tValue = t;
    return gmtime_r(&tValue, &tmOut) != nullptr;
}

int LTmYearFromYearArgument(int nYear) {
    if (nYear < 70) {
        return nYear + 100;
    }
    if (nYear < 1900) {
        return nYear;
    }
    return nYear - 1900;
}

tm LMakeCalendarRecord(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
    tm tmRecord{};
    tmRecord.tm_year = LTmYearFromYearArgument(nYear);
    // INT_MIN has no month before it; it stays INT_MIN and fails the
    // conversion like any other month that far out.
    tmRecord.tm_mon = nMonth > INT_MIN ? nMonth - 1 : INT_MIN;
    tmRecord.tm_mday = nDay;
    tmRecord.tm_hour = nHour;
    tmRecord.tm_min = nMinute;
    tmRecord.tm_sec = nSecond;
    tmRecord.tm_isdst = -1;
    return tmRecord;
}

long LConvertLocal(tm& tmRecord) { return static_cast<long>(mktime(&tmRecord)); }

long LConvertUTC(tm& tmRecord) { return static_cast<long>(timegm(&tmRecord)); }
