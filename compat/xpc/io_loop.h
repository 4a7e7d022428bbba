// IoLoop: the transport of one process: the thread that waits on every xpc
// socket (epoll) and does all of the transport's work: connecting, reading,
// writing, accepting, closing, and running the callbacks that are due on an
// idle connection queue.
//
// Sources (connections and listeners) register descriptors and receive
// readiness events. Any thread may post them a command, or ask for a
// source's io_ready() to run soon (request()). request() is what a sender
// calls after queueing a message: it takes no lock while a transport
// thread runs (starting one takes mutex_), and it writes the
// loop's event descriptor only when the loop is asleep and no wake is
// already on its way, so a burst of sends costs one wake and a send while
// the loop is awake costs none.
//
// Inline callbacks. Work that the loop thread would otherwise hand to a
// dispatch worker (a connection's events, replies and barriers when its
// queue is idle) can be deferred to the loop thread itself (defer()): it
// runs once the current batch of events is handled, which saves a thread
// switch per message. A callback is the application's code and may block
// (even on the transport, by waiting for a reply), so the loop never runs
// one while it must be polling: before running deferred work the thread
// gives up the loop role and arms a guard timer (kTakeover). If the work is
// still running when the timer fires, a standby thread takes the role and
// polls, and the thread that ran the work becomes the standby (or ends)
// when it returns. So a blocking callback delays the transport by at most
// kTakeover once, and never deadlocks it.
//
// After activity that is likely to be followed by more, the loop keeps
// polling for kSpin before it sleeps, catching what comes next without a
// wake-up (this machine's wake-ups cost tens of microseconds): after a
// command, after writing a request or reading a message that wants a
// reply (the answer usually comes within that time; see keep_awake()),
// and when work comes in bursts (the loop's last sleep ended within
// kBurstGap).
// Work that comes at the pace of an audio cycle (one-way sends every few
// milliseconds) is not followed by spinning, which would only burn CPU.
// When what senders queued ended with a message (its barrier, which
// usually follows at once, was not there yet), the loop naps for kNap
// before sleeping for good, so that the barrier is taken when the nap ends
// instead of costing the sender a second wake (see expect_follow_up()).
//
// The threads start on the first command or request and end when no
// descriptor is registered and no command, request, timer or deferred
// callback is pending; the epoll, event and timer descriptors are closed
// with them.
//
// Thread safety: post() and request() may be called from any thread;
// add(), modify(), remove() and defer() only by the thread holding the loop
// role (from an event, a command or io_ready()). Lifetime: a source is
// retained while it has a registration, a pending command, a pending
// request or a timer; a removed registration is released after the current
// batch of events, so a later event of the same batch never reaches freed
// memory.

#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
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
  // The work asked for with IoLoop::request(): runs once per request, and
  // a request made while it runs makes it run again.
  virtual void io_ready() noexcept {}
  virtual void io_retain() noexcept = 0;
  virtual void io_release() noexcept = 0;

 protected:
  ~IoSource() = default;

 private:
  friend class IoLoop;
  // The request list (a lock-free stack) links sources through here.
  IoSource* ready_next_ = nullptr;
  // Set from request() until the loop takes the source off the list.
  std::atomic<bool> ready_queued_{false};
};

class IoLoop {
 public:
  static constexpr std::chrono::microseconds kSpin{50};
  static constexpr std::chrono::microseconds kBurstGap{200};
  static constexpr std::chrono::milliseconds kTakeover{2};
  // After the spin that follows its own requests' work, the loop naps for
  // this long before it sleeps for good, so work asked for right behind
  // the work it just did (a barrier after a send) needs no wake-up.
  static constexpr std::chrono::milliseconds kNap{1};

  using DeferredWork = void (*)(void* context);

  static IoLoop& shared() noexcept;

  // Runs `source->io_command(command)` on the loop thread, no earlier than
  // `delay` from now. Commands without delay run in the order posted.
  void post(IoSource* source, uint32_t command,
            std::chrono::nanoseconds delay = std::chrono::nanoseconds::zero()) noexcept;

  // Has `source->io_ready()` run on the loop thread soon. Lock-free and
  // allocation-free while a transport thread runs (only starting one, when
  // none has had anything to do, takes mutex_); at most one
  // event-descriptor write per burst, none while the loop is awake. Safe
  // on a real-time thread. A request that is
  // not `urgent` (a barrier behind a message just sent) does not wake the
  // loop from a nap either: the nap ends within kNap by itself.
  void request(IoSource* source, bool urgent = true) noexcept;

  // Loop role only. add() returns false when epoll refuses.
  bool add(int fd, uint32_t events, IoSource* source) noexcept;
  void modify(int fd, uint32_t events, IoSource* source) noexcept;
  void remove(int fd, IoSource* source) noexcept;
  // Loop role only: runs `work(context)` on this thread once the current
  // batch is handled, with the loop role given up (see above). False when
  // it cannot be queued; the caller then runs it some other way.
  bool defer(DeferredWork work, void* context) noexcept;

  // Loop role only: an answer is expected soon (a request was written, or
  // a message that wants a reply was read), so the loop spins for kSpin
  // after this round instead of sleeping at once.
  void keep_awake() noexcept { answer_expected_ = true; }
  // Loop role only: a sender is likely to queue more right away (a message
  // was taken without the barrier that usually follows it), so the loop
  // naps for kNap before it sleeps for good.
  void expect_follow_up() noexcept { follow_up_expected_ = true; }

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
  struct Deferred {
    DeferredWork work;
    void* context;
  };

  IoLoop() = default;
  bool start_locked() noexcept;
  // Starts a transport thread that leads (takes the role) or stands by.
  bool spawn_locked(bool leader) noexcept;
  static void* leader_main(void* loop);
  static void* standby_main(void* loop);
  // The life of one transport thread: leads while it holds the role, stands
  // by (at most one thread does) or ends otherwise.
  void thread_body(bool leading) noexcept;
  // Leads until the loop ends (returns true, the role still held) or the
  // role went to the standby while this thread ran deferred work (returns
  // false, the role not held).
  bool lead() noexcept;
  // Runs the deferred work with the role given up; true when the role
  // could be taken back.
  bool run_deferred() noexcept;
  // Waits on the guard timer for the role; false when the loop ends.
  bool stand_by() noexcept;
  // Called with mutex_ held and the role: ends the loop if nothing is left
  // to do. Returns true when it ended.
  bool end_if_idle(std::unique_lock<std::mutex>& lock) noexcept;
  // Runs the requested io_ready() calls; false when there were none.
  bool run_requests() noexcept;
  // Writes the event descriptor if the loop sleeps (or naps, when
  // `urgent`) and no wake is on its way. Returns false when no transport
  // thread runs (nothing written).
  bool wake(bool urgent = true) noexcept;
  // The wait before the next command is due (0: one is due), or -1.
  int command_timeout() noexcept;
  void arm_guard(bool armed) noexcept;
  // Moves due commands out; returns how many.
  int take_due_commands(std::vector<Command>& due) noexcept;
  static void set_leading(bool leading) noexcept;
  Registration* find(int fd, IoSource* source) noexcept;
  void release_retired() noexcept;

  std::mutex mutex_;
  std::condition_variable changed_;  // mutex_: the standby ended
  std::vector<Command> commands_;    // mutex_
  bool running_ = false;             // mutex_: a generation of threads runs
  bool stopping_ = false;            // mutex_: the standby must end
  bool standby_ = false;             // mutex_: a thread stands by
  int epoll_fd_ = -1;
  int guard_fd_ = -1;  // timerfd that hands the role to the standby
  // The event descriptor senders write; -1 while no thread runs. Writers
  // count themselves in wake_users_ so it is never closed under them.
  std::atomic<int> wake_fd_{-1};
  std::atomic<int> wake_users_{0};
  // Whether the loop is blocked in epoll_wait (or about to be), and for
  // how long.
  enum Sleep : int { kAwake, kNapping, kSleeping };
  std::atomic<int> sleep_{kAwake};
  // A wake has been written and not read back yet.
  std::atomic<bool> wake_pending_{false};
  std::atomic<IoSource*> ready_head_{nullptr};
  // The role: held by the thread that polls.
  std::mutex role_;
  // Loop role only.
  std::vector<Registration*> registrations_;
  std::vector<Registration*> retired_;
  std::vector<Deferred> deferred_;
  bool answer_expected_ = false;
  bool follow_up_expected_ = false;
  // mutex_: threads running deferred work with the role given up.
  int in_deferred_ = 0;
};

}  // namespace harlune::xpc
