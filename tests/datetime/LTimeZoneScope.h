// LTimeZoneScope.h: sets the process's TZ for one test and restores it. The
// zones are POSIX rule strings, so the tests need no zone database.
#ifndef HARLUNE_TESTS_DATETIME_LTIMEZONESCOPE_H
#define HARLUNE_TESTS_DATETIME_LTIMEZONESCOPE_H

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace harlune::test {

// Central Europe: +1, summer +2 from the last Sunday of March 02:00 to the
// last Sunday of October 03:00.
inline constexpr const char* kZoneBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";
// US Eastern: -5, summer -4 from the second Sunday of March to the first
// Sunday of November, both at 02:00.
inline constexpr const char* kZoneNewYork = "EST5EDT,M3.2.0,M11.1.0";
// Southern hemisphere: summer time spans the new year.
inline constexpr const char* kZoneSydney = "AEST-10AEDT,M10.1.0,M4.1.0/3";
// A half-hour offset without summer time.
inline constexpr const char* kZoneKolkata = "IST-5:30";
inline constexpr const char* kZoneUTC = "UTC0";

class LTimeZoneScope {
public:
    explicit LTimeZoneScope(const char* szZone) {
        if (const char* szOld = std::getenv("TZ")) {
            m_szOld = szOld;
        }
        setenv("TZ", szZone, 1);
        tzset();
    }
    ~LTimeZoneScope() {
        if (m_szOld) {
            setenv("TZ", m_szOld->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    LTimeZoneScope(const LTimeZoneScope&) = delete;
    LTimeZoneScope& operator=(const LTimeZoneScope&) = delete;

private:
    std::optional<std::string> m_szOld;
};

} // namespace harlune::test

#endif
