#include "threads/LThread.h"

#include "diagnostics/LDebugThreadId.h"
#include "threads/LPoll.h"
#include "threads/LSignalObjectGroup.h"

#include <sched.h>

LThread::LThread() = default;

LThread::~LThread() { StopThreadAndWait(); }

void LThread::StopThreadAndWait() {
  soStopRequest.Signal();
  if (soStarted.IsSignaled()) soStopped.WaitSignal(kLWaitForever);
  std::lock_guard<std::recursive_mutex> lock(mtxStart);
  JoinEndedLocked();
}

void LThread::JoinEndedLocked() {
  if (!bHasThread || bDetached) return;
  if (pthread_equal(hThread, pthread_self())) {
    // Destroyed from its own body: nobody can join it, so it cleans up
    // after itself.
    pthread_detach(hThread);
  } else {
    // The body has returned (stopped is signalled): the join returns at
    // once, and it orders everything the thread did before whatever the
    // caller does next, such as closing the descriptors it signalled.
    pthread_join(hThread, nullptr);
  }
  bHasThread = false;
}

void LThread::PrepareStartLocked(int nNewPriority) {
  soStopRequest.Reset();
  soStopped.Reset();
  soStarted.Reset();
  bRunning = true;
  nPriority = nNewPriority;
}

bool LThread::Start(int nNewPriority) {
  bool bCreated = false;
  {
    std::lock_guard<std::recursive_mutex> lock(mtxStart);
    if (bHasThread) {
      if (bRunning) return true;
      // The previous run's thread has ended; it is joined before the next.
      soStopped.WaitSignal(kLWaitForever);
      JoinEndedLocked();
    }
    PrepareStartLocked(nNewPriority);
    bDetached = false;
    bCreated = pthread_create(&hThread, nullptr, &LThread::ThreadEntry, this) == 0;
    bHasThread = bCreated;
    // Waits for the start itself, not through the process interface: a stop
    // request meanwhile must not let Start return before the thread began,
    // or a destructor could miss the run it has to wait for.
    if (bCreated) soStarted.WaitSignal(kLWaitForever);
  }
  SetPriority(nNewPriority);
  return bCreated;
}

void* LThread::ThreadEntry(void* pContext) {
  auto* pThread = static_cast<LThread*>(pContext);
  pThread->BeginRun();
  pThread->ThreadCallback();
  pThread->FinishRun();
  // The last touch of the object: once stopped is signalled, the owner may
  // join the thread and destroy the object.
  pThread->soStopped.Signal();
  return nullptr;
}

void LThread::BeginRun() {
  dwThreadId = LDebugGetCurrentThreadId();
  soStarted.Signal();
}

void LThread::FinishRun() {
  std::lock_guard<std::recursive_mutex> lock(mtxStart);
  // A detached thread's handle is forgotten here; a joinable one is kept
  // for the join by the next Start() or the destructor.
  if (bDetached) bHasThread = false;
  bRunning = false;
  dwThreadId = kLNoThreadId;
}

void LThread::SetPriority(int nNewPriority) {
  std::lock_guard<std::recursive_mutex> lock(mtxStart);
  nPriority = nNewPriority;
  if (!bHasThread || !bRunning) return;
  if (nNewPriority == kLPriorityRealTime) {
    const int nMin = sched_get_priority_min(SCHED_RR);
    const int nMax = sched_get_priority_max(SCHED_RR);
    sched_param param{};
    param.sched_priority = nNewPriority < nMin ? nMin : (nNewPriority > nMax ? nMax : nNewPriority);
    if (pthread_setschedparam(hThread, SCHED_RR, &param) == 0) return;
  }
  // Linux's normal policy accepts only priority 0: other values are refused
  // and change nothing.
  sched_param param{};
  param.sched_priority = nNewPriority;
  pthread_setschedparam(hThread, SCHED_OTHER, &param);
}

void LThread::StopThreadSoon() { soStopRequest.Signal(); }

bool LThread::IsToStop() { return soStopRequest.IsSignaled(); }

bool LThread::ProcessWait(uint32_t dwMilliseconds) { return soStopRequest.WaitSignal(dwMilliseconds); }

int LThread::ProcessWaitSignal(LSignalObjectRef ref, uint32_t dwMilliseconds) {
  const LSignalObjectRef stop = soStopRequest;
  pollfd arEntries[2] = {{stop.nReadFd, POLLIN, 0}, {ref.nReadFd, POLLIN, 0}};
  if (LPollReadable(arEntries, 2, dwMilliseconds) <= 0) return kLProcessWaitTimedOut;
  if (arEntries[0].revents & POLLIN) return kLProcessWaitStopRequested;
  return kLProcessWaitSignaled;
}

int LThread::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, uint32_t dwMilliseconds) {
  const LSignalObjectRef stop = soStopRequest;
  long nStopIndex = group.FindDescriptor(stop.nReadFd);
  if (nStopIndex < 0 && group.Add(stop)) nStopIndex = static_cast<long>(group.GetCount() - 1);
  if (nStopIndex >= 0) {
    if (!group.Select(dwMilliseconds)) return kLProcessWaitTimedOut;
    return group.IsEntrySignaled(static_cast<std::size_t>(nStopIndex)) ? kLProcessWaitStopRequested
                                                                         : kLProcessWaitSignaled;
  }
  // The group is full: wait on the stop request beside it, unchanged.
  const int nFound = group.SelectWithExtra(stop.nReadFd, dwMilliseconds);
  if (nFound == 0) return kLProcessWaitTimedOut;
  return (nFound & 2) ? kLProcessWaitStopRequested : kLProcessWaitSignaled;
}
