#include "threads/LProcessInterfaceVoid.h"

#include "threads/LPoll.h"
#include "threads/LSignalObjectGroup.h"

#include <unistd.h>

bool LProcessInterfaceVoid::IsToStop() { return false; }

bool LProcessInterfaceVoid::ProcessWait(uint32_t dwMilliseconds) {
  if (dwMilliseconds == kLWaitForever) {
    for (;;) pause();
  }
  LSleepMilliseconds(dwMilliseconds);
  return false;
}

int LProcessInterfaceVoid::ProcessWaitSignal(LSignalObjectRef ref, uint32_t dwMilliseconds) {
  return ref.WaitSignal(dwMilliseconds) ? kLProcessWaitSignaled : kLProcessWaitTimedOut;
}

int LProcessInterfaceVoid::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, uint32_t dwMilliseconds) {
  return group.Select(dwMilliseconds) ? kLProcessWaitSignaled : kLProcessWaitTimedOut;
}

