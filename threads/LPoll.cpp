#include "threads/LPoll.h"

#include "threads/LSignalObject.h"

#include <cerrno>
#include <ctime>

uint64_t LMonotonicMilliseconds() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

void LSleepMilliseconds(uint32_t dwMilliseconds) {
  timespec tsLeft{static_cast<time_t>(dwMilliseconds / 1000), static_cast<long>(dwMilliseconds % 1000) * 1000000L};
  while (nanosleep(&tsLeft, &tsLeft) != 0 && errno == EINTR) {
  }
}

int LPollReadable(pollfd* arEntries, std::size_t nEntries, uint32_t dwMilliseconds) {
  if (arEntries == nullptr || nEntries == 0) return -1;
  bool bAnyValid = false;
  for (std::size_t i = 0; i < nEntries; ++i) {
    arEntries[i].events = POLLIN;
    arEntries[i].revents = 0;
    if (arEntries[i].fd >= 0) bAnyValid = true;
  }
  // poll() ignores negative descriptors; with none left it would sleep the
  // whole time (for ever, without limit) for nothing.
  if (!bAnyValid) return -1;

  const bool bForever = dwMilliseconds == kLWaitForever;
  const uint64_t qwDeadline = bForever ? 0 : LMonotonicMilliseconds() + dwMilliseconds;
  int nTimeout = bForever ? -1 : static_cast<int>(dwMilliseconds > 0x7FFFFFFFu ? 0x7FFFFFFFu : dwMilliseconds);
  for (;;) {
    const int nReady = poll(arEntries, static_cast<nfds_t>(nEntries), nTimeout);
    if (nReady > 0) break;
    if (nReady == 0) return 0;
    if (errno != EINTR) return -1;
    if (!bForever) {
      const uint64_t qwNow = LMonotonicMilliseconds();
      if (qwNow >= qwDeadline) return 0;
      nTimeout = static_cast<int>(qwDeadline - qwNow);
    }
  }
  int nReadable = 0;
  for (std::size_t i = 0; i < nEntries; ++i) {
    if (arEntries[i].revents & POLLIN) ++nReadable;
  }
  return nReadable > 0 ? nReadable : -1;
}
