// LDateTime.h: the library's date-and-time value, and the umbrella header of
// datetime/ (the folder's one public concept lives here).
//
// Abstraction: an LDateTime is one calendar instant in whole seconds since
// 1970-01-01 00:00:00 UTC (the platform's time_t). The value 0 means "no
// date": every formatter writes an empty text for it. Static functions work
// on a time value the caller holds (`long` or `long&`); member functions work
// on the object's own value. All calendar arithmetic goes through the C
// library in local time (localtime_r, mktime, so the TZ environment and the
// system's zone rules apply) or in UTC (gmtime_r, timegm); nothing here keeps
// zone tables of its own.
//
// Year arguments handed to a conversion follow one rule everywhere: below 70
// means 2000 + year, 70 to 1899 means years since 1900 (so 99 is 1999 and 124
// is 2024), 1900 or more is a full year. Months in texts and arguments are 1
// to 12.
//
// Texts: every output buffer must hold at least 20 bytes, except the joined
// date-and-time form GetDateYYYYHMMHDDTimeHHCMM(char*), which writes at most
// 260. Years past 9999 would need more than 20 bytes; such output is cut to
// 19 characters rather than written past the buffer. A null input text is
// read as the empty text. Numbers in input texts that do not fit an int are
// clamped to +-999999999 before any arithmetic (the conversion then fails or
// normalises them; it never overflows).
//
// Failures are never reported as errors: a text that cannot be read keeps
// the starting values, a conversion that fails (-1) leaves the stored value
// unchanged, the validators answer false.
//
// Thread safety: the functions keep no state except the process's cached
// date order of the locale (DateFormatOrder), which is an atomic integer;
// any thread may call anything. An LDateTime object itself is a plain value
// and needs outside locking if one object is shared and changed.
#ifndef HARLUNE_DATETIME_LDATETIME_H
#define HARLUNE_DATETIME_LDATETIME_H

#include <cstdint>
#include <ctime>
#include <type_traits>

static_assert(sizeof(long) == 8 && std::is_same_v<long, time_t>,
              "LDateTime keeps time_t in a long; the library needs a 64-bit long time_t");

// Seconds since local midnight: hour * 3600 + minute * 60 + second.
typedef int32_t LDayTime;

// A set of weekdays, bit n for weekday n, 0 Sunday to 6 Saturday (Sunday
// 0x01, Monday 0x02, ... Saturday 0x40).
typedef uint32_t LWeekDay;

class LDateTime {
public:
    // Date order of the locale, as DateFormatOrder() answers it.
    enum {
        kOrderMonthDayYear = 0,
        kOrderDayMonthYear = 1,
        kOrderYearMonthDay = 2,
    };

    LDateTime() = default;
    // A value of seconds since 1970-01-01 UTC; 0 is "no date".
    LDateTime(long nSeconds) : m_nValue(nSeconds) {}

    long GetValue() const { return m_nValue; }

    // Name tables. The weekday tables end with a null entry.
    static const char* const szWeekDays[8];
    static const char* const szWeekDaysAbbreviated[8];
    static const char* const szWeekDaysLong[8];
    static const char* const szMonths[12];
    static const char* const szMonthsAbbreviated[12];
    static const char* const szMonthsLong[12];

    // --- Formatting a caller's value (local time unless named UTC). ---
    // "YYYY-MM-DD" into szDate and "HH:MM:SS" into szTime.
    static void GetDateTime(long t, char* szDate, char* szTime);
    // "YYYY-MM-DD".
    static void GetDateYYYYHMMHDD(long t, char* szOut);
    // "YYYY-MM-DD" and "HH:MM".
    static void GetDateYYYYHMMHDDTimeHHCMM(long t, char* szDate, char* szTime);
    // "HH:MM".
    static void GetTimeHHCMM(long t, char* szOut);
    // "HH-MM-SS" (hyphens, fit for file names).
    static void GetTimeHHHMMHSS(long t, char* szOut);
    // The current time as GetDateTimeUTC / GetDateUTC write it.
    static void GetDateTimeNowUTC(char* szOut);
    static void GetDateNowUTC(char* szOut);

    // --- Parsing fixed numeric forms into a caller's value. ---
    // "Y-M-D" and "h:m:s", local; an empty date text makes t 0.
    static void SetDateTime(long& t, const char* szDate, const char* szTime);
    // "Y-M-D", local, at 12:00:00.
    static void SetDateTimeNoon(long& t, const char* szDate);
    // "Y-M-D h:m:s", local; time 12:00:00 where the text has none.
    static void SetDateYYYYHMMHDDTimeHHCMMCSS(long& t, const char* szText);
    // "Y-M-D h:m:s" as UTC; time 12:00:00 where the text has none.
    static void SetDateTimeUTC(long& t, const char* szText);
    // From numbers (year rule applies); return the conversion's result, -1
    // when it failed (t is then unchanged).
    static long SetDateTime(long& t, int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond);
    static long SetDateTimeUTC(long& t, int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond);

    // --- Validation. ---
    // Empty (or null) is valid; else "Y-M-D" must be a date 1970 to 2999.
    static bool ValidateDateYYYYHMMHDD(const char* szText);
    // Null or empty is invalid; else "Y-M-D h:m:s" with a valid date and time.
    static bool ValidateDateTimeYYYYHMMHDDHHCMMCSS(const char* szText);
    static bool IsDateValid(int nYear, int nMonth, int nDay);
    static bool IsTimeValid(int nHour, int nMinute, int nSecond, bool bTwelveHour);
    static bool IsYearValid(int nYear);
    static bool IsMonthValid(int nMonth);
    static bool IsLeapYear(int nYear);
    // 28 to 31, or 0 for a month outside 1 to 12.
    static int GetNumberOfDaysInMonth(int nYear, int nMonth);

    // Date order of the process's LC_TIME locale (kOrder...), computed once
    // per process from nl_langinfo(D_FMT) and cached; set the locale before
    // the first call.
    static int DateFormatOrder();
    // The order a D_FMT text implies (the uncached computation).
    static int DateFormatOrderFromFormat(const char* szFormat);

    // True when now lies in the schedule: not before start, before end (an
    // end of 0 is none), nowTime in [from, to) (a period with from > to runs
    // over midnight), and nowDay shares a bit with days.
    static bool TestScheduleDetails(LDateTime now, LDayTime nowTime, LWeekDay nowDay, LDateTime start,
                                    LDateTime end, LDayTime from, LDayTime to, LWeekDay days);

    // The build's own compile date at 00:00:00 local time.
    static LDateTime GetBuildDate();
    // The same from a text "Mmm D YYYY" (the compiler's __DATE__ form).
    static LDateTime GetDateFromBuildDateText(const char* szText);

    // --- Member formatting of the object's value. ---
    // "YYYY-MM-DD HH:MM:SS" local (both names write the same text).
    void GetDateTime(char* szOut) const;
    void GetDateTimeInLocalFormat(char* szOut) const;
    // "YYYY-MM-DD" local.
    void GetDateInLocalFormat(char* szOut) const;
    // "HH:MM:SS" local (both names write the same text).
    void GetTimeInLocalFormat(char* szOut) const;
    void _GetTextTime(char* szOut) const;
    // "YYYY-MM" local.
    void GetDateYYYYHMM(char* szOut) const;
    // "YYYY-MM-DD HH:MM" (a single blank for 0); szOut holds 260 bytes.
    void GetDateYYYYHMMHDDTimeHHCMM(char* szOut) const;
    // UTC "YYYY-MM-DD HH:MM:SS" and "YYYY-MM-DD".
    void GetDateTimeUTC(char* szOut) const;
    void GetDateUTC(char* szOut) const;
    // "NN/NN/NN" in the locale's date order, two-digit year.
    void GetDateLocalFormat(char* szOut) const;

    // --- Member parsing and arithmetic on the object's value. ---
    void SetDateTimeUTC(const char* szText) { SetDateTimeUTC(m_nValue, szText); }
    long SetDateTimeUTC(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
        return SetDateTimeUTC(m_nValue, nYear, nMonth, nDay, nHour, nMinute, nSecond);
    }
    // A date typed in the locale's order, fields separated by ".", "/", ":"
    // or "\"; everything after a "-" is ignored. Local midnight.
    void _SetTextDate(const char* szText);
    // The same with the order given (kOrder...), for callers that know it.
    void _SetTextDateInOrder(const char* szText, int nOrder);
    // Keeps the date, sets the time of day from "h:m:s" (minutes and seconds
    // optional). Does nothing to the value 0.
    void _SetTextTime(const char* szText);
    // Sets the time of day (the value 0 first becomes now); returns the
    // conversion's result, -1 when it failed.
    long SetDayTime(LDayTime nSeconds);
    // Seconds since local midnight; 0 for the value 0.
    LDayTime GetDayTime() const;
    // The weekday's bit (0x01 Sunday ... 0x40 Saturday), of 0 too.
    LWeekDay GetWeekDay() const;
    // A new value n months later (earlier for n < 0), the day cut to the
    // target month's length, time of day kept; the object is unchanged.
    // When the target cannot be represented the result is 0 ("no date"), so
    // a caller stepping month by month stops instead of standing still.
    LDateTime AdjustByMonths(int nMonths) const;

    bool operator==(const LDateTime&) const = default;

private:
    long m_nValue = 0; // seconds since 1970-01-01 00:00:00 UTC; 0 is no date
};

#endif
