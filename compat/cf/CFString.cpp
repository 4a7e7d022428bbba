/*
 * CFString creation, access and mutation. Text is kept as well-formed UTF-8;
 * the UTF-16 length is cached because Apple's API measures in UTF-16 units.
 */
#include "cf/CFStringInternal.h"

#include "cf/StringEncoding.h"
#include "cf/Unicode.h"

#include <cstring>

using namespace harlune::cf;

bool __CFString::equals(const Object &other) const { return utf8 == static_cast<const __CFString &>(other).utf8; }

CFHashCode __CFString::hash() const { return hashBytes(utf8.data(), utf8.size()); }

void __CFString::describe(std::string &out, unsigned) const { out += utf8; }

void __CFString::append(std::string_view text, CFIndex utf16Length) {
    utf8.append(text);
    length += utf16Length;
}

namespace harlune::cf {

CFStringRef makeString(std::string utf8) {
    CFIndex length = 0;
    if (!validateUTF8(utf8, &length)) return makeStringLenient(utf8);
    return make<__CFString>(std::move(utf8), length, false);
}

void appendLenient(std::string &out, std::string_view bytes) {
    if (validateUTF8(bytes, nullptr)) {
        out.append(bytes);
        return;
    }
    for (unsigned char byte : bytes) appendUTF8(out, macRomanToUnicode(byte));
}

CFStringRef makeStringLenient(std::string_view bytes) {
    std::string text;
    appendLenient(text, bytes);
    CFIndex length = 0;
    validateUTF8(text, &length);
    return make<__CFString>(std::move(text), length, false);
}

std::string_view stringText(CFTypeRef string) {
    auto *s = as<__CFString>(string);
    return s == nullptr ? std::string_view() : std::string_view(s->utf8);
}

}  // namespace harlune::cf

namespace {

__CFString *createDecoded(const UInt8 *bytes, size_t length, CFStringEncoding encoding, bool isExternal,
                          bool isMutable) {
    std::string text;
    if (!decodeToUTF8(text, bytes, length, encoding, isExternal)) return nullptr;
    CFIndex utf16Length = 0;
    validateUTF8(text, &utf16Length);
    return make<__CFString>(std::move(text), utf16Length, isMutable);
}

/* The UTF-16 units of a string, for the index-based functions. */
std::u16string unitsOf(const __CFString *string) { return toUTF16(string->utf8); }

bool rangeIsValid(CFRange range, CFIndex length) {
    return range.location >= 0 && range.length >= 0 && range.location <= length &&
           range.length <= length - range.location;
}

}  // namespace

extern "C" {

CFTypeID CFStringGetTypeID(void) { return __CFString::kTypeID; }

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char *cStr, CFStringEncoding encoding) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        if (cStr == nullptr || !isEightBitEncoding(encoding)) return nullptr;
        return createDecoded(reinterpret_cast<const UInt8 *>(cStr), strlen(cStr), encoding, false, false);
    });
}

CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char *cStr, CFStringEncoding encoding,
                                            CFAllocatorRef contentsDeallocator) {
    CFStringRef result = CFStringCreateWithCString(alloc, cStr, encoding);
    // The text was copied, so the caller's buffer is finished with now.
    if (cStr != nullptr && contentsDeallocator != kCFAllocatorNull) {
        CFAllocatorDeallocate(contentsDeallocator, const_cast<char *>(cStr));
    }
    return result;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8 *bytes, CFIndex numBytes, CFStringEncoding encoding,
                                    Boolean isExternalRepresentation) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        if (numBytes < 0) return nullptr;
        return createDecoded(bytes, static_cast<size_t>(numBytes), encoding, isExternalRepresentation, false);
    });
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar *chars, CFIndex numChars) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        if (numChars < 0 || (numChars > 0 && chars == nullptr)) return nullptr;
        return makeString(fromUTF16(chars, static_cast<size_t>(numChars)));
    });
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        auto *string = as<__CFString>(theString);
        if (string == nullptr) return nullptr;
        if (!string->isMutable) return static_cast<CFStringRef>(CFRetain(string));
        return make<__CFString>(string->utf8, string->length, false);
    });
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef str, CFRange range) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        auto *string = as<__CFString>(str);
        if (string == nullptr || !rangeIsValid(range, string->length)) return nullptr;
        const std::u16string units = unitsOf(string);
        return makeString(fromUTF16(reinterpret_cast<const UniChar *>(units.data()) + range.location,
                                    static_cast<size_t>(range.length)));
    });
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) {
    return harlune::cf::guarded<CFMutableStringRef>(nullptr, [&]() -> CFMutableStringRef {
     return make<__CFString>(std::string(), 0, true); 
    });
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef theString) {
    return harlune::cf::guarded<CFMutableStringRef>(nullptr, [&]() -> CFMutableStringRef {
        auto *string = as<__CFString>(theString);
        if (string == nullptr) return nullptr;
        return make<__CFString>(string->utf8, string->length, true);
    });
}

CFIndex CFStringGetLength(CFStringRef theString) {
    auto *string = as<__CFString>(theString);
    return string == nullptr ? 0 : string->length;
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
    return harlune::cf::guarded<UniChar>(0, [&]() -> UniChar {
        auto *string = as<__CFString>(theString);
        if (string == nullptr || idx < 0 || idx >= string->length) return 0;
        // Only ASCII text has one byte per UTF-16 unit.
        if (static_cast<size_t>(string->length) == string->utf8.size()) {
            return static_cast<unsigned char>(string->utf8[static_cast<size_t>(idx)]);
        }
        return unitsOf(string)[static_cast<size_t>(idx)];
    });
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar *buffer) {
    harlune::cf::guarded([&] {
        auto *string = as<__CFString>(theString);
        if (string == nullptr || buffer == nullptr || !rangeIsValid(range, string->length)) return;
        const std::u16string units = unitsOf(string);
        memcpy(buffer, units.data() + range.location, static_cast<size_t>(range.length) * sizeof(UniChar));
    });
}

Boolean CFStringGetCString(CFStringRef theString, char *buffer, CFIndex bufferSize, CFStringEncoding encoding) {
    return harlune::cf::guarded<Boolean>(false, [&]() -> Boolean {
        auto *string = as<__CFString>(theString);
        if (string == nullptr || buffer == nullptr || bufferSize <= 0) return false;
        std::string encoded;
        if (!encodeFromUTF8(encoded, string->utf8, encoding)) return false;
        if (encoded.size() >= static_cast<size_t>(bufferSize)) return false;
        memcpy(buffer, encoded.c_str(), encoded.size() + 1);
        return true;
    });
}

const char *CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
    auto *string = as<__CFString>(theString);
    if (string == nullptr) return nullptr;
    if (encoding == kCFStringEncodingUTF8) return string->utf8.c_str();
    if (encoding == kCFStringEncodingASCII && isASCII(string->utf8)) return string->utf8.c_str();
    return nullptr;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    if (length < 0 || !isSupportedEncoding(encoding)) return kCFNotFound;
    // A UTF-16 unit needs at most three UTF-8 bytes: a surrogate pair is two
    // units and becomes four bytes.
    if (encoding == kCFStringEncodingUTF8) return length * 3;
    if (isEightBitEncoding(encoding)) return length;
    return length * 2;
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
    harlune::cf::guarded([&] {
        auto *string = as<__CFString>(theString);
        auto *suffix = as<__CFString>(appendedString);
        if (string == nullptr || suffix == nullptr || !string->isMutable) return;
        // Copy first: the suffix may be the string itself.
        const std::string text = suffix->utf8;
        string->append(text, suffix->length);
    });
}

void CFStringAppendCString(CFMutableStringRef theString, const char *cStr, CFStringEncoding encoding) {
    harlune::cf::guarded([&] {
        auto *string = as<__CFString>(theString);
        if (string == nullptr || cStr == nullptr || !string->isMutable || !isEightBitEncoding(encoding)) return;
        std::string text;
        if (!decodeToUTF8(text, reinterpret_cast<const UInt8 *>(cStr), strlen(cStr), encoding, false)) return;
        CFIndex length = 0;
        validateUTF8(text, &length);
        string->append(text, length);
    });
}

void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar *chars, CFIndex numChars) {
    harlune::cf::guarded([&] {
        auto *string = as<__CFString>(theString);
        if (string == nullptr || !string->isMutable || numChars <= 0 || chars == nullptr) return;
        const std::string text = fromUTF16(chars, static_cast<size_t>(numChars));
        CFIndex length = 0;
        validateUTF8(text, &length);
        string->append(text, length);
    });
}

}  // extern "C"
