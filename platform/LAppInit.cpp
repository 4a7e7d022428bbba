#include "platform/LAppInit.h"

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

std::string CurrentLocaleIdentifier() {
    std::string szIdentifier;
    CFLocaleRef locale = CFLocaleCopyCurrent();
    if (locale == nullptr) {
        return szIdentifier;
    }
    char szBuffer[64];
    CFStringRef identifier = CFLocaleGetIdentifier(locale);
    if (identifier != nullptr && CFStringGetCString(identifier, szBuffer, sizeof(szBuffer), kCFStringEncodingUTF8)) {
        szIdentifier = szBuffer;
    }
    CFRelease(locale);
    return szIdentifier.substr(0, kMaxIdentifierChars);
}

void SetProcessLocale() {
    const std::string szIdentifier = CurrentLocaleIdentifier();
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
    umask(0);
    LUnixAppCopyCommandLineArguments(argc, argv);
    LUnixAppSetLocale();
    LSetMaximumNumberOfOpenFiles();
    return true;
}
