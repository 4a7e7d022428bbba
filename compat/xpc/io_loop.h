// IoLoop: the one thread per process that waits on every xpc socket
// (epoll) and runs the transport's work: connecting, reading, accepting,
// resuming blocked writes, closing.
//
// Sources (connections and listeners) register descriptors and receive
// readiness events, and any thread may post them a command that the loop
// thread runs. Senders write to sockets themselves while nothing blocks
// them (see connection_impl.h), so the loop is off the send path.
//
// After any activity the loop keeps polling for kSpin before it sleeps:
// the answer to a message just handled usually comes within that time, and
// catching it without a wake-up saves a thread switch per hop (this
// machine's wake-ups cost tens of microseconds).
//
// The thread starts on the first command and ends when no descriptor is
// registered and no command or timer is pending; its epoll and event
// descriptors are closed with it.
//
// Thread safety: post() may be called from any thread; add(), modify() and
// remove() only on the loop thread (from an event or command). Lifetime: a
// source is retained while it has a registration, a pending command or a
// timer; a removed registration is released after the current batch of
// events, so a later event of the same batch never reaches freed memory.

#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

namespace harlune::xpc {

class IoSource {
 public:
  // A registered descriptor is ready (EPOLL* bits).
  virtual void io_event(int fd, uint32_t events) noexcept = 0;
  // A command posted to the source.
  virtual void io_command(uint32_t command) noexcept = 0;
  virtual void io_retain() noexcept = 0;
  virtual void io_release() noexcept = 0;

 protected:
  ~IoSource() = default;
};

class IoLoop {
 public:
  static constexpr std::chrono::microseconds kSpin{50};

  static IoLoop& shared() noexcept;

  // Runs `source->io_command(command)` on the loop thread, no earlier than
  // `delay` from now. Commands without delay run in the order posted.
  void post(IoSource* source, uint32_t command,
            std::chrono::nanoseconds delay = std::chrono::nanoseconds::zero()) noexcept;

  // Loop thread only. add() returns false when epoll refuses.
  bool add(int fd, uint32_t events, IoSource* source) noexcept;
  void modify(int fd, uint32_t events, IoSource* source) noexcept;
  void remove(int fd, IoSource* source) noexcept;

  bool on_loop_thread() const noexcept;

 private:
  struct Registration {
    IoSource* source;
    int fd;
  };
  struct Command {
    IoSource* source;
    uint32_t command;
    std::chrono::steady_clock::time_point due;
  };

  IoLoop() = default;
  bool start_locked() noexcept;
  static void* thread_main(void* loop);
  void run() noexcept;
  // Moves due commands out; returns the wait before the next timer, or -1.
  int take_due_commands(std::vector<Command>& due) noexcept;
  Registration* find(int fd, IoSource* source) noexcept;
  void release_retired() noexcept;

  std::mutex mutex_;
  std::vector<Command> commands_;
  bool running_ = false;
  int epoll_fd_ = -1;
  int wake_fd_ = -1;
  // Loop thread only.
  std::vector<Registration*> registrations_;
  std::vector<Registration*> retired_;
};

}  // namespace harlune::xpc
