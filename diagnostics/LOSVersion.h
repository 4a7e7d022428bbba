// LOSVersion.h: the operating system's version.
//
// On Linux the version is VERSION_ID of /etc/os-release split at its dots
// (Debian 12 gives 12.0.0, Ubuntu 22.04 gives 22.4.0); each number is cut
// to 8 bits. The first answer whose major number is above 0 is kept for the
// life of the process; until then every call asks again. Concurrent first
// calls compute the same answer, so the stores need no lock.
#ifndef HARLUNE_DIAGNOSTICS_LOSVERSION_H
#define HARLUNE_DIAGNOSTICS_LOSVERSION_H

#include <cstdint>

void LGetOSVersion(uint8_t& nMajor, uint8_t& nMinor, uint8_t& nPatch);
void LGetOSVersion(uint8_t& nMajor, uint8_t& nMinor);

// Reads VERSION_ID from text laid out as os-release (quotes optional).
// False, with all three 0, when there is none or its first part is empty.
bool LParseOSVersion(const char* szOsRelease, uint8_t& nMajor, uint8_t& nMinor, uint8_t& nPatch);

#endif
