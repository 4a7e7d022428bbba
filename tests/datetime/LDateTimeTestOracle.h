// LDateTimeTestOracle.h: expected instants made straight with the C
// library, independent of the code under test.
#ifndef HARLUNE_TESTS_DATETIME_LDATETIMETESTORACLE_H
#define HARLUNE_TESTS_DATETIME_LDATETIMETESTORACLE_H

#include <ctime>

namespace harlune::test {

inline tm Record(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
    tm tmRecord{};
    tmRecord.tm_year = nYear - 1900;
    tmRecord.tm_mon = nMonth - 1;
    tmRecord.tm_mday = nDay;
    tmRecord.tm_hour = nHour;
    tmRecord.tm_min = nMinute;
    tmRecord.tm_sec = nSecond;
    tmRecord.tm_isdst = -1;
    return tmRecord;
}

inline long Utc(int nYear, int nMonth, int nDay, int nHour = 0, int nMinute = 0, int nSecond = 0) {
    tm tmRecord = Record(nYear, nMonth, nDay, nHour, nMinute, nSecond);
    return static_cast<long>(timegm(&tmRecord));
}

// Local time in the zone in force; ambiguous times are the C library's pick.
inline long Local(int nYear, int nMonth, int nDay, int nHour = 0, int nMinute = 0, int nSecond = 0) {
    tm tmRecord = Record(nYear, nMonth, nDay, nHour, nMinute, nSecond);
    return static_cast<long>(mktime(&tmRecord));
}

} // namespace harlune::test

#endif
