// LThreadNotifyInterface: a thread whose reports reach another process
// interface on the main thread. The body calls SetError, SetStatus,
// SetProgress and the indeterminate-progress switches from its own thread;
// each becomes a queued notification, delivered in order to the target
// (typically the user interface's process interface) on the main thread.
//
// Status lines are kept in the object and read at delivery, so several
// changes of one line posted before the main thread runs all deliver the
// latest text. Progress travels as a whole percentage: SetProgress(0.1234)
// arrives as 0.12. Fractions below 0 are sent as 0, and those too large
// for the percentage's 32 bits as the largest it holds.
//
// Lifetime: the target is not owned and must outlive the deliveries (or the
// object). Destroy the object on the main thread; a derived class calls
// StopThreadAndWait() first in its destructor. The destructor stops the
// thread and then ends deliveries, so nothing reaches the target after it.
#pragma once

#include "threads/LQueuedNotifyDataSender.h"
#include "threads/LThread.h"

#include <cstddef>
#include <mutex>

class LThreadNotifyInterface : public LThread, public LQueuedNotifyDataHandler {
public:
  // Notification codes.
  enum : unsigned {
    kLNotifyError = 0,
    kLNotifyStatusLine0 = 1,
    kLNotifyStatusLine1 = 2,
    kLNotifyProgress = 3,
    kLNotifyProgressIndeterminateOn = 4,
    kLNotifyProgressIndeterminateOff = 5,
  };
  static constexpr std::size_t kLStatusCapacity = 260;  // bytes of one status line, terminator included

  explicit LThreadNotifyInterface(LProcessInterface* pTarget);
  ~LThreadNotifyInterface() override;

  // Callable from any thread.
  void SetError(const char* szText) override;
  // Lines 0 and 1; any other line is ignored. Text beyond 259 bytes is cut.
  void SetStatus(const char* szText, int nLine) override;
  void SetProgress(double fFraction) override;
  void SetProgressIndeterminateOn() override;
  void SetProgressIndeterminateOff() override;

  // On the main thread: passes a notification on to the target.
  void EvQueuedNotifyData(unsigned nCode, const void* pData, unsigned long nLength) override;

  LProcessInterface* GetTarget() const { return pTarget; }

private:
  LProcessInterface* pTarget;              // receives the reports on the main thread; not owned
  LQueuedNotifyDataSender sender;          // posts to this object's handler side
  std::mutex mtxStatus;                    // guards the two status lines
  char arszStatus[2][kLStatusCapacity];    // status lines 0 and 1, as last set
};
