/* Errors: a domain, a code and a dictionary of further information. */
#include <CoreFoundation/CFError.h>

#include "cf/CFRuntime.h"
#include "cf/CFStringInternal.h"

extern "C" {
const CFErrorDomain kCFErrorDomainPOSIX = CFSTR("NSPOSIXErrorDomain");
const CFErrorDomain kCFErrorDomainOSStatus = CFSTR("NSOSStatusErrorDomain");
const CFErrorDomain kCFErrorDomainMach = CFSTR("NSMachErrorDomain");
const CFErrorDomain kCFErrorDomainCocoa = CFSTR("NSCocoaErrorDomain");
const CFStringRef kCFErrorLocalizedDescriptionKey = CFSTR("NSLocalizedDescription");
const CFStringRef kCFErrorLocalizedFailureReasonKey = CFSTR("NSLocalizedFailureReason");
const CFStringRef kCFErrorLocalizedRecoverySuggestionKey = CFSTR("NSLocalizedRecoverySuggestion");
const CFStringRef kCFErrorDescriptionKey = CFSTR("NSDescription");
const CFStringRef kCFErrorUnderlyingErrorKey = CFSTR("NSUnderlyingError");
const CFStringRef kCFErrorFilePathKey = CFSTR("NSFilePath");
}

struct __CFError final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kErrorTypeID;

    __CFError(CFStringRef domain, CFIndex code, CFDictionaryRef userInfo)
        : Object(kTypeID), domain(static_cast<CFStringRef>(CFRetain(domain))), code(code), userInfo(userInfo) {}
    ~__CFError() override {
        CFRelease(domain);
        CFRelease(userInfo);
    }

    bool equals(const Object &other) const override {
        const auto &that = static_cast<const __CFError &>(other);
        return code == that.code && CFEqual(domain, that.domain) && CFEqual(userInfo, that.userInfo);
    }
    CFHashCode hash() const override { return static_cast<CFHashCode>(code); }
    void describe(std::string &out, unsigned) const override { out += description(); }

    std::string stringEntry(CFStringRef key) const {
        return std::string(harlune::cf::stringText(CFDictionaryGetValue(userInfo, key)));
    }

    std::string description() const {
        std::string text = stringEntry(kCFErrorLocalizedDescriptionKey);
        if (!text.empty()) return text;
        const std::string reason = stringEntry(kCFErrorLocalizedFailureReasonKey);
        if (!reason.empty()) return "The operation couldn't be completed. " + reason;
        std::string detail = stringEntry(kCFErrorDescriptionKey);
        text = "The operation couldn't be completed. (" + std::string(harlune::cf::stringText(domain)) + " error " +
               std::to_string(code) + ".)";
        if (!detail.empty()) text += " " + detail;
        return text;
    }

    const CFStringRef domain;
    const CFIndex code;
    const CFDictionaryRef userInfo;  // never NULL
};

using harlune::cf::as;

extern "C" {

CFTypeID CFErrorGetTypeID(void) { return __CFError::kTypeID; }

CFErrorRef CFErrorCreate(CFAllocatorRef, CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo) {
    if (as<__CFString>(domain) == nullptr) return nullptr;
    CFDictionaryRef info = userInfo != nullptr
                               ? CFDictionaryCreateCopy(nullptr, userInfo)
                               : CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks);
    if (info == nullptr) return nullptr;
    auto *error = harlune::cf::make<__CFError>(domain, code, info);
    if (error == nullptr) CFRelease(info);
    return error;
}

CFErrorDomain CFErrorGetDomain(CFErrorRef err) {
    auto *error = as<__CFError>(err);
    return error == nullptr ? nullptr : error->domain;
}

CFIndex CFErrorGetCode(CFErrorRef err) {
    auto *error = as<__CFError>(err);
    return error == nullptr ? 0 : error->code;
}

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef err) {
    auto *error = as<__CFError>(err);
    return error == nullptr ? nullptr : static_cast<CFDictionaryRef>(CFRetain(error->userInfo));
}

CFStringRef CFErrorCopyDescription(CFErrorRef err) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        auto *error = as<__CFError>(err);
        return error == nullptr ? nullptr : harlune::cf::makeString(error->description());
    });
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef err) {
    auto *error = as<__CFError>(err);
    if (error == nullptr) return nullptr;
    CFTypeRef reason = CFDictionaryGetValue(error->userInfo, kCFErrorLocalizedFailureReasonKey);
    return as<__CFString>(reason) != nullptr ? static_cast<CFStringRef>(CFRetain(reason)) : nullptr;
}

}  // extern "C"
