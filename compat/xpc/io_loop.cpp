// The epoll thread.

#include "io_loop.h"

#include <pthread.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace harlune::xpc {
namespace {

thread_local bool tls_on_loop_thread = false;

}  // namespace

IoLoop& IoLoop::shared() noexcept {
  // Never destroyed: the thread may still be finishing while static
  // destructors run at exit.
  static IoLoop* const loop = new IoLoop();
  return *loop;
}

bool IoLoop::on_loop_thread() const noexcept {
  return tls_on_loop_thread;
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
  if (!running_ && !start_locked()) {
    return;  // Stays queued; the next post tries to start the thread again.
  }
  const uint64_t one = 1;
  ssize_t ignored = write(wake_fd_, &one, sizeof one);
  (void)ignored;
}

bool IoLoop::start_locked() noexcept {
  epoll_fd_ = epoll_create1(EPOLL_CLOEXEC);
  wake_fd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.ptr = nullptr;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  const bool ok = epoll_fd_ >= 0 && wake_fd_ >= 0 && epoll_ctl(epoll_fd_, EPOLL_CTL_ADD, wake_fd_, &event) == 0 &&
                  pthread_create(&thread, &attributes, &IoLoop::thread_main, this) == 0;
  pthread_attr_destroy(&attributes);
  if (!ok) {
    std::fprintf(stderr, "xpc: cannot start the transport thread\n");
    if (epoll_fd_ >= 0) {
      close(epoll_fd_);
    }
    if (wake_fd_ >= 0) {
      close(wake_fd_);
    }
    epoll_fd_ = wake_fd_ = -1;
    return false;
  }
  running_ = true;
  return true;
}

void* IoLoop::thread_main(void* loop) {
  pthread_setname_np(pthread_self(), "xpc.io");
  tls_on_loop_thread = true;
  static_cast<IoLoop*>(loop)->run();
  return nullptr;
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

int IoLoop::take_due_commands(std::vector<Command>& due) noexcept {
  const auto now = std::chrono::steady_clock::now();
  std::lock_guard<std::mutex> lock(mutex_);
  auto next = std::chrono::steady_clock::time_point::max();
  std::size_t kept = 0;
  for (Command& command : commands_) {
    if (command.due <= now) {
      due.push_back(command);
    } else {
      next = std::min(next, command.due);
      commands_[kept++] = command;
    }
  }
  commands_.resize(kept);
  if (next == std::chrono::steady_clock::time_point::max()) {
    return -1;
  }
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
  return static_cast<int>(std::max<int64_t>(wait, 1));
}

void IoLoop::release_retired() noexcept {
  for (Registration* registration : retired_) {
    registration->source->io_release();
    delete registration;
  }
  retired_.clear();
}

void IoLoop::run() noexcept {
  constexpr int kEvents = 64;
  epoll_event events[kEvents];
  std::vector<Command> due;
  auto spin_until = std::chrono::steady_clock::time_point::min();
  for (;;) {
    due.clear();
    int timeout = take_due_commands(due);
    for (const Command& command : due) {
      command.source->io_command(command.command);
      command.source->io_release();
    }
    release_retired();
    if (!due.empty()) {
      spin_until = std::chrono::steady_clock::now() + kSpin;
      continue;  // Commands may have posted more.
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (registrations_.empty() && commands_.empty()) {
        close(epoll_fd_);
        close(wake_fd_);
        epoll_fd_ = wake_fd_ = -1;
        running_ = false;
        return;
      }
    }
    const bool spinning = std::chrono::steady_clock::now() < spin_until;
    const int count = epoll_wait(epoll_fd_, events, kEvents, spinning ? 0 : timeout);
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
        ssize_t ignored = read(wake_fd_, &value, sizeof value);
        (void)ignored;
        continue;
      }
      if (registration->fd >= 0) {
        registration->source->io_event(registration->fd, events[i].events);
      }
    }
    release_retired();
    spin_until = std::chrono::steady_clock::now() + kSpin;
  }
}

}  // namespace harlune::xpc
