/*
 * printf-style formatting for CFString: the C conversions, delegated one at a
 * time to snprintf, plus %@ for a CF object's description.
 */
#include "cf/CFStringInternal.h"

#include "cf/Unicode.h"

#include <cstdint>
#include <cstdio>
#include <cwchar>

using namespace harlune::cf;

#pragma clang diagnostic ignored "-Wformat-nonliteral"

namespace {

/* One parsed conversion, such as %-8.3lf. */
struct Conversion {
    std::string flags;
    int width = -1;
    int precision = -1;
    std::string length;  // as written, with q already turned into ll
    char conversion = 0;

    /* The directive for snprintf, with * resolved to numbers. */
    std::string printfDirective(char conv, const std::string &lengthOverride) const {
        std::string directive = "%" + flags;
        if (width >= 0) directive += std::to_string(width);
        if (precision >= 0) directive += "." + std::to_string(precision);
        return directive + lengthOverride + conv;
    }
};

template <class T>
void put(std::string &out, const std::string &directive, T value) {
    char buffer[128];
    const int needed = snprintf(buffer, sizeof buffer, directive.c_str(), value);
    if (needed < 0) return;
    if (static_cast<size_t>(needed) < sizeof buffer) {
        appendLenient(out, std::string_view(buffer, static_cast<size_t>(needed)));
        return;
    }
    std::string big(static_cast<size_t>(needed) + 1, '\0');
    snprintf(big.data(), big.size(), directive.c_str(), value);
    big.resize(static_cast<size_t>(needed));
    appendLenient(out, big);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/* Reads digits at format[pos]; -1 if there are none. */
int readNumber(std::string_view format, size_t &pos) {
    if (pos >= format.size() || !isDigit(format[pos])) return -1;
    long value = 0;
    while (pos < format.size() && isDigit(format[pos])) {
        if (value < 1000000) value = value * 10 + (format[pos] - '0');
        ++pos;
    }
    return static_cast<int>(value);
}

/* The modifier for an int-sized argument: only hh and h keep their meaning. */
std::string narrowLength(const std::string &length) { return (length == "hh" || length == "h") ? length : ""; }

void putSigned(std::string &out, const Conversion &directive, va_list *args) {
    const std::string &len = directive.length;
    if (len == "l" || directive.conversion == 'D') {
        put(out, directive.printfDirective('d', "l"), va_arg(*args, long));
    } else if (len == "ll") {
        put(out, directive.printfDirective('d', "ll"), va_arg(*args, long long));
    } else if (len == "z" || len == "t") {
        put(out, directive.printfDirective('d', "l"), static_cast<long>(va_arg(*args, ptrdiff_t)));
    } else if (len == "j") {
        put(out, directive.printfDirective('d', "j"), va_arg(*args, intmax_t));
    } else {
        // char and short arrive promoted to int; hh and h narrow them again.
        put(out, directive.printfDirective('d', narrowLength(len)), va_arg(*args, int));
    }
}

void putUnsigned(std::string &out, const Conversion &directive, char conv, va_list *args) {
    const std::string &len = directive.length;
    if (len == "l" || directive.conversion == 'O' || directive.conversion == 'U') {
        put(out, directive.printfDirective(conv, "l"), va_arg(*args, unsigned long));
    } else if (len == "ll") {
        put(out, directive.printfDirective(conv, "ll"), va_arg(*args, unsigned long long));
    } else if (len == "z" || len == "t") {
        put(out, directive.printfDirective(conv, "l"), static_cast<unsigned long>(va_arg(*args, size_t)));
    } else if (len == "j") {
        put(out, directive.printfDirective(conv, "j"), va_arg(*args, uintmax_t));
    } else {
        put(out, directive.printfDirective(conv, narrowLength(len)), va_arg(*args, unsigned int));
    }
}

void putText(std::string &out, const Conversion &directive, const std::string &utf8) {
    put(out, directive.printfDirective('s', ""), utf8.c_str());
}

std::string wideToUTF8(const wchar_t *text) {
    std::string utf8;
    for (; *text != 0; ++text) {
        const auto cp = static_cast<char32_t>(*text);
        appendUTF8(utf8, (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) ? 0xFFFD : cp);
    }
    return utf8;
}

std::string uniCharsToUTF8(const UniChar *text) {
    size_t count = 0;
    while (text[count] != 0) ++count;
    return fromUTF16(text, count);
}

/* Formats one conversion; false if it is not supported. */
bool putConversion(std::string &out, const Conversion &directive, va_list *args) {
    const char c = directive.conversion;
    switch (c) {
    case 'd': case 'i': case 'D':
        putSigned(out, directive, args);
        return true;
    case 'o': case 'u': case 'x': case 'X':
        putUnsigned(out, directive, c, args);
        return true;
    case 'O': case 'U':
        putUnsigned(out, directive, static_cast<char>(c == 'O' ? 'o' : 'u'), args);
        return true;
    case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
        if (directive.length == "L") {
            put(out, directive.printfDirective(c, "L"), va_arg(*args, long double));
        } else {
            put(out, directive.printfDirective(c, ""), va_arg(*args, double));
        }
        return true;
    case 'c':
        if (directive.length == "l") {
            std::string utf8;
            appendUTF8(utf8, static_cast<char32_t>(va_arg(*args, wint_t)));
            putText(out, directive, utf8);
        } else {
            put(out, directive.printfDirective('c', ""), va_arg(*args, int));
        }
        return true;
    case 'C': {
        const auto unit = static_cast<UniChar>(va_arg(*args, int));
        putText(out, directive, fromUTF16(&unit, 1));
        return true;
    }
    case 's':
        if (directive.length == "l") {
            const wchar_t *wide = va_arg(*args, const wchar_t *);
            putText(out, directive, wide == nullptr ? std::string("(null)") : wideToUTF8(wide));
        } else {
            const char *text = va_arg(*args, const char *);
            put(out, directive.printfDirective('s', ""), text == nullptr ? "(null)" : text);
        }
        return true;
    case 'S': {
        const UniChar *units = va_arg(*args, const UniChar *);
        putText(out, directive, units == nullptr ? std::string("(null)") : uniCharsToUTF8(units));
        return true;
    }
    case 'p':
        put(out, directive.printfDirective('p', ""), va_arg(*args, void *));
        return true;
    case '@': {
        std::string description;
        describeValue(description, va_arg(*args, CFTypeRef), 0);
        putText(out, directive, description);
        return true;
    }
    default:
        // %n would write through a pointer; everything else is unknown.
        return false;
    }
}

/*
 * The arguments travel by pointer: a va_list passed by value cannot be
 * read further by the caller on every ABI.
 */
bool formatInto(std::string &out, std::string_view format, va_list *args) {
    size_t pos = 0;
    while (pos < format.size()) {
        const size_t percent = format.find('%', pos);
        out.append(format.substr(pos, percent == std::string_view::npos ? std::string_view::npos : percent - pos));
        if (percent == std::string_view::npos) break;
        pos = percent + 1;
        if (pos < format.size() && format[pos] == '%') {
            out.push_back('%');
            ++pos;
            continue;
        }
        Conversion directive;
        while (pos < format.size() && std::string_view("-+ #0'").find(format[pos]) != std::string_view::npos) {
            directive.flags.push_back(format[pos++]);
        }
        if (pos < format.size() && format[pos] == '*') {
            ++pos;
            directive.width = va_arg(*args, int);
            if (directive.width < 0) {
                directive.flags.push_back('-');
                directive.width = directive.width == INT32_MIN ? 0 : -directive.width;
            }
        } else {
            directive.width = readNumber(format, pos);
            // "%1$d": positional arguments are not supported.
            if (pos < format.size() && format[pos] == '$') return false;
        }
        if (pos < format.size() && format[pos] == '.') {
            ++pos;
            if (pos < format.size() && format[pos] == '*') {
                ++pos;
                directive.precision = va_arg(*args, int);
            } else {
                directive.precision = readNumber(format, pos);
                if (directive.precision < 0) directive.precision = 0;
            }
        }
        for (const char *length : {"hh", "ll", "h", "l", "q", "L", "z", "j", "t"}) {
            if (format.substr(pos).starts_with(length)) {
                directive.length = (std::string_view(length) == "q") ? "ll" : length;
                pos += std::string_view(length).size();
                break;
            }
        }
        if (pos >= format.size()) return false;
        directive.conversion = format[pos++];
        if (!putConversion(out, directive, args)) return false;
    }
    return true;
}

}  // namespace

namespace harlune::cf {

bool appendFormat(std::string &out, std::string_view format, va_list arguments) {
    va_list args;
    va_copy(args, arguments);
    const bool ok = formatInto(out, format, &args);
    va_end(args);
    return ok;
}

}  // namespace harlune::cf

extern "C" {

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        auto *formatString = as<__CFString>(format);
        if (formatString == nullptr) return nullptr;
        std::string text;
        va_list args;
        va_copy(args, arguments);
        const bool ok = appendFormat(text, formatString->utf8, args);
        va_end(args);
        return ok ? makeString(std::move(text)) : nullptr;
    });
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format, ...) {
    va_list args;
    va_start(args, format);
    CFStringRef result = CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, args);
    va_end(args);
    return result;
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions, CFStringRef format, ...) {
    auto *string = as<__CFString>(theString);
    auto *formatString = as<__CFString>(format);
    if (string == nullptr || formatString == nullptr || !string->isMutable) return;
    va_list args;
    va_start(args, format);
    guarded([&] {
        std::string text;
        // Format from a copy: the format may be the string being appended to.
        if (!appendFormat(text, std::string(formatString->utf8), args)) return;
        CFIndex length = 0;
        validateUTF8(text, &length);
        string->append(text, length);
    });
    va_end(args);
}

}  // extern "C"
