// Queue: the common interface of every kind of queue (global, serial,
// concurrent, and the thread-backed root of the main queue), and the
// record of which queues the calling thread is running work for.
//
// Queues form trees: a serial or concurrent queue hands its work to its
// target, and the chain ends at a global queue (which feeds the worker pool)
// or at the main queue's thread. Each queue holds a reference to its target.
//
// Thread safety: every member may be called from any thread. Lifetime: each
// Work pushed onto a queue holds a reference to that queue until it ran.

#pragma once

#include "object_impl.h"
#include "work.h"

#include <string>

namespace harlune::dispatch {

class Queue : public Object {
 public:
  const char* label() const noexcept { return label_.c_str(); }

  // Takes ownership of `work` and runs it in the queue's order. A barrier
  // runs alone on concurrent queues and is ordinary work elsewhere.
  virtual void push(Work work, bool barrier) noexcept = 0;

  // Runs `work` in the queue's order and returns once it ran.
  virtual void run_sync(Work work, bool barrier) noexcept;

  // True for a root queue that only the calling thread can drain, so that
  // waiting for it would wait for the caller (the main queue's root on the
  // main thread).
  virtual bool drained_only_by_calling_thread() noexcept { return false; }

  // Returns the queue's target with a reference the caller releases, or
  // null for a queue at the root of its tree.
  virtual Queue* copy_target() noexcept { return nullptr; }

  // Makes the queue hand its work to `target`. Returns false, changing
  // nothing, for queues that cannot be retargeted.
  virtual bool set_target(Queue* target) noexcept {
    (void)target;
    return false;
  }

 protected:
  Queue(const char* label, Lifetime lifetime);

  // True when the calling thread runs work holding this queue exclusively,
  // directly or through a queue further down the target chain, so that
  // waiting for this queue would wait for the calling thread itself.
  bool held_by_calling_thread() noexcept;

  // True when `target` is this queue or has it further up its own chain.
  bool would_form_cycle(Queue* target) noexcept;

 private:
  const std::string label_;
};

// Marks, for the lifetime of the scope, that the calling thread is running
// work of `queue`. `exclusive` says that nothing else of the queue can run
// meanwhile (serial queues, barriers). Scopes nest, innermost last.
class RunningScope {
 public:
  RunningScope(Queue* queue, bool exclusive) noexcept;
  ~RunningScope();
  RunningScope(const RunningScope&) = delete;
  RunningScope& operator=(const RunningScope&) = delete;

  // The queue of the innermost scope on the calling thread, or null.
  static Queue* current() noexcept;
  static bool holds_exclusively(const Queue* queue) noexcept;

 private:
  Queue* const queue_;
  const bool exclusive_;
  RunningScope* const outer_;
};

// The default-priority global queue: the target of new queues.
Queue* default_global_queue() noexcept;

}  // namespace harlune::dispatch
