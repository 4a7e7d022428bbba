// ConnectionBase: what every connection object (XPC_TYPE_CONNECTION) has,
// whether it carries messages (Connection) or receives peers (Listener):
// the event handler and target queue (through its EventPump), counted
// suspension and activation, cancellation, the peer's credentials, and the
// bookkeeping behind the debug-build misuse checks.
//
// States: created suspended (count 1, not activated) -> activated by the
// resume that brings the count to zero -> running, suspended and resumed
// any number of times -> cancelled or ended -> final event delivered. From
// activation until the final event has been delivered the connection holds
// a reference to itself, so a running connection lives on without its
// caller.
//
// Thread safety: every public member may be called from any thread;
// mutex_ guards the state here and the state of the subclasses (except
// what a subclass declares lock-free or the loop thread's own). Lock order:
// mutex_, then the pump's lock.

#pragma once

#include "event_pump.h"
#include "io_loop.h"
#include "object_impl.h"
#include "socket_io.h"

#include <atomic>
#include <mutex>
#include <string>

namespace harlune::xpc {

class ConnectionBase : public Object, public IoSource, public PumpClient {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_CONNECTION;

  void set_event_handler(xpc_handler_t handler) noexcept { pump_.set_handler(handler); }
  void set_target_queue(dispatch_queue_t queue) noexcept { pump_.set_target(queue); }
  void suspend() noexcept;
  void resume() noexcept;
  void activate() noexcept;
  void cancel() noexcept;

  // The caller's own references (xpc_retain / xpc_release), tracked apart
  // from the library's to catch the release of a suspended connection.
  void note_caller_retain() noexcept { caller_references_.fetch_add(1, std::memory_order_relaxed); }
  void note_caller_release() noexcept;

  // Runs a reply handler (taking over the block copy and the reference to
  // `result`) or a barrier (taking over the block copy) in turn with the
  // connection's other callbacks. A connection cancelled before it was
  // ever resumed will never run its queue, so they run on a global queue
  // instead: a reply handler runs exactly once whatever happens.
  void run_reply(xpc_handler_t handler, Object* result) noexcept;
  void run_barrier(dispatch_block_t barrier) noexcept;

  const char* name() const noexcept { return name_.empty() ? nullptr : name_.c_str(); }
  PeerCredentials credentials() noexcept;

  void describe(std::string& out, int depth) const override;

  void io_retain() noexcept override { retain(); }
  void io_release() noexcept override { release(); }
  void pump_retain() noexcept override { retain(); }
  void pump_release() noexcept override { release(); }
  void pump_final_delivered() noexcept override;

 protected:
  // `caller_references` is 1 for a connection the caller created and 0 for
  // a peer handed to a listener's handler.
  ConnectionBase(std::string name, dispatch_queue_t target, int caller_references) noexcept;
  ~ConnectionBase() override = default;

  // Called without mutex_ held: once, when the first resume activates the
  // connection; each time the suspend count returns to zero (activation
  // included, after activated()); once, from the first cancel().
  virtual void activated() noexcept = 0;
  virtual void resumed() noexcept {}
  virtual void cancelled() noexcept = 0;

  // Cancelled before the first resume: the pump may never run. Lock-free,
  // so callbacks can be routed with mutex_ held.
  bool stillborn() const noexcept { return stillborn_.load(std::memory_order_acquire); }

  std::mutex mutex_;
  unsigned suspensions_ = 1;  // mutex_
  bool activated_ = false;    // mutex_
  bool cancelled_ = false;    // mutex_
  PeerCredentials peer_{};    // mutex_
  EventPump pump_;

 private:
  std::atomic<int> caller_references_;
  std::atomic<bool> stillborn_{false};  // Set once, before cancelled() runs.
  const std::string name_;
};

}  // namespace harlune::xpc
