// Suspension, activation and cancellation common to every connection.

#include "connection_base.h"

#include "api_misuse.h"
#include "error_objects.h"

#include <Block.h>

#include <cstdio>
#include <new>

namespace harlune::xpc {
namespace {

struct DetachedReply {
  xpc_handler_t handler;
  Object* result;
};

void run_detached_reply(void* context) {
  auto* reply = static_cast<DetachedReply*>(context);
  reply->handler(to_handle(reply->result));
  Block_release(reply->handler);
  reply->result->release();
  delete reply;
}

void run_detached_barrier(void* context) {
  auto barrier = reinterpret_cast<dispatch_block_t>(context);
  barrier();
  Block_release(barrier);
}

dispatch_queue_t detached_queue() noexcept { return dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0); }

}  // namespace

ConnectionBase::ConnectionBase(std::string name, dispatch_queue_t target, int caller_references) noexcept
    : Object(kType, Lifetime::counted),
      pump_(*this, "com.apple.xpc.connection"),
      caller_references_(caller_references),
      name_(std::move(name)) {
  if (target != nullptr) {
    pump_.set_target(target);
  }
}

void ConnectionBase::suspend() noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  ++suspensions_;
  pump_.set_suspended(true);
}

void ConnectionBase::resume() noexcept {
  bool activating = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (suspensions_ == 0) {
      HARLUNE_XPC_MISUSE("over-resume of a connection");
      return;
    }
    if (--suspensions_ > 0) {
      return;
    }
    if (!activated_) {
      activated_ = true;
      activating = true;
      retain();  // Held until the final event has been delivered.
    }
  }
  if (activating) {
    activated();
  }
  resumed();
  std::lock_guard<std::mutex> lock(mutex_);
  if (suspensions_ == 0) {
    pump_.set_suspended(false);
  }
}

void ConnectionBase::activate() noexcept {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (activated_) {
      return;
    }
  }
  resume();
}

void ConnectionBase::cancel() noexcept {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (cancelled_) {
      return;
    }
    cancelled_ = true;
    if (!activated_) {
      stillborn_.store(true, std::memory_order_release);
    }
  }
  cancelled();
  if (stillborn()) {
    // Callbacks queued while it waited for its first resume.
    pump_.run_callbacks_on(detached_queue());
  }
}

void ConnectionBase::note_caller_release() noexcept {
  if (caller_references_.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  if (activated_ && suspensions_ > 0) {
    HARLUNE_XPC_MISUSE("release of the last reference to a suspended connection");
  }
}

void ConnectionBase::run_reply(xpc_handler_t handler, Object* result) noexcept {
  if (stillborn()) {
    if (auto* reply = new (std::nothrow) DetachedReply{handler, result}) {
      dispatch_async_f(detached_queue(), reply, &run_detached_reply);
      return;
    }
  }
  pump_.push_reply(handler, result);
}

void ConnectionBase::run_barrier(dispatch_block_t barrier) noexcept {
  if (stillborn()) {
    dispatch_async_f(detached_queue(), reinterpret_cast<void*>(barrier), &run_detached_barrier);
    return;
  }
  pump_.push_barrier(barrier);
}

PeerCredentials ConnectionBase::credentials() noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  return peer_;
}

void ConnectionBase::pump_final_delivered() noexcept {
  bool held = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    held = activated_;
  }
  if (held) {
    release();  // The reference taken at activation.
  }
}

void ConnectionBase::describe(std::string& out, int) const {
  describe_header(out, *this);
  out += " { name = ";
  out += name_.empty() ? "(anonymous)" : name_;
  out += " }";
}

}  // namespace harlune::xpc
