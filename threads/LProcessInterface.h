// LProcessInterface: what a long operation (copying, loading, reporting) is
// handed so that it can ask whether to stop, wait without making a stop
// request wait, and report errors, status lines and progress.
//
// An operation calls IsToStop() between steps and waits only through the
// ProcessWait... operations, so a stop request ends every wait at once.
// Implementations: LThread (stops when asked to), LProcessInterfaceVoid
// (never stops), LProcessInterfaceNested (forwards to a parent), and
// LThreadNotifyInterface (a thread that passes its reports to the main
// thread).
//
// Thread safety: each implementation states its own; the reporting
// operations of the base do nothing and are safe anywhere.
#pragma once

#include "threads/LSignalObject.h"

#include <cstdint>

class LSignalObjectGroup;

// Results of the ProcessWaitSignal... operations.
enum LProcessWaitResult : int {
  kLProcessWaitSignaled = 0,       // the signal came
  kLProcessWaitStopRequested = 1,  // a stop was requested (even if the signal came too)
  kLProcessWaitTimedOut = 2,       // neither came in time, or the wait failed
};

class LProcessInterface {
public:
  // True when a stop was requested.
  virtual bool IsToStop() = 0;
  // Waits up to the time (kLWaitForever: without limit); true when a stop
  // was requested.
  virtual bool ProcessWait(uint32_t dwMilliseconds) = 0;
  // Waits for the signal or a stop request; an LProcessWaitResult.
  virtual int ProcessWaitSignal(LSignalObjectRef ref, uint32_t dwMilliseconds) = 0;
  // Waits for any event of the group or a stop request; an LProcessWaitResult.
  virtual int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, uint32_t dwMilliseconds) = 0;

  virtual void ProcessWaitUntilStopped();
  virtual int ProcessWaitSignalForever(LSignalObjectRef ref);
  virtual int ProcessWaitSignalObjectGroupForever(LSignalObjectGroup& group);

  // Reporting. The text is the caller's and is only read during the call.
  // The status has two lines, 0 and 1.
  virtual void SetError(const char* szText);
  virtual void SetStatus(const char* szText, int nLine);
  // A fraction from 0.0 (nothing done) to 1.0 (all done).
  virtual void SetProgress(double fFraction);
  virtual void SetProgressIndeterminateOn();
  virtual void SetProgressIndeterminateOff();

  virtual ~LProcessInterface();

  // Format into at most 8191 characters (longer text is cut) and call
  // SetError / SetStatus.
  void SetErrorF(const char* szFormat, ...) __attribute__((format(printf, 2, 3)));
  void SetStatusF(int nLine, const char* szFormat, ...) __attribute__((format(printf, 3, 4)));
};
