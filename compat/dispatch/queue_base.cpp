// What all queues share: synchronous submission, the target-chain checks,
// and the per-thread record of the queues being run.

#include "queue_impl.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace harlune::dispatch {
namespace {

thread_local RunningScope* innermost_scope = nullptr;

// Lets dispatch_sync wait for its work. It lives on the waiting thread's
// stack; the worker touches it only under its mutex, and signals last, so the
// waiter may return (destroying it) as soon as it sees `done`.
struct SyncCall {
  Work work;
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;

  static void run(void* context) {
    auto* call = static_cast<SyncCall*>(context);
    call->work.run();
    std::lock_guard<std::mutex> lock(call->mutex);
    call->done = true;
    // Notified under the lock: once it is released the waiter may be gone.
    call->finished.notify_one();
  }
};

}  // namespace

Queue::Queue(const char* label, Lifetime lifetime) : Object(lifetime), label_(label != nullptr ? label : "") {}

void Queue::run_sync(Work work, bool barrier) noexcept {
  if (held_by_calling_thread()) {
    // Waiting would wait for ourselves. Apple's implementation traps here;
    // running the work in place keeps the process alive and still runs it
    // exclusively, because the calling thread holds the queue.
    std::fprintf(stderr,
                 "dispatch_sync: called on queue \"%s\" by a thread it would wait for (work already running on it, "
                 "or the main thread for the main queue); running the block at once instead of deadlocking\n",
                 label());
    RunningScope scope(this, true);
    work.run();
    return;
  }
  SyncCall call;
  call.work = work;
  push(Work::from_function(&call, &SyncCall::run), barrier);
  std::unique_lock<std::mutex> lock(call.mutex);
  call.finished.wait(lock, [&call] { return call.done; });
}

bool Queue::held_by_calling_thread() noexcept {
  // Each link is retained while it is inspected, since another thread may
  // retarget a queue (releasing its old target) during the walk.
  retain();
  Queue* queue = this;
  bool held = false;
  while (queue != nullptr && !held) {
    held = RunningScope::holds_exclusively(queue) || queue->drained_only_by_calling_thread();
    Queue* next = held ? nullptr : queue->copy_target();
    queue->release();
    queue = next;
  }
  return held;
}

bool Queue::would_form_cycle(Queue* target) noexcept {
  target->retain();
  Queue* queue = target;
  bool cycle = false;
  while (queue != nullptr && !cycle) {
    cycle = queue == this;
    Queue* next = cycle ? nullptr : queue->copy_target();
    queue->release();
    queue = next;
  }
  return cycle;
}

RunningScope::RunningScope(Queue* queue, bool exclusive) noexcept
    : queue_(queue), exclusive_(exclusive), outer_(innermost_scope) {
  innermost_scope = this;
}

RunningScope::~RunningScope() {
  innermost_scope = outer_;
}

Queue* RunningScope::current() noexcept {
  return innermost_scope != nullptr ? innermost_scope->queue_ : nullptr;
}

bool RunningScope::holds_exclusively(const Queue* queue) noexcept {
  for (const RunningScope* scope = innermost_scope; scope != nullptr; scope = scope->outer_) {
    if (scope->queue_ == queue && scope->exclusive_) {
      return true;
    }
  }
  return false;
}

}  // namespace harlune::dispatch
