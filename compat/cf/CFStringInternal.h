/*
 * CFStringInternal.h (private): the string object and the helpers other CF
 * types use to make strings from C++ text.
 *
 * A string holds well-formed UTF-8 and caches its length in UTF-16 units.
 */
#ifndef HARLUNE_COMPAT_CF_STRING_INTERNAL_H
#define HARLUNE_COMPAT_CF_STRING_INTERNAL_H

#include <CoreFoundation/CFString.h>

#include "cf/CFRuntime.h"

#include <cstdarg>
#include <string>
#include <string_view>

struct __CFString final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kStringTypeID;

    /* text must be well-formed UTF-8. */
    __CFString(std::string text, CFIndex utf16Length, bool isMutable)
        : Object(kTypeID), utf8(std::move(text)), length(utf16Length), isMutable(isMutable) {}
    /* An immortal constant. */
    __CFString(std::string text, CFIndex utf16Length, harlune::cf::Immortal immortal)
        : Object(kTypeID, immortal), utf8(std::move(text)), length(utf16Length), isMutable(false) {}

    bool equals(const Object &other) const override;
    CFHashCode hash() const override;
    void describe(std::string &out, unsigned depth) const override;

    /* Appends well-formed UTF-8. */
    void append(std::string_view text, CFIndex utf16Length);

    std::string utf8;
    CFIndex length;
    const bool isMutable;
};

namespace harlune::cf {

/*
 * A new immutable string from UTF-8 text (decoded as MacRoman instead if it
 * is not well-formed); NULL if memory runs out.
 */
CFStringRef makeString(std::string utf8);
/* A new string from bytes that may not be valid UTF-8 (decoded as MacRoman then). */
CFStringRef makeStringLenient(std::string_view bytes);
/* The UTF-8 text of a string, or an empty view for NULL or a non-string. */
std::string_view stringText(CFTypeRef string);
/* Appends the formatted text; false for an unsupported conversion. */
bool appendFormat(std::string &out, std::string_view format, va_list arguments);
/* Appends bytes that should be UTF-8, decoding them as MacRoman if they are not. */
void appendLenient(std::string &out, std::string_view bytes);

}  // namespace harlune::cf

#endif
