#include "tools/harlune/CommandSupport.h"

#include <CoreFoundation/CFRunLoop.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>

#include <sys/time.h>

namespace harlune::tools {

void LBlockStopSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool LWaitForStopSignal(std::chrono::milliseconds timeout) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    timespec ts;
    ts.tv_sec = static_cast<time_t>(timeout.count() / 1000);
    ts.tv_nsec = static_cast<long>(timeout.count() % 1000) * 1000000L;
    return sigtimedwait(&set, nullptr, &ts) > 0;
}

bool LRunMainUntilStopSignal(std::chrono::milliseconds timeout) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, static_cast<double>(timeout.count()) / 1000.0, false);
    return LWaitForStopSignal(std::chrono::milliseconds(0));
}

namespace {

// Standard error is shared by the log and the live line.
std::mutex gmtxStderr;
std::string gszLiveLine; // the live line on screen; empty when none

} // namespace

void LLogLine(const char* szName, const std::string& szText) {
    timeval tv;
    gettimeofday(&tv, nullptr);
    tm local;
    localtime_r(&tv.tv_sec, &local);
    std::lock_guard<std::mutex> lock(gmtxStderr);
    if (!gszLiveLine.empty()) {
        std::fputs("\r\033[K", stderr);
    }
    std::fprintf(stderr, "[%s %02d:%02d:%02d.%03ld] %s\n", szName, local.tm_hour, local.tm_min, local.tm_sec,
                 static_cast<long>(tv.tv_usec / 1000), szText.c_str());
    if (!gszLiveLine.empty()) {
        std::fputs(gszLiveLine.c_str(), stderr);
    }
    std::fflush(stderr);
}

void LShowLiveLine(const std::string& szText) {
    std::lock_guard<std::mutex> lock(gmtxStderr);
    gszLiveLine = szText;
    std::fprintf(stderr, "\r\033[K%s", szText.c_str());
    std::fflush(stderr);
}

void LPrintLine(std::FILE* pStream, const std::string& szText) {
    std::lock_guard<std::mutex> lock(gmtxStderr);
    if (!gszLiveLine.empty()) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
    }
    std::fprintf(pStream, "%s\n", szText.c_str());
    std::fflush(pStream);
    if (!gszLiveLine.empty()) {
        std::fputs(gszLiveLine.c_str(), stderr);
        std::fflush(stderr);
    }
}

void LEndLiveLine() {
    std::lock_guard<std::mutex> lock(gmtxStderr);
    if (!gszLiveLine.empty()) {
        std::fputs("\n", stderr);
        std::fflush(stderr);
    }
    gszLiveLine.clear();
}

bool LParseNumber(const std::string& szText, double* pfValue) {
    if (szText.empty()) {
        return false;
    }
    char* pEnd = nullptr;
    const double f = std::strtod(szText.c_str(), &pEnd);
    if (*pEnd != '\0') {
        return false;
    }
    *pfValue = f;
    return true;
}

bool LParseOptionNumber(const std::string& szOption, const std::string& szText, double fMin, double fMax,
                        double* pfValue, std::string* pszError) {
    double f = 0;
    if (!LParseNumber(szText, &f) || !(f >= fMin && f <= fMax)) {
        char sz[64];
        std::snprintf(sz, sizeof sz, "%g to %g", fMin, fMax);
        *pszError = szOption + " takes a number from " + sz + ", not '" + szText + "'";
        return false;
    }
    *pfValue = f;
    return true;
}

const char* LVersionText() { return "harlune " HARLUNE_VERSION; }

bool LIsHelpOrVersion(const std::string& szArg, const char* szUsage) {
    if (szArg == "--help" || szArg == "-h") {
        std::fputs(szUsage, stdout);
        return true;
    }
    if (szArg == "--version") {
        std::printf("%s\n", LVersionText());
        return true;
    }
    return false;
}

} // namespace harlune::tools
