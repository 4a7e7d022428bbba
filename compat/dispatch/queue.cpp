// The public queue calls: creating queues, labels, targets, and submitting
// work synchronously and asynchronously.

#include "concurrent_queue.h"
#include "serial_queue.h"

#include <dispatch/queue.h>

// The attribute behind DISPATCH_QUEUE_CONCURRENT; only its address matters.
struct dispatch_queue_attr_s {
  int concurrent;
};

struct dispatch_queue_attr_s harlune_dispatch_queue_attr_concurrent = {1};

namespace {

using harlune::dispatch::ConcurrentQueue;
using harlune::dispatch::Queue;
using harlune::dispatch::RunningScope;
using harlune::dispatch::SerialQueue;
using harlune::dispatch::Work;
using harlune::dispatch::from_handle;
using harlune::dispatch::to_handle;

void submit(dispatch_queue_t queue, Work work, bool barrier) {
  from_handle<Queue>(queue)->push(work, barrier);
}

void submit_and_wait(dispatch_queue_t queue, Work work, bool barrier) {
  from_handle<Queue>(queue)->run_sync(work, barrier);
}

}  // namespace

extern "C" dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr) noexcept {
  Queue* target = harlune::dispatch::default_global_queue();
  Queue* queue = nullptr;
  if (attr == DISPATCH_QUEUE_CONCURRENT) {
    queue = new ConcurrentQueue(label, target);
  } else {
    queue = new SerialQueue(label, target);
  }
  return to_handle<dispatch_queue_t>(queue);
}

extern "C" const char* dispatch_queue_get_label(dispatch_queue_t queue) noexcept {
  if (queue == DISPATCH_CURRENT_QUEUE_LABEL) {
    const Queue* current = RunningScope::current();
    return current != nullptr ? current->label() : "";
  }
  return from_handle<Queue>(queue)->label();
}

extern "C" void dispatch_set_target_queue(dispatch_queue_t queue, dispatch_queue_t target) noexcept {
  if (queue == nullptr) {
    return;
  }
  Queue* new_target =
      target == DISPATCH_TARGET_QUEUE_DEFAULT ? harlune::dispatch::default_global_queue() : from_handle<Queue>(target);
  // Refusals (immortal queues, cycles) leave the queue as it was, which is
  // the documented outcome; there is no error to report through this API.
  (void)from_handle<Queue>(queue)->set_target(new_target);
}

extern "C" void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) noexcept {
  if (queue != nullptr && work != nullptr) {
    submit(queue, Work::from_function(context, work), false);
  }
}

extern "C" void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) noexcept {
  if (queue != nullptr && block != nullptr) {
    submit(queue, Work::from_block(block), false);
  }
}

extern "C" void dispatch_barrier_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) noexcept {
  if (queue != nullptr && work != nullptr) {
    submit(queue, Work::from_function(context, work), true);
  }
}

extern "C" void dispatch_barrier_async(dispatch_queue_t queue, dispatch_block_t block) noexcept {
  if (queue != nullptr && block != nullptr) {
    submit(queue, Work::from_block(block), true);
  }
}

extern "C" void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work) noexcept {
  if (queue != nullptr && work != nullptr) {
    submit_and_wait(queue, Work::from_function(context, work), false);
  }
}

extern "C" void dispatch_sync(dispatch_queue_t queue, dispatch_block_t block) noexcept {
  // The block outlives the call by construction, but it is copied anyway so
  // that every block goes through the same run-and-release path.
  if (queue != nullptr && block != nullptr) {
    submit_and_wait(queue, Work::from_block(block), false);
  }
}

extern "C" void dispatch_barrier_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work) noexcept {
  if (queue != nullptr && work != nullptr) {
    submit_and_wait(queue, Work::from_function(context, work), true);
  }
}

extern "C" void dispatch_barrier_sync(dispatch_queue_t queue, dispatch_block_t block) noexcept {
  if (queue != nullptr && block != nullptr) {
    submit_and_wait(queue, Work::from_block(block), true);
  }
}
