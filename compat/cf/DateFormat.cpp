#include "cf/DateFormat.h"

#include <cmath>
#include <cstdio>

namespace harlune::cf {

namespace {

constexpr int64_t kSecondsPerDay = 86400;

/* Days from 1970-01-01 to the given date of the proleptic Gregorian calendar. */
int64_t daysFromCivil(int64_t year, int64_t month, int64_t day) {
    year -= month <= 2;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

/* The inverse of daysFromCivil. */
void civilFromDays(int64_t days, int64_t &year, int64_t &month, int64_t &day) {
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const int64_t dayOfEra = days - era * 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
    month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
    year = yearOfEra + era * 400 + (month <= 2);
}

int64_t daysInMonth(int64_t year, int64_t month) {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return (month == 2 && leap) ? 29 : days[month - 1];
}

struct Fields {
    int64_t year, month, day, hour, minute, second;
};

/* Splits a time into calendar fields; false outside the years 1 to 9999. */
bool split(CFAbsoluteTime time, Fields &f) {
    if (!std::isfinite(time)) return false;
    const double seconds = std::floor(time) + kCFAbsoluteTimeIntervalSince1970;
    // The years 1 to 9999 span about 3.2e11 seconds either side of 1970.
    if (std::fabs(seconds) > 4e11) return false;
    const auto unixSeconds = static_cast<int64_t>(seconds);
    int64_t days = unixSeconds / kSecondsPerDay;
    int64_t rest = unixSeconds % kSecondsPerDay;
    if (rest < 0) {
        rest += kSecondsPerDay;
        --days;
    }
    civilFromDays(days, f.year, f.month, f.day);
    f.hour = rest / 3600;
    f.minute = rest / 60 % 60;
    f.second = rest % 60;
    return f.year >= 1 && f.year <= 9999;
}

/* Reads exactly count digits at text[pos]. */
bool digits(std::string_view text, size_t &pos, size_t count, int64_t &value) {
    if (text.size() - pos < count) return false;
    value = 0;
    for (size_t i = 0; i < count; ++i) {
        const char c = text[pos + i];
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    pos += count;
    return true;
}

bool literal(std::string_view text, size_t &pos, char expected) {
    if (pos >= text.size() || text[pos] != expected) return false;
    ++pos;
    return true;
}

}  // namespace

bool formatISO8601(CFAbsoluteTime time, std::string &out) {
    Fields f;
    if (!split(time, f)) return false;
    char text[32];
    snprintf(text, sizeof text, "%04lld-%02lld-%02lldT%02lld:%02lld:%02lldZ", static_cast<long long>(f.year),
             static_cast<long long>(f.month), static_cast<long long>(f.day), static_cast<long long>(f.hour),
             static_cast<long long>(f.minute), static_cast<long long>(f.second));
    out += text;
    return true;
}

bool parseISO8601(std::string_view text, CFAbsoluteTime &time) {
    Fields f;
    size_t pos = 0;
    if (!digits(text, pos, 4, f.year) || !literal(text, pos, '-') || !digits(text, pos, 2, f.month) ||
        !literal(text, pos, '-') || !digits(text, pos, 2, f.day) || !literal(text, pos, 'T') ||
        !digits(text, pos, 2, f.hour) || !literal(text, pos, ':') || !digits(text, pos, 2, f.minute) ||
        !literal(text, pos, ':') || !digits(text, pos, 2, f.second)) {
        return false;
    }
    double fraction = 0;
    if (pos < text.size() && text[pos] == '.') {
        ++pos;
        double scale = 0.1;
        const size_t start = pos;
        while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
            fraction += (text[pos++] - '0') * scale;
            scale /= 10;
        }
        if (pos == start) return false;
    }
    if (!literal(text, pos, 'Z') || pos != text.size()) return false;
    if (f.year < 1 || f.month < 1 || f.month > 12 || f.day < 1 || f.day > daysInMonth(f.year, f.month) ||
        f.hour > 23 || f.minute > 59 || f.second > 59) {
        return false;
    }
    const int64_t unixSeconds = daysFromCivil(f.year, f.month, f.day) * kSecondsPerDay + f.hour * 3600 + f.minute * 60 + f.second;
    time = static_cast<double>(unixSeconds) - kCFAbsoluteTimeIntervalSince1970 + fraction;
    return true;
}

std::string formatDescriptionDate(CFAbsoluteTime time) {
    Fields f;
    if (!split(time, f)) return "<date out of range>";
    char text[40];
    snprintf(text, sizeof text, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld +0000", static_cast<long long>(f.year),
             static_cast<long long>(f.month), static_cast<long long>(f.day), static_cast<long long>(f.hour),
             static_cast<long long>(f.minute), static_cast<long long>(f.second));
    return text;
}

}  // namespace harlune::cf
