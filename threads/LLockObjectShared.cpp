#include "threads/LLockObjectShared.h"

void LLockObjectShared::LockShared() {
  std::lock_guard<std::mutex> lock(mtxLock);
  soNoShared.Reset();
  ++nSharedCount;
}

void LLockObjectShared::UnlockShared() {
  std::lock_guard<std::mutex> lock(mtxLock);
  // An unmatched unlock must not drive the count below zero, or a later
  // shared holder would not keep writers out.
  if (nSharedCount > 0 && --nSharedCount == 0) soNoShared.Signal();
}

void LLockObjectShared::WaitForNoSharedLocked() {
  while (nSharedCount > 0) {
    mtxLock.unlock();
    soNoShared.WaitSignal(kLWaitForever);
    mtxLock.lock();
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
    soNoShared.Signal();
  }
  WaitForNoSharedLocked();
}

void LLockObjectShared::DowngradeLock() {
  soNoShared.Reset();
  ++nSharedCount;
  mtxLock.unlock();
}

int32_t LLockObjectShared::GetSharedCount() {
  std::lock_guard<std::mutex> lock(mtxLock);
  return nSharedCount;
}
