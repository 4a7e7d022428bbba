// flock with a bounded, doubling wait.
#include "diagnostics/LFlockTimed.h"

#include <cerrno>
#include <ctime>

#include <sys/file.h>

namespace {

void SleepMilliseconds(void*, unsigned nMilliseconds) {
    struct timespec tsLeft = {static_cast<time_t>(nMilliseconds / 1000),
                              static_cast<long>(nMilliseconds % 1000) * 1000000L};
    while (nanosleep(&tsLeft, &tsLeft) != 0 && errno == EINTR) {
    }
}

} // namespace

int LFlockTimedWithSleep(int nFile, int nOperation, int nMilliseconds, LFlockSleepFn pfnSleep, void* pContext) {
    if (pfnSleep == nullptr) {
        errno = EINVAL;
        return -1;
    }
    if (nMilliseconds < 0) nMilliseconds = 0;
    nOperation |= LOCK_NB;
    long nWait = nMilliseconds / 32 + 1;
    for (;;) {
        if (flock(nFile, nOperation) == 0) return 0;
        if (errno != EWOULDBLOCK) return -1;
        pfnSleep(pContext, static_cast<unsigned>(nWait));
        nWait *= 2;
        if (nWait >= nMilliseconds) {
            errno = EWOULDBLOCK;
            return -1;
        }
    }
}

int flocktimed(int nFile, int nOperation, int nMilliseconds) {
    return LFlockTimedWithSleep(nFile, nOperation, nMilliseconds, SleepMilliseconds, nullptr);
}
