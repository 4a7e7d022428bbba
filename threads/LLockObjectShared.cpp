#include "threads/LLockObjectShared.h"

// The event costs a system call to signal and one to clear, so it is only
// signalled when an exclusive locker waits for it, and only cleared when it
// was signalled: an uncontended lock makes no system call.
void LLockObjectShared::ClearEventLocked() {
  if (!bEventSet) return;
  soNoShared.Reset();
  bEventSet = false;
}

void LLockObjectShared::SignalEventLocked() {
  if (nExclusiveWaiters == 0) return;
  soNoShared.Signal();
  bEventSet = true;
}

void LLockObjectShared::LockShared() {
  std::lock_guard<std::mutex> lock(mtxLock);
  ClearEventLocked();
  ++nSharedCount;
}

void LLockObjectShared::UnlockShared() {
  std::lock_guard<std::mutex> lock(mtxLock);
  // An unmatched unlock must not drive the count below zero, or a later
  // shared holder would not keep writers out.
  if (nSharedCount > 0 && --nSharedCount == 0) SignalEventLocked();
}

void LLockObjectShared::WaitForNoSharedLocked() {
  while (nSharedCount > 0) {
    // Counted under the mutex before it is released, so the last shared
    // holder, which decides under the mutex, cannot miss this waiter.
    ++nExclusiveWaiters;
    mtxLock.unlock();
    soNoShared.WaitSignal(kLWaitForever);
    mtxLock.lock();
    --nExclusiveWaiters;
  }
}

void LLockObjectShared::LockExclusive() {
  mtxLock.lock();
  WaitForNoSharedLocked();
}

void LLockObjectShared::Unlock() { mtxLock.unlock(); }

void LLockObjectShared::UpgradeLock() {
  mtxLock.lock();
  if (nSharedCount > 0 && --nSharedCount == 0) {
    // Another exclusive locker may be waiting for the event while this one
    // held the last shared hold; without the signal it would wait for ever
    // once this caller's exclusive hold ends.
    SignalEventLocked();
  }
  WaitForNoSharedLocked();
}

void LLockObjectShared::DowngradeLock() {
  ClearEventLocked();
  ++nSharedCount;
  mtxLock.unlock();
}

int32_t LLockObjectShared::GetSharedCount() {
  std::lock_guard<std::mutex> lock(mtxLock);
  return nSharedCount;
}
