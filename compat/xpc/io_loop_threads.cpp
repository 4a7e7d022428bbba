// The transport's threads: starting and ending them, and the loop role
// that a thread gives up while it runs deferred callbacks and that the
// standby takes when those run too long.

#include "io_loop.h"

#include <pthread.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include <dispatch/dispatch.h>

namespace harlune::xpc {

bool IoLoop::start_locked() noexcept {
  epoll_fd_ = epoll_create1(EPOLL_CLOEXEC);
  const int wake_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  guard_fd_ = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.ptr = nullptr;
  const bool ok = epoll_fd_ >= 0 && wake_fd >= 0 && guard_fd_ >= 0 &&
                  epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, wake_fd, &event) == 0 && spawn_locked(true);
  if (!ok) {
    std::fprintf(stderr, "xpc: cannot start the transport thread\n");
    for (int fd : {epoll_fd_, wake_fd, guard_fd_}) {
      if (fd >= 0) {
        close(fd);
      }
    }
    epoll_fd_ = guard_fd_ = -1;
    return false;
  }
  running_ = true;
  wake_pending_.store(false, std::memory_order_relaxed);
  wake_fd_.store(wake_fd, std::memory_order_seq_cst);
  return true;
}

bool IoLoop::spawn_locked(bool leader) noexcept {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  const bool ok = pthread_create(&thread, &attributes, leader ? &IoLoop::leader_main : &IoLoop::standby_main, this) == 0;
  pthread_attr_destroy(&attributes);
  return ok;
}

void* IoLoop::leader_main(void* loop) {
  pthread_setname_np(pthread_self(), "xpc.io");
  auto* self = static_cast<IoLoop*>(loop);
  // A thread of an earlier generation may still hold the role for a
  // moment while it finds out that its loop has ended.
  self->role_.lock();
  self->thread_body(true);
  return nullptr;
}

void* IoLoop::standby_main(void* loop) {
  pthread_setname_np(pthread_self(), "xpc.io");
  static_cast<IoLoop*>(loop)->thread_body(false);
  return nullptr;
}

void IoLoop::thread_body(bool leading) noexcept {
  for (;;) {
    if (leading) {
      {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!running_) {
          // The role came free after the loop ended (this thread ran
          // deferred work meanwhile); a new loop starts its own thread.
          role_.unlock();
          return;
        }
      }
      set_leading(true);
      const bool ended = lead();
      set_leading(false);
      if (ended) {
        role_.unlock();
        return;
      }
      // lead() came back without the role: the standby took it while this
      // thread ran deferred work.
      // The standby leads now; this thread takes its place if it is free.
      std::lock_guard<std::mutex> lock(mutex_);
      if (standby_ || !running_) {
        break;
      }
      standby_ = true;
    }
    leading = stand_by();
    if (!leading) {
      return;
    }
  }
  // Ending while the loop may be idle otherwise: have the leader look.
  wake_users_.fetch_add(1, std::memory_order_seq_cst);
  const int fd = wake_fd_.load(std::memory_order_seq_cst);
  if (fd >= 0) {
    const uint64_t one = 1;
    ssize_t ignored = write(fd, &one, sizeof one);
    (void)ignored;
  }
  wake_users_.fetch_sub(1, std::memory_order_seq_cst);
}

bool IoLoop::stand_by() noexcept {
  for (;;) {
    uint64_t expirations = 0;
    const ssize_t got = read(guard_fd_, &expirations, sizeof expirations);
    if (got < 0 && errno != EINTR && errno != EAGAIN) {
      std::fprintf(stderr, "xpc: the transport's guard timer failed\n");
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_ || !running_) {
      standby_ = false;
      changed_.notify_all();
      return false;
    }
    if (role_.try_lock()) {
      standby_ = false;
      return true;
    }
  }
}

void IoLoop::arm_guard(bool armed) noexcept {
  itimerspec setting{};
  if (armed) {
    setting.it_value.tv_sec = 0;
    setting.it_value.tv_nsec = std::chrono::nanoseconds(kTakeover).count();
  }
  timerfd_settime(guard_fd_, 0, &setting, nullptr);
}

bool IoLoop::run_deferred() noexcept {
  // Per thread: the standby may run deferred work of its own meanwhile.
  thread_local std::vector<Deferred> work;
  work.clear();
  work.swap(deferred_);
  bool guarded = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!standby_ && spawn_locked(false)) {
      standby_ = true;
    }
    guarded = standby_;
    if (guarded) {
      ++in_deferred_;
    }
  }
  if (!guarded) {
    // No thread could take over: the callbacks go to dispatch workers as
    // they would without this shortcut.
    for (const Deferred& deferred : work) {
      dispatch_async_f(dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), deferred.context, deferred.work);
    }
    return true;
  }
  arm_guard(true);
  set_leading(false);
  role_.unlock();
  for (const Deferred& deferred : work) {
    deferred.work(deferred.context);
  }
  arm_guard(false);
  const bool kept = role_.try_lock();
  if (kept) {
    set_leading(true);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  --in_deferred_;
  return kept;
}

bool IoLoop::end_if_idle(std::unique_lock<std::mutex>& lock) noexcept {
  auto busy = [this] {
    return !registrations_.empty() || !commands_.empty() || in_deferred_ > 0 || !deferred_.empty() ||
           ready_head_.load(std::memory_order_seq_cst) != nullptr;
  };
  if (busy()) {
    return false;
  }
  // From here a sender finds no descriptor and takes mutex_ instead, so it
  // either shows up below or finds the loop ended and starts a new one.
  const int wake_fd = wake_fd_.exchange(-1, std::memory_order_seq_cst);
  if (busy()) {
    wake_fd_.store(wake_fd, std::memory_order_seq_cst);
    return false;
  }
  if (standby_) {
    stopping_ = true;
    itimerspec now{};
    now.it_value.tv_nsec = 1;
    timerfd_settime(guard_fd_, 0, &now, nullptr);
    changed_.wait(lock, [this] { return !standby_; });
    stopping_ = false;
    // mutex_ was free while waiting.
    if (busy()) {
      wake_fd_.store(wake_fd, std::memory_order_seq_cst);
      return false;
    }
  }
  while (wake_users_.load(std::memory_order_seq_cst) != 0) {
    sched_yield();  // A sender between reading the descriptor and writing it.
  }
  close(epoll_fd_);
  close(wake_fd);
  close(guard_fd_);
  epoll_fd_ = guard_fd_ = -1;
  running_ = false;
  sleep_.store(kAwake, std::memory_order_seq_cst);
  wake_pending_.store(false, std::memory_order_seq_cst);
  return true;
}

}  // namespace harlune::xpc
