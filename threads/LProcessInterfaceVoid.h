// LProcessInterfaceVoid: a process interface that is never stopped, for
// running an operation that wants one where nobody can ask it to stop.
// Its waits are plain waits. Stateless, so safe on any thread.
#pragma once

#include "threads/LProcessInterface.h"

class LProcessInterfaceVoid : public LProcessInterface {
public:
  // Always false.
  bool IsToStop() override;
  // Sleeps the whole time (resuming after interrupts) and returns false.
  // Waiting without limit on an interface that never stops sleeps for ever,
  // as asked; only the end of the process ends it.
  bool ProcessWait(uint32_t dwMilliseconds) override;
  // kLProcessWaitSignaled when the signal came, else kLProcessWaitTimedOut.
  int ProcessWaitSignal(LSignalObjectRef ref, uint32_t dwMilliseconds) override;
  // kLProcessWaitTimedOut for an empty group or when nothing came.
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, uint32_t dwMilliseconds) override;
};
