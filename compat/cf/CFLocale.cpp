/* Locales: the current locale of the process's environment, by identifier. */
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFString.h>

#include "cf/CFRuntime.h"

#include <cstdlib>
#include <cstring>
#include <string>

using harlune::cf::as;

struct __CFLocale final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kLocaleTypeID;
    explicit __CFLocale(CFStringRef identifier) : Object(kTypeID), identifier(identifier) {}
    ~__CFLocale() override { CFRelease(identifier); }

    bool equals(const Object &other) const override {
        return CFEqual(identifier, static_cast<const __CFLocale &>(other).identifier);
    }
    CFHashCode hash() const override { return CFHash(identifier); }
    void describe(std::string &out, unsigned depth) const override {
        out += "<CFLocale ";
        harlune::cf::describeValue(out, identifier, depth);
        out += ">";
    }

    const CFStringRef identifier; /* owned */
};

namespace {

/* LC_ALL overrides every category; LANG is the default of all of them. */
std::string environmentLocaleName() {
    for (const char *name : {"LC_ALL", "LANG"}) {
        const char *value = getenv(name);
        if (value != nullptr && value[0] != '\0') return value;
    }
    return {};
}

/* "ll_CC.codeset@modifier" -> "ll_CC"; the C library's locales -> "". */
std::string identifierFromLocaleName(const std::string &name) {
    const std::string identifier = name.substr(0, name.find_first_of(".@"));
    if (identifier == "C" || identifier == "POSIX") return {};
    return identifier;
}

}  // namespace

extern "C" {

CFTypeID CFLocaleGetTypeID(void) { return __CFLocale::kTypeID; }

CFLocaleRef CFLocaleCopyCurrent(void) {
    return harlune::cf::guarded<CFLocaleRef>(nullptr, []() -> CFLocaleRef {
        const std::string identifier = identifierFromLocaleName(environmentLocaleName());
        CFStringRef string = CFStringCreateWithCString(nullptr, identifier.c_str(), kCFStringEncodingUTF8);
        /* A name that is not UTF-8 names no locale this process can use. */
        if (string == nullptr) string = CFStringCreateWithCString(nullptr, "", kCFStringEncodingUTF8);
        if (string == nullptr) return nullptr;
        __CFLocale *locale = harlune::cf::make<__CFLocale>(string);
        if (locale == nullptr) CFRelease(string);
        return locale;
    });
}

CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale) {
    const __CFLocale *object = as<__CFLocale>(locale);
    return object == nullptr ? nullptr : object->identifier;
}

}  // extern "C"
