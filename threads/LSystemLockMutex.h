// LSystemLockMutex and LSystemLockMutexScope: a mutex shared by all
// processes of the machine that use the same name, built on a System V
// semaphore set of one semaphore with value 1.
//
// The name is turned into the semaphore key (ComputeKey); the first process
// creates the set, the others open it. Every hold is taken with SEM_UNDO, so
// the kernel releases the hold of a process that dies while holding it
// (even by kill -9).
//
// LSystemLockMutexScope takes the lock at construction, retrying every 300
// milliseconds until it gets it or the process interface asks it to stop,
// and releases it at destruction, but only when it obtained it. It gives up
// at once (IsLocked() false) when the semaphore set could not be made or
// has been removed, rather than retry for ever.
//
// Thread safety: one object is used by one thread at a time. The hold
// belongs to the process (SEM_UNDO is per process): two threads of one
// process exclude each other only when each uses its own object.
// Lifetime: the semaphore set stays in the system after the last object is
// destroyed, so that a process starting later finds it; Remove() deletes it.
#pragma once

#include <cstdint>

class LProcessInterface;

class LSystemLockMutex {
public:
  // Computes the key and opens or creates the semaphore set. A null name is
  // read as the empty name.
  explicit LSystemLockMutex(const char* szName);
  ~LSystemLockMutex() = default;
  LSystemLockMutex(const LSystemLockMutex&) = delete;
  LSystemLockMutex& operator=(const LSystemLockMutex&) = delete;

  // Tries to take the lock without waiting; while another process holds it,
  // sleeps 10 milliseconds and tries again. Each retry spends 10 ms of the
  // allowance; when 10 or less remain it gives up (false). Also false at
  // once when the semaphore set is missing or gone.
  bool Lock(uint32_t dwMilliseconds);
  // Waits as long as it takes; false only when the set is missing or gone.
  bool LockForever();
  // Repeats Lock(300) until it succeeds (true) or the process interface says
  // stop (false); gives up (false) when the set is missing or gone.
  bool Lock(LProcessInterface& process);
  // Releases a hold taken by this object; false when the release failed.
  bool Unlock();

  // Deletes the semaphore set from the system: every process waiting on it
  // or holding it is then refused. For tidying up after tests and tools.
  bool Remove();

  // The key of a name: from 11223, key = key * 32 + byte for each byte (as
  // a signed character) in 32-bit arithmetic; a key of 0 becomes 1.
  static int32_t ComputeKey(const char* szName);

  int32_t GetKey() const { return nKey; }
  bool IsValid() const { return nSemaphoreId >= 0; }
  // True once an operation found the set removed or the id invalid.
  bool IsGone() const { return bGone; }

protected:
  int32_t nKey;               // System V key computed from the name
  int32_t nSemaphoreId = -1;  // semaphore set id, -1 when none
  bool bGone = false;         // the set is missing or was removed
};

class LSystemLockMutexScope : public LSystemLockMutex {
public:
  LSystemLockMutexScope(LProcessInterface& process, const char* szName);
  // Releases the lock when this scope obtained it. If the semaphore's value
  // is above 0 and this process operated on it last, the hold is already
  // gone in a way the semaphore cannot represent: the set is removed rather
  // than let its value grow past 1. A failed release removes the set too, so
  // that no process waits for ever on a lock nobody can release.
  ~LSystemLockMutexScope();

  bool IsLocked() const { return bLocked; }

private:
  bool bLocked = false;  // the scope obtained the lock
};
