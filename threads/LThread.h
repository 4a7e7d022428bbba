// LThread: a thread that can be started, asked to stop, started again, and
// torn down in order. Its body is ThreadCallback(), supplied by a derived
// class; the thread itself is the body's LProcessInterface, so the body
// waits through ProcessWait... and ends when IsToStop() says so.
//
// Lifecycle: idle (no thread) -> running (from Start() until the body
// returns) -> idle; it can be started again. A stop request stays signalled
// until the next Start() clears it.
//
// The thread is joined once its body has ended, by the next Start() or by
// StopThreadAndWait(), so nothing of a run outlives the object.
//
// Teardown: a derived class must call StopThreadAndWait() first thing in its
// own destructor. By the time ~LThread() runs, the derived part is gone, and
// a body still running would call into a half-destroyed object. ~LThread()
// makes the same request and wait as a last resort.
//
// Thread safety: Start(), SetPriority() and StopThreadSoon() may be called
// from any thread (start and priority are serialised by a recursive mutex);
// the process-interface operations are meant for the body. The object must
// outlive its thread: destroy it only after the body has returned, which
// StopThreadAndWait() ensures.
//
// Priority: on Linux, priority 91 (the real-time priority of audio threads
// on the home platform) asks for the round-robin real-time policy at that
// priority, which needs the right to use it (CAP_SYS_NICE or an RLIMIT_RTPRIO
// of at least 91); without it, and for every other priority, the request
// has no effect, because Linux's normal policy has a single priority.
#pragma once

#include "threads/LProcessInterface.h"
#include "threads/LSignalObject.h"

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <mutex>

class LThread : public LProcessInterface {
public:
  static constexpr int kLPriorityRealTime = 91;
  static constexpr uint32_t kLNoThreadId = 0xFFFFFFFFu;

  LThread();
  ~LThread() override;
  LThread(const LThread&) = delete;
  LThread& operator=(const LThread&) = delete;

  // Starts the body on a new thread unless it is running already, waits
  // until the thread has begun, then applies the priority. Returns whether
  // the body runs. When the thread cannot be created, the running flag is
  // left set (IsRunning() stays true until the next successful start).
  bool Start(int nPriority = 0);
  void SetPriority(int nPriority);
  // Asks the body to stop; does not wait.
  void StopThreadSoon();

  bool IsRunning() const { return bRunning.load(); }
  // The kernel's id of the running thread, kLNoThreadId when none.
  uint32_t GetThreadId() const { return dwThreadId.load(); }
  int GetPriority() const { return nPriority; }

  // Process interface for the body.
  bool IsToStop() override;
  bool ProcessWait(uint32_t dwMilliseconds) override;
  int ProcessWaitSignal(LSignalObjectRef ref, uint32_t dwMilliseconds) override;
  // Adds the stop request to the group (once, when it has room; the entry
  // stays in the group) and waits on the whole group. A full group is not
  // changed: the stop request is waited on beside it.
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, uint32_t dwMilliseconds) override;

  LSignalObjectRef GetStopRequest() const { return soStopRequest; }
  LSignalObjectRef GetStopped() const { return soStopped; }
  LSignalObjectRef GetStarted() const { return soStarted; }

protected:
  // The thread's body; runs on the thread.
  virtual void ThreadCallback() = 0;

  // Signals the stop request and, if the thread ran, waits for its end.
  // Safe to call more than once and on a thread that never started.
  void StopThreadAndWait();

  // What the thread runs: records its id, signals started, runs the body,
  // then marks the object idle and signals stopped. Used by LDetachedThread.
  static void* ThreadEntry(void* pThread);
  // The part of ThreadEntry before the body: records the id, signals started.
  void BeginRun();
  // The part of ThreadEntry after the body, up to (not including) the
  // stopped signal: marks the object idle.
  void FinishRun();
  // Joins (or, from the thread itself, detaches) a joinable thread whose
  // body has ended; under mtxStart.
  void JoinEndedLocked();
  // Prepares the signals and flags of a start; under mtxStart.
  void PrepareStartLocked(int nPriority);

  pthread_t hThread{};                     // the thread, valid when bHasThread
  bool bHasThread = false;                 // a thread exists (handle set), running or ended and not joined
  bool bDetached = false;                  // the thread was created detached (LDetachedThread)
  std::atomic<uint32_t> dwThreadId{kLNoThreadId};  // kernel thread id, kLNoThreadId when none
  int nPriority = 0;                       // the priority asked for
  std::atomic<bool> bRunning{false};       // from Start until the body returned
  LSignalObject soStopRequest;             // a stop was requested
  LSignalObject soStopped;                 // the body returned
  LSignalObject soStarted;                 // the thread began
  std::recursive_mutex mtxStart;           // guards start and priority
};
