/*
 * DateFormat.h (private): conversions between CFAbsoluteTime and the text
 * forms dates take in property lists and descriptions, all in UTC.
 * Pure functions; thread-safe.
 */
#ifndef HARLUNE_COMPAT_CF_DATE_FORMAT_H
#define HARLUNE_COMPAT_CF_DATE_FORMAT_H

#include <CoreFoundation/CFDate.h>

#include <string>
#include <string_view>

namespace harlune::cf {

/*
 * "2001-01-01T00:00:00Z", whole seconds rounded down. False for times
 * outside the years 0001 to 9999 or not finite.
 */
bool formatISO8601(CFAbsoluteTime time, std::string &out);

/* Parses the form above, optionally with a fraction of a second. */
bool parseISO8601(std::string_view text, CFAbsoluteTime &time);

/* "2001-01-01 00:00:00 +0000", for descriptions. */
std::string formatDescriptionDate(CFAbsoluteTime time);

}  // namespace harlune::cf

#endif
