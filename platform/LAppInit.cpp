#include "platform/LAppInit.h"

#include "diagnostics/LDebugThreadRegistry.h"
#include "platform/LCommandLine.h"

#include <CoreFoundation/CoreFoundation.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

// Locale identifiers are language and region, "ll_CC".
constexpr size_t kMaxIdentifierChars = 5;

std::once_flag gLocaleOnce;
char gszLocaleName[260] = "C"; // what setlocale reported, kept for later calls

std::string TextOf(CFTypeRef value) {
    char szBuffer[64];
    if (value != nullptr && CFGetTypeID(value) == CFStringGetTypeID() &&
        CFStringGetCString(static_cast<CFStringRef>(value), szBuffer, sizeof(szBuffer), kCFStringEncodingUTF8)) {
        return szBuffer;
    }
    return {};
}

std::string CurrentLocaleIdentifier() {
    CFLocaleRef locale = CFLocaleCopyCurrent();
    if (locale == nullptr) {
        return {};
    }
    const std::string szIdentifier = TextOf(CFLocaleGetIdentifier(locale));
    CFRelease(locale);
    return szIdentifier.substr(0, kMaxIdentifierChars);
}

// "AppleLocale" of the application's preferences, else of the user's for
// any application and any host. The platform may store a locale with
// options ("en_US@currency=EUR"); only the identifier before them is a
// name setlocale can know.
std::string PreferredLocaleIdentifier() {
    CFPropertyListRef value = CFPreferencesCopyAppValue(CFSTR("AppleLocale"), kCFPreferencesCurrentApplication);
    if (value == nullptr) {
        value = CFPreferencesCopyValue(CFSTR("AppleLocale"), kCFPreferencesAnyApplication, kCFPreferencesCurrentUser,
                                       kCFPreferencesAnyHost);
    }
    const std::string szValue = TextOf(value);
    if (value != nullptr) {
        CFRelease(value);
    }
    return szValue.substr(0, szValue.find_first_of(".@"));
}

void SetProcessLocale() {
    std::string szIdentifier = CurrentLocaleIdentifier();
    if (szIdentifier.empty()) {
        szIdentifier = PreferredLocaleIdentifier();
    }
    const char* szReported = nullptr;
    if (!szIdentifier.empty()) {
        szReported = setlocale(LC_ALL, szIdentifier.c_str());
        if (szReported == nullptr) {
            szReported = setlocale(LC_ALL, (szIdentifier + ".UTF-8").c_str());
        }
    }
    if (szReported == nullptr) {
        szReported = setlocale(LC_ALL, "");
    }
    if (szReported == nullptr) {
        szReported = setlocale(LC_ALL, nullptr);
    }
    snprintf(gszLocaleName, sizeof(gszLocaleName), "%s", szReported != nullptr ? szReported : "C");
}

} // namespace

const char* LUnixAppSetLocale() {
    std::call_once(gLocaleOnce, SetProcessLocale);
    return gszLocaleName;
}

bool LSetMaximumNumberOfOpenFiles() {
    rlimit limits {};
    if (getrlimit(RLIMIT_NOFILE, &limits) != 0) {
        return false;
    }
    limits.rlim_cur = kLMaximumNumberOfOpenFiles;
    if (limits.rlim_max != RLIM_INFINITY && limits.rlim_max < limits.rlim_cur) {
        limits.rlim_cur = limits.rlim_max;
    }
    return setrlimit(RLIMIT_NOFILE, &limits) == 0;
}

bool LUnixAppInitCommon(int argc, char** argv) {
    LDebugThreadDataStartThread("MAIN");
    umask(0);
    LUnixAppCopyCommandLineArguments(argc, argv);
    LUnixAppSetLocale();
    LSetMaximumNumberOfOpenFiles();
    return true;
}
