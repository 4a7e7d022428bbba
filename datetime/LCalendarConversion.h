// LCalendarConversion.h: the few calendar steps every part of LDateTime
// shares: breaking a time value into a calendar record in local time or
// UTC, the year rule for year arguments, and building a record from
// numbers. Internal to datetime/.
//
// Thread safety: only the reentrant C library forms (localtime_r, gmtime_r,
// mktime, timegm) are used; mktime reads the TZ environment, as every local
// conversion of the library does.
#ifndef HARLUNE_DATETIME_LCALENDARCONVERSION_H
#define HARLUNE_DATETIME_LCALENDARCONVERSION_H

#include <ctime>

// False when the value cannot be broken down (its year does not fit).
bool LBreakDownLocal(long t, tm& tmOut);
bool LBreakDownUTC(long t, tm& tmOut);

// tm_year for a year argument: below 70 is 2000 + year, 70 to 1899 is
// already years since 1900, 1900 or more is a full year.
int LTmYearFromYearArgument(int nYear);

// A record for the numbers given (month 1 to 12, year rule applied),
// daylight saving unknown.
tm LMakeCalendarRecord(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond);

// mktime / timegm: -1 when the record cannot be converted.
long LConvertLocal(tm& tmRecord);
long LConvertUTC(tm& tmRecord);

#endif
