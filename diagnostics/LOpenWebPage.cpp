// Opening a URL or a file with the desktop's handler.
#include "diagnostics/LBugReport.h"
#include "text/LPlatformString.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool IsUnreservedOrReserved(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           strchr("-._~:/?#[]@!$&'()*+,;=", c) != nullptr;
}

bool IsHex(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }

// Whether the platform takes the text as a URL: a scheme of letters, digits,
// "+", "-" and "." that starts with a letter, a ":", and nothing but URL
// characters and whole percent escapes after it.
bool IsAcceptableURL(const std::string& szText) {
    const size_t nColon = szText.find(':');
    if (nColon == 0 || nColon == std::string::npos || !isalpha(static_cast<unsigned char>(szText[0]))) return false;
    for (size_t i = 0; i < nColon; ++i) {
        const char c = szText[i];
        if (!isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') return false;
    }
    for (size_t i = nColon + 1; i < szText.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(szText[i]);
        if (c == '%') {
            if (i + 2 >= szText.size() || !IsHex(szText[i + 1]) || !IsHex(szText[i + 2])) return false;
            i += 2;
        } else if (!IsUnreservedOrReserved(c)) {
            return false;
        }
    }
    return true;
}

// Adds percent escapes (UTF-8 bytes, upper-case hex) to every character but
// letters, digits, "-._~" and ! * ' " ( ) ; : @ & = + $ , / ? % # [ ].
std::string AddPercentEscapes(const std::string& szText) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string szOut;
    for (unsigned char c : szText) {
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || strchr("-._~", c) ||
            strchr("!*'\"();:@&=+$,/?%#[]", c)) {
            szOut += static_cast<char>(c);
        } else {
            szOut += '%';
            szOut += kHex[c >> 4];
            szOut += kHex[c & 15];
        }
    }
    return szOut;
}

bool FileURL(const char* szPath, std::string* pOut) {
    CFStringRef sPath = LMacNSStringFromString(szPath);
    CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, sPath, kCFURLPOSIXPathStyle, false);
    CFRelease(sPath);
    if (url == nullptr) return false;
    char szURL[kLBugReportTextMax + 1];
    const bool bDone = CFStringGetCString(CFURLGetString(url), szURL, sizeof szURL, kCFStringEncodingUTF8);
    CFRelease(url);
    if (bDone) *pOut = szURL;
    return bDone;
}

// The full path of xdg-open on PATH, or empty.
std::string FindOpener() {
    const char* szPath = getenv("PATH");
    std::string szDirs = szPath ? szPath : "/usr/local/bin:/usr/bin:/bin";
    size_t nStart = 0;
    while (nStart <= szDirs.size()) {
        size_t nEnd = szDirs.find(':', nStart);
        if (nEnd == std::string::npos) nEnd = szDirs.size();
        std::string szCandidate = szDirs.substr(nStart, nEnd - nStart);
        if (!szCandidate.empty()) {
            szCandidate += "/xdg-open";
            if (access(szCandidate.c_str(), X_OK) == 0) return szCandidate;
        }
        nStart = nEnd + 1;
    }
    return {};
}

} // namespace

bool LMakeWebPageURL(const char* szText, char* szOut) {
    if (szText == nullptr || szOut == nullptr || szText[0] == '\0') return false;
    std::string szURL;
    if (const char* pFile = strstr(szText, "file://"); pFile != nullptr) {
        // The path is what follows "file://" (for text that begins with it,
        // the text from its eighth character).
        if (!FileURL(pFile + 7, &szURL)) return false;
    } else if (szText[0] == '/') {
        if (!FileURL(szText, &szURL)) return false;
    } else {
        std::string szCandidate = strstr(szText, "://") ? std::string(szText) : "http://" + std::string(szText);
        if (szCandidate.size() > kLBugReportTextMax) szCandidate.resize(kLBugReportTextMax);
        if (IsAcceptableURL(szCandidate)) {
            szURL = szCandidate;
        } else {
            szCandidate = AddPercentEscapes(szCandidate);
            if (!IsAcceptableURL(szCandidate)) return false;
            szURL = szCandidate;
        }
    }
    snprintf(szOut, kLBugReportTextMax + 1, "%s", szURL.c_str());
    return true;
}

void LOpenWebPage(const char* szText) {
    auto szURL = std::make_unique<char[]>(kLBugReportTextMax + 1);
    if (!LMakeWebPageURL(szText, szURL.get())) return;
    const std::string szOpener = FindOpener();
    if (szOpener.empty()) return;
    // Started through an intermediate child that exits at once, so the
    // opener is never this process's child and never waited for. Between
    // fork and exec only async-signal-safe calls are made.
    const pid_t pid = fork();
    if (pid < 0) return;
    if (pid == 0) {
        if (fork() == 0) {
            const int nNull = open("/dev/null", O_RDWR);
            if (nNull >= 0) {
                dup2(nNull, STDIN_FILENO);
                dup2(nNull, STDOUT_FILENO);
                dup2(nNull, STDERR_FILENO);
            }
            const char* arArgs[] = {szOpener.c_str(), szURL.get(), nullptr};
            execv(szOpener.c_str(), const_cast<char* const*>(arArgs));
        }
        _exit(0);
    }
    waitpid(pid, nullptr, 0);
}
