/* Dates: an absolute time in seconds since 2001-01-01 00:00:00 UTC. */
#include <CoreFoundation/CFDate.h>

#include "cf/CFRuntime.h"
#include "cf/DateFormat.h"

#include <cmath>
#include <ctime>

struct __CFDate final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kDateTypeID;
    explicit __CFDate(CFAbsoluteTime time) : Object(kTypeID), time(time) {}

    bool equals(const Object &other) const override { return time == static_cast<const __CFDate &>(other).time; }
    CFHashCode hash() const override {
        // Whole seconds hash as an integer so +0 and -0 agree.
        return static_cast<CFHashCode>(static_cast<int64_t>(std::isfinite(time) ? std::floor(time) : 0));
    }
    void describe(std::string &out, unsigned) const override { out += harlune::cf::formatDescriptionDate(time); }

    const CFAbsoluteTime time;
};

using harlune::cf::as;

extern "C" {

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) - kCFAbsoluteTimeIntervalSince1970 + static_cast<double>(now.tv_nsec) * 1e-9;
}

CFTypeID CFDateGetTypeID(void) { return __CFDate::kTypeID; }

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at) { return harlune::cf::make<__CFDate>(at); }

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate) {
    auto *date = as<__CFDate>(theDate);
    return date == nullptr ? 0 : date->time;
}

CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef theDate, CFDateRef otherDate) {
    return CFDateGetAbsoluteTime(theDate) - CFDateGetAbsoluteTime(otherDate);
}

CFComparisonResult CFDateCompare(CFDateRef theDate, CFDateRef otherDate, void *) {
    const CFAbsoluteTime a = CFDateGetAbsoluteTime(theDate);
    const CFAbsoluteTime b = CFDateGetAbsoluteTime(otherDate);
    return a < b ? kCFCompareLessThan : (a > b ? kCFCompareGreaterThan : kCFCompareEqualTo);
}

}  // extern "C"
