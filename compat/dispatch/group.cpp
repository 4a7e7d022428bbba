// Groups and the public group calls.

#include "group_impl.h"

#include "clock.h"
#include "queue_impl.h"

#include <dispatch/group.h>
#include <mach/kern_return.h>

#include <utility>

namespace harlune::dispatch {

void Group::enter() noexcept {
  retain();  // Given back by the matching leave.
  std::lock_guard<std::mutex> lock(mutex_);
  ++members_;
}

void Group::leave() noexcept {
  std::vector<Notification> due;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (members_ == 0) {
      return;
    }
    if (--members_ == 0) {
      ++emptied_count_;
      due = std::move(notifications_);
      notifications_.clear();
      emptied_.notify_all();
    }
  }
  for (Notification& notification : due) {
    notification.queue->push(notification.work, false);
    notification.queue->release();
  }
  release();  // The reference taken by the matching enter; possibly the last.
}

bool Group::wait(uint64_t deadline) noexcept {
  std::unique_lock<std::mutex> lock(mutex_);
  const uint64_t emptied_before = emptied_count_;
  return wait_until(emptied_, lock, deadline,
                    [this, emptied_before] { return members_ == 0 || emptied_count_ != emptied_before; });
}

void Group::notify(Queue* queue, Work work) noexcept {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (members_ > 0) {
      notifications_.push_back(Notification{queue, work});
      return;
    }
  }
  queue->push(work, false);
  queue->release();
}

}  // namespace harlune::dispatch

using harlune::dispatch::Group;
using harlune::dispatch::Queue;
using harlune::dispatch::Work;
using harlune::dispatch::from_handle;
using harlune::dispatch::to_handle;

namespace {

void group_async(dispatch_group_t group, dispatch_queue_t queue, Work work) {
  Group* members = from_handle<Group>(group);
  members->enter();
  work.group = members;
  from_handle<Queue>(queue)->push(work, false);
}

void group_notify(dispatch_group_t group, dispatch_queue_t queue, Work work) {
  Queue* target = from_handle<Queue>(queue);
  target->retain();
  from_handle<Group>(group)->notify(target, work);
}

}  // namespace

extern "C" dispatch_group_t dispatch_group_create(void) noexcept {
  return to_handle<dispatch_group_t>(new Group());
}

extern "C" void dispatch_group_enter(dispatch_group_t group) noexcept {
  if (group != nullptr) {
    from_handle<Group>(group)->enter();
  }
}

extern "C" void dispatch_group_leave(dispatch_group_t group) noexcept {
  if (group != nullptr) {
    from_handle<Group>(group)->leave();
  }
}

extern "C" long dispatch_group_wait(dispatch_group_t group, dispatch_time_t timeout) noexcept {
  if (group == nullptr) {
    return 0;
  }
  const bool emptied = from_handle<Group>(group)->wait(harlune::dispatch::host_deadline(timeout));
  return emptied ? 0 : KERN_OPERATION_TIMED_OUT;
}

extern "C" void dispatch_group_async_f(dispatch_group_t group, dispatch_queue_t queue, void* context,
                                       dispatch_function_t work) noexcept {
  if (group != nullptr && queue != nullptr && work != nullptr) {
    group_async(group, queue, Work::from_function(context, work));
  }
}

extern "C" void dispatch_group_async(dispatch_group_t group, dispatch_queue_t queue, dispatch_block_t block) noexcept {
  if (group != nullptr && queue != nullptr && block != nullptr) {
    group_async(group, queue, Work::from_block(block));
  }
}

extern "C" void dispatch_group_notify_f(dispatch_group_t group, dispatch_queue_t queue, void* context,
                                        dispatch_function_t work) noexcept {
  if (group != nullptr && queue != nullptr && work != nullptr) {
    group_notify(group, queue, Work::from_function(context, work));
  }
}

extern "C" void dispatch_group_notify(dispatch_group_t group, dispatch_queue_t queue, dispatch_block_t block) noexcept {
  if (group != nullptr && queue != nullptr && block != nullptr) {
    group_notify(group, queue, Work::from_block(block));
  }
}
