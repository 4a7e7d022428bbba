// LLockObjectShared: a lock with shared (many readers) and exclusive (one
// writer) holds, for data read often and changed rarely.
//
// Shared holders are counted under a mutex; an exclusive holder holds that
// mutex for the whole of its hold, so it excludes both new shared holders
// and other exclusive ones. An exclusive locker waits on an event that the
// last shared holder signals when it leaves.
//
// Rules: every LockShared() is matched by one UnlockShared() (or turned into
// an exclusive hold by UpgradeLock()); every exclusive hold (LockExclusive()
// or UpgradeLock()) ends with Unlock() or DowngradeLock(). Exclusive holds
// are not recursive. Two shared holders that upgrade at the same time wait
// for each other for ever; only one thread at a time may upgrade.
//
// Thread safety: all operations may be called from any thread.
#pragma once

#include "threads/LSignalObject.h"

#include <cstdint>
#include <mutex>

class LLockObjectShared {
public:
  LLockObjectShared() = default;
  LLockObjectShared(const LLockObjectShared&) = delete;
  LLockObjectShared& operator=(const LLockObjectShared&) = delete;

  void LockShared();
  void UnlockShared();
  // Returns holding the lock exclusively, once no shared holder is left.
  void LockExclusive();
  // Ends an exclusive hold.
  void Unlock();
  // Turns the caller's shared hold into an exclusive one, once the other
  // shared holders have left.
  void UpgradeLock();
  // Turns the caller's exclusive hold into a shared one.
  void DowngradeLock();

  // Shared holders now (for diagnostics; may change at once). Takes the
  // mutex: not while holding the lock exclusively.
  int32_t GetSharedCount();

private:
  // Waits, with the mutex held on entry and on return, until no shared
  // holder is left.
  void WaitForNoSharedLocked();
  void ClearEventLocked();
  void SignalEventLocked();

  std::mutex mtxLock;               // held by exclusive holders; guards nSharedCount
  LSignalObject soNoShared;         // signalled when the last shared holder leaves while a writer waits
  int32_t nSharedCount = 0;         // shared holders
  int32_t nExclusiveWaiters = 0;    // exclusive lockers waiting for the event
  bool bEventSet = false;           // soNoShared was signalled and not cleared since
};
