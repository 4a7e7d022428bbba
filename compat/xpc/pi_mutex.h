// PiMutex: a mutex with priority inheritance, for a lock that a real-time
// thread (the audio IO thread, sending) shares with ordinary threads (the
// transport). A holder preempted by other work is raised to the waiter's
// priority until it lets go, so the real-time thread waits for the short
// critical section only, never for the holder's turn on a busy CPU.
// Uncontended, locking and unlocking are one atomic operation each, with no
// system call.
//
// Thread safety: as any mutex. Not recursive. Lifetime: must not be held
// when destroyed.

#pragma once

#include <pthread.h>

namespace harlune::xpc {

class PiMutex {
 public:
  PiMutex() noexcept {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    // Without the protocol (some sandboxes refuse it) this is a plain
    // mutex, which is still correct.
    pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
    pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }
  ~PiMutex() { pthread_mutex_destroy(&mutex_); }
  PiMutex(const PiMutex&) = delete;
  PiMutex& operator=(const PiMutex&) = delete;

  void lock() noexcept { pthread_mutex_lock(&mutex_); }
  void unlock() noexcept { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_;
};

}  // namespace harlune::xpc
