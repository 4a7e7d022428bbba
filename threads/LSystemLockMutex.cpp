#include "threads/LSystemLockMutex.h"

#include "threads/LPoll.h"
#include "threads/LProcessInterface.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Linux leaves this union to the caller.
union LSemaphoreArgument {
  int val;
  semid_ds* buf;
  unsigned short* array;
};

constexpr uint32_t kRetrySliceMs = 10;   // sleep between two tries
constexpr uint32_t kScopeTryMs = 300;    // one try of the scope's loop

bool LIsGoneError(int nError) { return nError == EIDRM || nError == EINVAL; }

}  // namespace

int32_t LSystemLockMutex::ComputeKey(const char* szName) {
  // Unsigned arithmetic: the key wraps in 32 bits as the name demands,
  // without signed overflow.
  uint32_t dwKey = 11223;
  for (const char* p = szName != nullptr ? szName : ""; *p != 0; ++p) {
    dwKey = dwKey * 32u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*p)));
  }
  if (dwKey == 0) dwKey = 1;
  return static_cast<int32_t>(dwKey);
}

LSystemLockMutex::LSystemLockMutex(const char* szName) : nKey(ComputeKey(szName)) {
  nSemaphoreId = semget(nKey, 1, IPC_CREAT | IPC_EXCL | 0666);
  if (nSemaphoreId >= 0) {
    LSemaphoreArgument arg{};
    arg.val = 1;
    if (semctl(nSemaphoreId, 0, SETVAL, arg) != 0) {
      // A set nobody can take would block every process; better none.
      semctl(nSemaphoreId, 0, IPC_RMID);
      nSemaphoreId = -1;
    }
  } else if (errno == EEXIST) {
    nSemaphoreId = semget(nKey, 1, 0666);
  }
  bGone = nSemaphoreId < 0;
}

bool LSystemLockMutex::Lock(uint32_t dwMilliseconds) {
  if (nSemaphoreId < 0) return false;
  uint32_t dwLeft = dwMilliseconds;
  for (;;) {
    sembuf op{0, -1, IPC_NOWAIT | SEM_UNDO};
    if (semop(nSemaphoreId, &op, 1) == 0) return true;
    if (errno == EINTR) continue;
    if (errno != EAGAIN) {
      bGone = LIsGoneError(errno) || bGone;
      return false;
    }
    LSleepMilliseconds(kRetrySliceMs);
    if (dwLeft <= kRetrySliceMs) return false;
    dwLeft -= kRetrySliceMs;
  }
}

bool LSystemLockMutex::LockForever() {
  if (nSemaphoreId < 0) return false;
  for (;;) {
    sembuf op{0, -1, SEM_UNDO};
    if (semop(nSemaphoreId, &op, 1) == 0) return true;
    if (errno == EINTR) continue;
    bGone = LIsGoneError(errno) || bGone;
    return false;
  }
}

bool LSystemLockMutex::Lock(LProcessInterface& process) {
  for (;;) {
    if (Lock(kScopeTryMs)) return true;
    if (bGone || nSemaphoreId < 0) return false;
    if (process.IsToStop()) return false;
  }
}

bool LSystemLockMutex::Unlock() {
  if (nSemaphoreId < 0) return false;
  sembuf op{0, 1, SEM_UNDO};
  while (semop(nSemaphoreId, &op, 1) != 0) {
    if (errno != EINTR) {
      bGone = LIsGoneError(errno) || bGone;
      return false;
    }
  }
  return true;
}

bool LSystemLockMutex::Remove() {
  if (nSemaphoreId < 0) return false;
  const bool bRemoved = semctl(nSemaphoreId, 0, IPC_RMID) == 0;
  nSemaphoreId = -1;
  bGone = true;
  return bRemoved;
}

LSystemLockMutexScope::LSystemLockMutexScope(LProcessInterface& process, const char* szName)
    : LSystemLockMutex(szName) {
  bLocked = Lock(process);
}

LSystemLockMutexScope::~LSystemLockMutexScope() {
  if (!bLocked || nSemaphoreId < 0) return;
  const int nValue = semctl(nSemaphoreId, 0, GETVAL);
  const int nLastPid = semctl(nSemaphoreId, 0, GETPID);
  if (nValue > 0 && nLastPid == getpid()) {
    Remove();
    return;
  }
  if (!Unlock()) Remove();
}
