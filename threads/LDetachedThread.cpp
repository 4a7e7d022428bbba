#include "threads/LDetachedThread.h"

#include "threads/LPoll.h"

#include <pthread.h>

LDetachedThread::~LDetachedThread() { StopThreadAndWait(); }

int LDetachedThread::StartDetached(LDetachedThreadsOwner& owner, int nNewPriority) {
  {
    std::lock_guard<std::recursive_mutex> lock(mtxStart);
    pOwner = &owner;
    PrepareStartLocked(nNewPriority);
    bDetached = true;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    const int nError = pthread_create(&hThread, &attributes, &LDetachedThread::DetachedThreadEntry, this);
    pthread_attr_destroy(&attributes);
    if (nError != 0) {
      bRunning = false;
      return nError;
    }
    bHasThread = true;
    // The thread cannot finish before it has begun, and it deletes itself
    // only after finishing, which needs mtxStart, held here: the object is
    // alive until this scope ends. The priority is set inside it for that
    // reason: a body that returns at once may delete the thread as soon as
    // the lock is released (mtxStart is recursive, SetPriority takes it too).
    soStarted.WaitSignal(kLWaitForever);
    SetPriority(nNewPriority);
  }
  return 0;
}

void* LDetachedThread::DetachedThreadEntry(void* pContext) {
  auto* pThread = static_cast<LDetachedThread*>(pContext);
  pThread->BeginRun();
  pThread->ThreadCallback();
  pThread->FinishRun();
  LDetachedThreadsOwner* pOwner = pThread->pOwner;
  if (pOwner == nullptr) {
    pThread->soStopped.Signal();
    return nullptr;
  }
  bool bListed;
  {
    // Still listed: nobody else refers to the thread, so it deletes itself.
    // Not listed: StopThreadsNow(), WaitToStop() or Destruct() took it and
    // wait for the stopped signal, then pass through the list mutex (which
    // is held here until the signal is out) before they delete it; the
    // thread must not touch it after the signal.
    std::lock_guard<std::mutex> lock(pOwner->mtxList);
    bListed = pOwner->UnlinkLocked(pThread);
    if (bListed) ++pOwner->nSelfDeleting;
    pThread->soStopped.Signal();
  }
  if (bListed) {
    delete pThread;
    // The owner waits for this count before it may go away, so it is alive
    // here; the notify happens under its mutex, after which nothing of the
    // owner is touched.
    std::lock_guard<std::mutex> lock(pOwner->mtxList);
    --pOwner->nSelfDeleting;
    pOwner->cvSelfDeleted.notify_all();
  }
  return nullptr;
}

LDetachedThreadsOwner::~LDetachedThreadsOwner() { StopThreadsNow(); }

void LDetachedThreadsOwner::Add(LDetachedThread* pThread) {
  if (pThread == nullptr) return;
  std::lock_guard<std::mutex> lock(mtxList);
  for (LDetachedThread* p = pHead; p != nullptr; p = p->pNext) {
    if (p == pThread) return;
  }
  pThread->pOwner = this;
  pThread->pNext = pHead;
  pHead = pThread;
}

bool LDetachedThreadsOwner::Unlink(LDetachedThread* pThread) {
  std::lock_guard<std::mutex> lock(mtxList);
  return UnlinkLocked(pThread);
}

bool LDetachedThreadsOwner::UnlinkLocked(LDetachedThread* pThread) {
  for (LDetachedThread** pp = &pHead; *pp != nullptr; pp = &(*pp)->pNext) {
    if (*pp == pThread) {
      *pp = pThread->pNext;
      pThread->pNext = nullptr;
      return true;
    }
  }
  return false;
}

void LDetachedThreadsOwner::Destruct(LDetachedThread* pThread) {
  if (pThread == nullptr || !Unlink(pThread)) return;
  WaitForEnd(pThread);
  delete pThread;
}

LDetachedThread* LDetachedThreadsOwner::TakeFirst() {
  std::lock_guard<std::mutex> lock(mtxList);
  LDetachedThread* pThread = pHead;
  if (pThread != nullptr) {
    pHead = pThread->pNext;
    pThread->pNext = nullptr;
  }
  return pThread;
}

void LDetachedThreadsOwner::PutBackFirst(LDetachedThread* pThread) {
  std::lock_guard<std::mutex> lock(mtxList);
  pThread->pNext = pHead;
  pHead = pThread;
}

void LDetachedThreadsOwner::WaitForEnd(LDetachedThread* pThread) {
  pThread->StopThreadSoon();
  if (pThread->GetStarted().IsSignaled()) {
    pThread->GetStopped().WaitSignal(kLWaitForever);
    PassThreadsSignal();
  }
}

void LDetachedThreadsOwner::PassThreadsSignal() {
  // The thread signals stopped under the list mutex: taking it here waits
  // until the thread is done with the object.
  std::lock_guard<std::mutex> lock(mtxList);
}

void LDetachedThreadsOwner::StopThreadsSoon() {
  std::lock_guard<std::mutex> lock(mtxList);
  for (LDetachedThread* p = pHead; p != nullptr; p = p->pNext) p->StopThreadSoon();
}

void LDetachedThreadsOwner::StopThreadsNow() {
  StopThreadsSoon();
  while (LDetachedThread* pThread = TakeFirst()) {
    WaitForEnd(pThread);
    delete pThread;
  }
  WaitForSelfDeletions();
}

void LDetachedThreadsOwner::WaitForSelfDeletions() {
  std::unique_lock<std::mutex> lock(mtxList);
  cvSelfDeleted.wait(lock, [this] { return nSelfDeleting == 0; });
}

bool LDetachedThreadsOwner::WaitToStop(LProcessInterface& process, uint32_t dwMilliseconds) {
  const uint64_t qwStart = LMonotonicMilliseconds();
  while (LDetachedThread* pThread = TakeFirst()) {
    uint32_t dwLeft = kLWaitForever;
    if (dwMilliseconds != kLWaitForever) {
      const uint64_t qwElapsed = LMonotonicMilliseconds() - qwStart;
      if (qwElapsed >= dwMilliseconds) {
        PutBackFirst(pThread);
        return false;
      }
      dwLeft = static_cast<uint32_t>(dwMilliseconds - qwElapsed);
    }
    if (pThread->GetStarted().IsSignaled()) {
      if (process.ProcessWaitSignal(pThread->GetStopped(), dwLeft) != kLProcessWaitSignaled) {
        PutBackFirst(pThread);
        return false;
      }
      PassThreadsSignal();
    }
    delete pThread;
  }
  return true;
}

std::size_t LDetachedThreadsOwner::GetCount() {
  std::lock_guard<std::mutex> lock(mtxList);
  std::size_t n = 0;
  for (LDetachedThread* p = pHead; p != nullptr; p = p->pNext) ++n;
  return n;
}

bool LDetachedThreadsOwner::Contains(LDetachedThread* pThread) {
  std::lock_guard<std::mutex> lock(mtxList);
  for (LDetachedThread* p = pHead; p != nullptr; p = p->pNext) {
    if (p == pThread) return true;
  }
  return false;
}
