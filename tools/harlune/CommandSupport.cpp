#include "tools/harlune/CommandSupport.h"

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
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool LWaitForStopSignal(std::chrono::milliseconds timeout) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    timespec ts;
    ts.tv_sec = static_cast<time_t>(timeout.count() / 1000);
    ts.tv_nsec = static_cast<long>(timeout.count() % 1000) * 1000000L;
    return sigtimedwait(&set, nullptr, &ts) > 0;
}

void LLogLine(const char* szName, const std::string& szText) {
    static std::mutex mtx;
    timeval tv;
    gettimeofday(&tv, nullptr);
    tm local;
    localtime_r(&tv.tv_sec, &local);
    std::lock_guard<std::mutex> lock(mtx);
    std::fprintf(stderr, "[%s %02d:%02d:%02d.%03ld] %s\n", szName, local.tm_hour, local.tm_min, local.tm_sec,
                 static_cast<long>(tv.tv_usec / 1000), szText.c_str());
    std::fflush(stderr);
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

} // namespace harlune::tools
