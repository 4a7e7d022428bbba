// The transport's event loop: registrations, commands, requests and the
// loop body. The threads and the role they pass around are in
// io_loop_threads.cpp.

#include "io_loop.h"

#include <sched.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace harlune::xpc {
namespace {

// The role holder's thread, outside deferred work.
thread_local bool tls_leading = false;

}  // namespace

IoLoop& IoLoop::shared() noexcept {
  // Never destroyed: the threads may still be finishing while static
  // destructors run at exit.
  static IoLoop* const loop = new IoLoop();
  return *loop;
}

void IoLoop::set_leading(bool leading) noexcept {
  tls_leading = leading;
}

void IoLoop::post(IoSource* source, uint32_t command, std::chrono::nanoseconds delay) noexcept {
  source->io_retain();
  std::lock_guard<std::mutex> lock(mutex_);
  try {
    commands_.push_back(Command{source, command, std::chrono::steady_clock::now() + delay});
  } catch (...) {
    std::fprintf(stderr, "xpc: out of memory queueing transport work\n");
    source->io_release();
    return;
  }
  if (!running_) {
    start_locked();  // On failure it stays queued; the next post tries again.
    return;
  }
  // Seen by the loop before it sleeps, or the loop is woken: the check it
  // makes after announcing its sleep takes mutex_, after this push.
  wake();
}

void IoLoop::request(IoSource* source, bool urgent) noexcept {
  if (source->ready_queued_.exchange(true, std::memory_order_acq_rel)) {
    return;  // Still on the list: the run it waits for sees the new work.
  }
  source->io_retain();
  IoSource* head = ready_head_.load(std::memory_order_relaxed);
  do {
    source->ready_next_ = head;
  } while (!ready_head_.compare_exchange_weak(head, source, std::memory_order_seq_cst, std::memory_order_relaxed));
  if (!wake(urgent)) {
    // No thread, or the last one is deciding whether to end: it decides
    // under mutex_ and looks at the list first, so after this lock either
    // a thread runs that will see the request, or none does.
    std::lock_guard<std::mutex> lock(mutex_);
    if (!running_) {
      start_locked();
    }
  }
}

bool IoLoop::wake(bool urgent) noexcept {
  wake_users_.fetch_add(1, std::memory_order_seq_cst);
  const int fd = wake_fd_.load(std::memory_order_seq_cst);
  const int sleep = sleep_.load(std::memory_order_seq_cst);
  if (fd >= 0 && (sleep == kSleeping || (urgent && sleep == kNapping)) &&
      !wake_pending_.exchange(true, std::memory_order_acq_rel)) {
    const uint64_t one = 1;
    ssize_t ignored = write(fd, &one, sizeof one);
    (void)ignored;
  }
  wake_users_.fetch_sub(1, std::memory_order_seq_cst);
  return fd >= 0;
}

bool IoLoop::add(int fd, uint32_t events, IoSource* source) noexcept {
  Registration* registration = new (std::nothrow) Registration{source, fd};
  if (registration == nullptr) {
    return false;
  }
  epoll_event event{};
  event.events = events;
  event.data.ptr = registration;
  if (epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, fd, &event) != 0) {
    delete registration;
    return false;
  }
  try {
    registrations_.push_back(registration);
  } catch (...) {
    epoll_ctl(epoll_fd_, EPOLL_CTL_DEL, fd, nullptr);
    delete registration;
    return false;
  }
  source->io_retain();
  return true;
}

IoLoop::Registration* IoLoop::find(int fd, IoSource* source) noexcept {
  for (Registration* registration : registrations_) {
    if (registration->fd == fd && registration->source == source) {
      return registration;
    }
  }
  return nullptr;
}

void IoLoop::modify(int fd, uint32_t events, IoSource* source) noexcept {
  Registration* registration = find(fd, source);
  if (registration == nullptr) {
    return;
  }
  epoll_event event{};
  event.events = events;
  event.data.ptr = registration;
  epoll_ctl(epoll_fd_, EPOLL_CTL_MOD, fd, &event);
}

void IoLoop::remove(int fd, IoSource* source) noexcept {
  Registration* registration = find(fd, source);
  if (registration == nullptr) {
    return;
  }
  epoll_ctl(epoll_fd_, EPOLL_CTL_DEL, fd, nullptr);
  registrations_.erase(std::find(registrations_.begin(), registrations_.end(), registration));
  registration->fd = -1;  // Later events of this batch are ignored.
  retired_.push_back(registration);
}

bool IoLoop::defer(DeferredWork work, void* context) noexcept {
  if (!tls_leading) {
    return false;
  }
  try {
    deferred_.push_back(Deferred{work, context});
  } catch (...) {
    return false;
  }
  return true;
}

int IoLoop::take_due_commands(std::vector<Command>& due) noexcept {
  const auto now = std::chrono::steady_clock::now();
  std::lock_guard<std::mutex> lock(mutex_);
  std::size_t kept = 0;
  for (Command& command : commands_) {
    if (command.due <= now) {
      due.push_back(command);
    } else {
      commands_[kept++] = command;
    }
  }
  commands_.resize(kept);
  return static_cast<int>(due.size());
}

int IoLoop::command_timeout() noexcept {
  const auto now = std::chrono::steady_clock::now();
  std::lock_guard<std::mutex> lock(mutex_);
  auto next = std::chrono::steady_clock::time_point::max();
  for (const Command& command : commands_) {
    next = std::min(next, command.due);
  }
  if (next == std::chrono::steady_clock::time_point::max()) {
    return -1;
  }
  if (next <= now) {
    return 0;
  }
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
  return static_cast<int>(std::max<int64_t>(wait, 1));
}

bool IoLoop::run_requests() noexcept {
  IoSource* list = ready_head_.exchange(nullptr, std::memory_order_seq_cst);
  if (list == nullptr) {
    return false;
  }
  // The stack holds the newest first; serve in the order asked.
  IoSource* ordered = nullptr;
  while (list != nullptr) {
    IoSource* next = list->ready_next_;
    list->ready_next_ = ordered;
    ordered = list;
    list = next;
  }
  while (ordered != nullptr) {
    IoSource* source = ordered;
    ordered = source->ready_next_;
    // Cleared first: a request made while io_ready() runs queues it again.
    source->ready_queued_.store(false, std::memory_order_seq_cst);
    source->io_ready();
    source->io_release();
  }
  return true;
}

void IoLoop::release_retired() noexcept {
  for (Registration* registration : retired_) {
    registration->source->io_release();
    delete registration;
  }
  retired_.clear();
}

bool IoLoop::lead() noexcept {
  constexpr int kEvents = 64;
  epoll_event events[kEvents];
  std::vector<Command> due;
  auto spin_until = std::chrono::steady_clock::time_point::min();
  bool nap_due = false;
  // Whether the last time the loop blocked, work came back within
  // kBurstGap: work is coming in bursts.
  bool bursty = false;
  // Decides whether to spin after a round of work (see the header).
  auto after_activity = [&](bool always) {
    if (always || answer_expected_ || bursty) {
      spin_until = std::chrono::steady_clock::now() + kSpin;
    }
    answer_expected_ = false;
  };
  for (;;) {
    due.clear();
    bool worked = take_due_commands(due) > 0;
    const bool commanded = worked;
    for (const Command& command : due) {
      command.source->io_command(command.command);
      command.source->io_release();
    }
    if (run_requests()) {
      worked = true;
      nap_due = nap_due || follow_up_expected_;
      follow_up_expected_ = false;
    }
    release_retired();
    if (!deferred_.empty()) {
      if (!run_deferred()) {
        return false;  // The standby took the role meanwhile.
      }
      worked = true;
    }
    if (worked) {
      after_activity(commanded);
      continue;  // That work may have asked for more.
    }
    if (registrations_.empty()) {
      std::unique_lock<std::mutex> lock(mutex_);
      if (end_if_idle(lock)) {
        return true;
      }
    }
    const bool spinning = std::chrono::steady_clock::now() < spin_until;
    int timeout = 0;
    if (!spinning) {
      // Announced before the last look, so a sender either is seen here or
      // sees the announcement and writes the event descriptor (a request
      // that is not urgent is seen when the nap ends).
      const bool napping = nap_due;
      nap_due = false;
      sleep_.store(napping ? kNapping : kSleeping, std::memory_order_seq_cst);
      timeout = ready_head_.load(std::memory_order_seq_cst) != nullptr ? 0 : command_timeout();
      if (napping && timeout != 0) {
        const int nap = static_cast<int>(kNap.count());
        timeout = timeout < 0 ? nap : std::min(timeout, nap);
      }
    }
    const auto slept_at = std::chrono::steady_clock::now();
    const int count = epoll_wait(epoll_fd_, events, kEvents, timeout);
    sleep_.store(kAwake, std::memory_order_seq_cst);
    if (timeout != 0) {
      bursty = std::chrono::steady_clock::now() - slept_at < kBurstGap;
    }
    if (count < 0) {
      continue;  // EINTR
    }
    if (count == 0) {
      if (spinning) {
        // Let a thread waiting for this core (often the one about to
        // answer) run first.
        sched_yield();
      }
      continue;
    }
    for (int i = 0; i < count; ++i) {
      auto* registration = static_cast<Registration*>(events[i].data.ptr);
      if (registration == nullptr) {
        uint64_t value = 0;
        ssize_t ignored = read(wake_fd_.load(std::memory_order_relaxed), &value, sizeof value);
        (void)ignored;
        // Read back first: a sender that still finds the flag set knows
        // this thread is awake and will look at the list.
        wake_pending_.store(false, std::memory_order_seq_cst);
        continue;
      }
      if (registration->fd >= 0) {
        registration->source->io_event(registration->fd, events[i].events);
      }
    }
    release_retired();
    after_activity(false);
  }
}

}  // namespace harlune::xpc
