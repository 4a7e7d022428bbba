// The global concurrent queues: thin fronts of the one worker pool, told
// apart only by their labels.

#include "queue_impl.h"
#include "worker_pool.h"

#include <dispatch/queue.h>

namespace harlune::dispatch {
namespace {

class GlobalQueue final : public Queue {
 public:
  explicit GlobalQueue(const char* label) : Queue(label, Lifetime::immortal) {}

  void push(Work work, bool barrier) noexcept override {
    // Global queues have no barriers, as on Apple's platform.
    (void)barrier;
    WorkerPool::shared().submit(work, this);
  }

  // Nothing orders work on a global queue, so the caller may as well run it.
  void run_sync(Work work, bool barrier) noexcept override {
    (void)barrier;
    RunningScope scope(this, false);
    work.run();
  }
};

enum GlobalIndex : unsigned { user_interactive, user_initiated, default_qos, utility, background, count };

GlobalQueue& global_queue(GlobalIndex index) {
  // Immortal, and deliberately never destroyed: work may still be running
  // on them while static destructors run at exit.
  static GlobalQueue* const queues[count] = {
      new GlobalQueue("com.apple.root.user-interactive-qos"),
      new GlobalQueue("com.apple.root.user-initiated-qos"),
      new GlobalQueue("com.apple.root.default-qos"),
      new GlobalQueue("com.apple.root.utility-qos"),
      new GlobalQueue("com.apple.root.background-qos"),
  };
  return *queues[index];
}

}  // namespace

Queue* default_global_queue() noexcept {
  return &global_queue(default_qos);
}

}  // namespace harlune::dispatch

extern "C" dispatch_queue_t dispatch_get_global_queue(long identifier, unsigned long flags) noexcept {
  using namespace harlune::dispatch;
  if (flags != 0) {
    return nullptr;
  }
  GlobalIndex index = count;
  switch (identifier) {
    case QOS_CLASS_USER_INTERACTIVE:
      index = user_interactive;
      break;
    case QOS_CLASS_USER_INITIATED:
    case DISPATCH_QUEUE_PRIORITY_HIGH:
      index = user_initiated;
      break;
    case QOS_CLASS_DEFAULT:
    case DISPATCH_QUEUE_PRIORITY_DEFAULT:  // Also QOS_CLASS_UNSPECIFIED.
      index = default_qos;
      break;
    case QOS_CLASS_UTILITY:
    case DISPATCH_QUEUE_PRIORITY_LOW:
      index = utility;
      break;
    case QOS_CLASS_BACKGROUND:
    case DISPATCH_QUEUE_PRIORITY_BACKGROUND:
      index = background;
      break;
    default:
      return nullptr;
  }
  return to_handle<dispatch_queue_t>(&global_queue(index));
}
