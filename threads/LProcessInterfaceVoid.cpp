#include "threads/LProcessInterfaceVoid.h"

#include "threads/LSignalObjectGroup.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

bool LProcessInterfaceVoid::IsToStop() { return false; }

bool LProcessInterfaceVoid::ProcessWait(uint32_t dwMilliseconds) {
  if (dwMilliseconds == kLWaitForever) {
    for (;;) pause();
  }
  timespec tsLeft{static_cast<time_t>(dwMilliseconds / 1000), static_cast<long>(dwMilliseconds % 1000) * 1000000L};
  while (nanosleep(&tsLeft, &tsLeft) != 0 && errno == EINTR) {
  }
  return false;
}

int LProcessInterfaceVoid::ProcessWaitSignal(LSignalObjectRef ref, uint32_t dwMilliseconds) {
  return ref.WaitSignal(dwMilliseconds) ? kLProcessWaitSignaled : kLProcessWaitTimedOut;
}

int LProcessInterfaceVoid::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, uint32_t dwMilliseconds) {
  return group.Select(dwMilliseconds) ? kLProcessWaitSignaled : kLProcessWaitTimedOut;
}

