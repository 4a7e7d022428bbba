// LThreadQueuedNotify: a bare call carried to the main thread. A derived
// class supplies EvThreadQueuedNotify(); PostQueueNotify() from any thread
// has it called on the main thread (at once when posted there).
//
// Lifetime and threads as for LQueuedNotifyDataHandler: destroy on the main
// thread; a derived class calls ThreadQueuedNotifyDestroy() first in its
// destructor; after that nothing more is delivered.
#pragma once

#include "threads/LNotifyPartner.h"

class LThreadQueuedNotify {
public:
  LThreadQueuedNotify();
  virtual ~LThreadQueuedNotify();
  LThreadQueuedNotify(const LThreadQueuedNotify&) = delete;
  LThreadQueuedNotify& operator=(const LThreadQueuedNotify&) = delete;

  void ThreadQueuedNotifyDestroy();
  // On the main thread: calls EvThreadQueuedNotify() before returning. On
  // any other: queues the call to the main thread and returns at once.
  void PostQueueNotify();

  virtual void EvThreadQueuedNotify() = 0;

private:
  LNotifyPartnerSlot slot;  // the partner (LThreadQueuedNotifyImpl)
};
