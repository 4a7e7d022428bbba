// LCrashReports.h: finding the newest crash report of this product among
// the system's diagnostic reports, and the name pattern it uses.
//
// The report folder is the real user's home (from the user database, not a
// sandbox container) joined with "Library/Logs/DiagnosticReports". Entries
// whose names match "HarluneVADPlugin*" are taken in the order the folder
// lists them (no subfolders are entered); a ".ips" report is accepted by its
// name's date alone, a text report when its Process, Path, Identifier,
// Version and Date/Time lines all fit this program. The newest date among
// all taken entries decides: if an accepted report has it, its path is the
// answer. Only the first 1000 taken entries are considered: the dates live
// in a table of 1000 slots, and entries past it are skipped rather than
// stored outside it.
//
// Thread safety: only local state; any thread. Text reports are read under
// a shared lock waited for at most one second each.
#ifndef HARLUNE_DIAGNOSTICS_LCRASHREPORTS_H
#define HARLUNE_DIAGNOSTICS_LCRASHREPORTS_H

#include <cstdint>

// Writes the newest accepted report's path into szOut (at least 260 bytes)
// and returns true; false (szOut untouched) when there is none.
bool LMacGetLatestCrashReport(char* szOut);

// The same search in a given folder for a given application name (the
// main bundle's last path component) and executable path.
bool LMacFindLatestCrashReport(char* szOut, const char* szFolder, const char* szAppName, const char* szExecutable);

// True when szName matches szPattern, ignoring case: "*" matches any run of
// characters, "?" any single character.
bool LFileNameMatchesPattern(const char* szName, const char* szPattern);

// Seconds since 1970 of a local time, the system deciding daylight saving
// time; years 70 to 1899 count from 1900, years below 70 from 2000. 0 when
// the time cannot be converted.
int64_t LCrashReportLocalTime(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond);

#endif
