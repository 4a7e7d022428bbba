// The parsers of LDateTime: fixed numeric forms ("Y-M-D", "h:m:s"), a date
// typed in the locale's order, and a typed time of day. Fields a text does
// not give keep their starting values; a conversion that fails leaves the
// value as it was.
#include "datetime/LDateTime.h"

#include "datetime/LCalendarConversion.h"
#include "datetime/LScanDecimalFields.h"

namespace {

bool IsEmpty(const char* szText) { return szText == nullptr || szText[0] == '\0'; }

// Year, month, day, hour, minute, second, in the order the forms read them.
enum { kYear, kMonth, kDay, kHour, kMinute, kSecond, kFieldCount };

struct Fields {
    int ar[kFieldCount];
};

// Year 0 becomes 2000 by the year rule, so an unread year is 2000.
Fields StartFields(int nHour) { return Fields{{0, 1, 1, nHour, 0, 0}}; }

long Convert(const Fields& fields, bool bUTC) {
    tm tmRecord = LMakeCalendarRecord(fields.ar[kYear], fields.ar[kMonth], fields.ar[kDay], fields.ar[kHour],
                                      fields.ar[kMinute], fields.ar[kSecond]);
    return bUTC ? LConvertUTC(tmRecord) : LConvertLocal(tmRecord);
}

void StoreUnlessFailed(long& t, long nResult) {
    if (nResult != -1) {
        t = nResult;
    }
}

// "Y-M-D h:m:s" with a noon start, local or UTC.
void SetFromDateTimeText(long& t, const char* szText, bool bUTC) {
    if (IsEmpty(szText)) {
        t = 0;
        return;
    }
    Fields fields = StartFields(12);
    LScanDecimalFields(szText, "%d-%d-%d %d:%d:%d", fields.ar, kFieldCount);
    StoreUnlessFailed(t, Convert(fields, bUTC));
}

long SetFromNumbers(long& t, int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond, bool bUTC) {
    tm tmRecord = LMakeCalendarRecord(nYear, nMonth, nDay, nHour, nMinute, nSecond);
    const long nResult = bUTC ? LConvertUTC(tmRecord) : LConvertLocal(tmRecord);
    StoreUnlessFailed(t, nResult);
    return nResult;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Adds one digit to a typed number, clamping instead of overflowing.
void AccumulateDigit(int& nNumber, char c) {
    const long long nNext = static_cast<long long>(nNumber) * 10 + (c - '0');
    nNumber = nNext > kScanDecimalLimit ? kScanDecimalLimit : static_cast<int>(nNext);
}

} // namespace

void LDateTime::SetDateTime(long& t, const char* szDate, const char* szTime) {
    // Only the date decides whether there is a date at all.
    if (IsEmpty(szDate)) {
        t = 0;
        return;
    }
    Fields fields = StartFields(0);
    LScanDecimalFields(szDate, "%d-%d-%d", fields.ar + kYear, 3);
    LScanDecimalFields(szTime, "%d:%d:%d", fields.ar + kHour, 3);
    StoreUnlessFailed(t, Convert(fields, false));
}

void LDateTime::SetDateTimeNoon(long& t, const char* szDate) {
    if (IsEmpty(szDate)) {
        t = 0;
        return;
    }
    Fields fields = StartFields(12);
    LScanDecimalFields(szDate, "%d-%d-%d", fields.ar + kYear, 3);
    StoreUnlessFailed(t, Convert(fields, false));
}

void LDateTime::SetDateYYYYHMMHDDTimeHHCMMCSS(long& t, const char* szText) { SetFromDateTimeText(t, szText, false); }

void LDateTime::SetDateTimeUTC(long& t, const char* szText) { SetFromDateTimeText(t, szText, true); }

long LDateTime::SetDateTime(long& t, int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
    return SetFromNumbers(t, nYear, nMonth, nDay, nHour, nMinute, nSecond, false);
}

long LDateTime::SetDateTimeUTC(long& t, int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
    return SetFromNumbers(t, nYear, nMonth, nDay, nHour, nMinute, nSecond, true);
}

void LDateTime::_SetTextDate(const char* szText) { _SetTextDateInOrder(szText, DateFormatOrder()); }

void LDateTime::_SetTextDateInOrder(const char* szText, int nOrder) {
    if (IsEmpty(szText)) {
        m_nValue = 0;
        return;
    }
    // The field each pair of states fills, by the locale's order. States 0/1
    // are the first field, 2/3 the second, 4/5 the third; the even state of
    // a field waits for its first digit, the odd one adds further digits;
    // state 6 means done.
    static constexpr int kFieldsByOrder[3][3] = {
        {kMonth, kDay, kYear}, // month-day-year
        {kDay, kMonth, kYear}, // day-month-year
        {kYear, kMonth, kDay}, // year-month-day
    };
    const int* arFieldOfState = kFieldsByOrder[nOrder >= 0 && nOrder <= 2 ? nOrder : kOrderMonthDayYear];
    constexpr int kDone = 6;

    // A missing month (0) becomes December of the year before.
    Fields fields = Fields{{0, 0, 1, 0, 0, 0}};
    int nState = 0;
    for (const char* p = szText; *p != '\0'; ++p) {
        const char c = *p;
        if (c == '-') {
            nState = kDone;
        } else if (c == '.' || c == '/' || c == ':' || c == '\\') {
            // Past the third field the state only grows; anything at 6 or
            // above is done.
            if (nState < kDone) {
                nState = (nState & ~1) + 2;
            }
        } else if (IsDigit(c) && nState < kDone) {
            int& nField = fields.ar[arFieldOfState[nState >> 1]];
            if ((nState & 1) == 0) {
                nField = c - '0';
                ++nState;
            } else {
                AccumulateDigit(nField, c);
            }
        }
    }
    if (nState == 0) {
        m_nValue = 0;
        return;
    }
    StoreUnlessFailed(m_nValue, Convert(fields, false));
}

void LDateTime::_SetTextTime(const char* szText) {
    if (m_nValue == 0) {
        return;
    }
    tm tmRecord{};
    if (!LBreakDownLocal(m_nValue, tmRecord)) {
        return;
    }
    // The daylight-saving flag of the value's own date is kept, not asked
    // anew: a typed time is read in the offset the date had, so on the day
    // of a change a time on the other side of it comes out an hour apart.
    tmRecord.tm_hour = 0;
    tmRecord.tm_min = 0;
    tmRecord.tm_sec = 0;
    int* arTarget[3] = {&tmRecord.tm_hour, &tmRecord.tm_min, &tmRecord.tm_sec};
    int nColons = 0;
    for (const char* p = szText == nullptr ? "" : szText; *p != '\0'; ++p) {
        if (*p == ':') {
            ++nColons;
        } else if (IsDigit(*p) && nColons < 3) {
            AccumulateDigit(*arTarget[nColons], *p);
        }
    }
    StoreUnlessFailed(m_nValue, LConvertLocal(tmRecord));
}
