// Reference counting of dispatch objects and the public object calls.

#include "object_impl.h"

namespace harlune::dispatch {

void Object::retain() noexcept {
  if (!immortal_) {
    // Taking a further reference needs no ordering: the caller already holds
    // one, so the object cannot be going away concurrently.
    references_.fetch_add(1, std::memory_order_relaxed);
  }
}

void Object::release() noexcept {
  if (immortal_) {
    return;
  }
  // acq_rel: every thread's writes made while holding a reference must be
  // visible to the thread that deletes the object.
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete this;
  }
}

}  // namespace harlune::dispatch

using harlune::dispatch::Object;
using harlune::dispatch::from_handle;

extern "C" void dispatch_retain(dispatch_object_t object) noexcept {
  if (object != nullptr) {
    from_handle<Object>(object)->retain();
  }
}

extern "C" void dispatch_release(dispatch_object_t object) noexcept {
  if (object != nullptr) {
    from_handle<Object>(object)->release();
  }
}

extern "C" void dispatch_suspend(dispatch_object_t object) noexcept {
  if (object != nullptr) {
    from_handle<Object>(object)->suspend();
  }
}

extern "C" void dispatch_resume(dispatch_object_t object) noexcept {
  if (object != nullptr) {
    from_handle<Object>(object)->resume();
  }
}
