// The formatters of LDateTime: fixed numeric texts of a value in local time
// or UTC. Every formatter first empties its outputs, so the value 0 ("no
// date") and a value the C library cannot break down both give empty texts.
#include "datetime/LDateTime.h"

#include "datetime/LCalendarConversion.h"

#include <cstdio>
#include <cstring>

namespace {

// Every fixed format fits 20 bytes for years up to 9999; later years are
// cut to 19 characters instead of running past the caller's buffer.
constexpr size_t kShortTextBytes = 20;
// The joined date-and-time text is the one longer output.
constexpr size_t kJoinedTextBytes = 260;

void Clear(char* szOut) {
    if (szOut != nullptr) {
        szOut[0] = '\0';
    }
}

// Breaks t into local time (or UTC) unless t is 0 or cannot be broken down.
bool BreakDown(long t, tm& tmOut, bool bUTC) {
    if (t == 0) {
        return false;
    }
    return bUTC ? LBreakDownUTC(t, tmOut) : LBreakDownLocal(t, tmOut);
}

// tm_year counts from 1900 and may be as large as an int allows.
long long FullYear(const tm& tmValue) { return static_cast<long long>(tmValue.tm_year) + 1900; }

void WriteDate(char* szOut, const tm& tmValue) {
    if (szOut != nullptr) {
        snprintf(szOut, kShortTextBytes, "%.4lld-%.2d-%.2d", FullYear(tmValue), tmValue.tm_mon + 1, tmValue.tm_mday);
    }
}

void WriteDateTime(char* szOut, const tm& tmValue) {
    if (szOut != nullptr) {
        snprintf(szOut, kShortTextBytes, "%.4lld-%.2d-%.2d %.2d:%.2d:%.2d", FullYear(tmValue), tmValue.tm_mon + 1,
                 tmValue.tm_mday, tmValue.tm_hour, tmValue.tm_min, tmValue.tm_sec);
    }
}

void WriteTime(char* szOut, const tm& tmValue, const char* szFormat) {
    if (szOut != nullptr) {
        snprintf(szOut, kShortTextBytes, szFormat, tmValue.tm_hour, tmValue.tm_min, tmValue.tm_sec);
    }
}

// The three time forms; the minute-only form ignores its third argument.
constexpr const char* kTimeColons = "%.2d:%.2d:%.2d";
constexpr const char* kTimeHyphens = "%.2d-%.2d-%.2d";
constexpr const char* kTimeHourMinute = "%.2d:%.2d";

long Now() { return static_cast<long>(time(nullptr)); }

} // namespace

void LDateTime::GetDateTime(long t, char* szDate, char* szTime) {
    Clear(szDate);
    Clear(szTime);
    tm tmValue{};
    if (BreakDown(t, tmValue, false)) {
        WriteDate(szDate, tmValue);
        WriteTime(szTime, tmValue, kTimeColons);
    }
}

void LDateTime::GetDateYYYYHMMHDD(long t, char* szOut) {
    Clear(szOut);
    tm tmValue{};
    if (BreakDown(t, tmValue, false)) {
        WriteDate(szOut, tmValue);
    }
}

void LDateTime::GetDateYYYYHMMHDDTimeHHCMM(long t, char* szDate, char* szTime) {
    Clear(szDate);
    Clear(szTime);
    tm tmValue{};
    if (BreakDown(t, tmValue, false)) {
        WriteDate(szDate, tmValue);
        WriteTime(szTime, tmValue, kTimeHourMinute);
    }
}

void LDateTime::GetTimeHHCMM(long t, char* szOut) {
    Clear(szOut);
    tm tmValue{};
    if (BreakDown(t, tmValue, false)) {
        WriteTime(szOut, tmValue, kTimeHourMinute);
    }
}

void LDateTime::GetTimeHHHMMHSS(long t, char* szOut) {
    Clear(szOut);
    tm tmValue{};
    if (BreakDown(t, tmValue, false)) {
        WriteTime(szOut, tmValue, kTimeHyphens);
    }
}

void LDateTime::GetDateTimeNowUTC(char* szOut) { LDateTime(Now()).GetDateTimeUTC(szOut); }

void LDateTime::GetDateNowUTC(char* szOut) { LDateTime(Now()).GetDateUTC(szOut); }

void LDateTime::GetDateTime(char* szOut) const {
    Clear(szOut);
    tm tmValue{};
    if (BreakDown(m_nValue, tmValue, false)) {
        WriteDateTime(szOut, tmValue);
    }
}

void LDateTime::GetDateTimeInLocalFormat(char* szOut) const { GetDateTime(szOut); }

void LDateTime::GetDateInLocalFormat(char* szOut) const { GetDateYYYYHMMHDD(m_nValue, szOut); }

void LDateTime::GetTimeInLocalFormat(char* szOut) const {
    Clear(szOut);
    tm tmValue{};
    if (BreakDown(m_nValue, tmValue, false)) {
        WriteTime(szOut, tmValue, kTimeColons);
    }
}

void LDateTime::_GetTextTime(char* szOut) const { GetTimeInLocalFormat(szOut); }

void LDateTime::GetDateYYYYHMM(char* szOut) const {
    Clear(szOut);
    tm tmValue{};
    if (szOut != nullptr && BreakDown(m_nValue, tmValue, false)) {
        snprintf(szOut, kShortTextBytes, "%.4lld-%.2d", FullYear(tmValue), tmValue.tm_mon + 1);
    }
}

void LDateTime::GetDateYYYYHMMHDDTimeHHCMM(char* szOut) const {
    if (szOut == nullptr) {
        return;
    }
    char szDate[kShortTextBytes];
    char szTime[kShortTextBytes];
    GetDateYYYYHMMHDDTimeHHCMM(m_nValue, szDate, szTime);
    // Two empty texts joined give a single blank for the value 0, as callers
    // that print this text in a column expect.
    snprintf(szOut, kJoinedTextBytes, "%s %s", szDate, szTime);
}

void LDateTime::GetDateTimeUTC(char* szOut) const {
    Clear(szOut);
    tm tmValue{};
    if (BreakDown(m_nValue, tmValue, true)) {
        WriteDateTime(szOut, tmValue);
    }
}

void LDateTime::GetDateUTC(char* szOut) const {
    Clear(szOut);
    tm tmValue{};
    if (BreakDown(m_nValue, tmValue, true)) {
        WriteDate(szOut, tmValue);
    }
}

void LDateTime::GetDateLocalFormat(char* szOut) const {
    Clear(szOut);
    tm tmValue{};
    if (szOut == nullptr || !BreakDown(m_nValue, tmValue, false)) {
        return;
    }
    const int nYear = static_cast<int>(FullYear(tmValue) % 100);
    const int nMonth = tmValue.tm_mon + 1;
    const int nDay = tmValue.tm_mday;
    switch (DateFormatOrder()) {
    case kOrderYearMonthDay:
        snprintf(szOut, kShortTextBytes, "%.2d/%.2d/%.2d", nYear, nMonth, nDay);
        break;
    case kOrderDayMonthYear:
        snprintf(szOut, kShortTextBytes, "%.2d/%.2d/%.2d", nDay, nMonth, nYear);
        break;
    default:
        snprintf(szOut, kShortTextBytes, "%.2d/%.2d/%.2d", nMonth, nDay, nYear);
        break;
    }
}
