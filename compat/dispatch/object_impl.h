// Object: the reference-counted base of every dispatch object, and the
// conversions between it and the opaque handles callers hold.
//
// Thread safety: retain and release may be called from any thread. Lifetime:
// an object starts with one reference and deletes itself when the last one is
// released; immortal objects (the global and main queues) ignore both.

#pragma once

#include <dispatch/object.h>

#include <atomic>
#include <cstdint>

namespace harlune::dispatch {

class Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  enum class Lifetime { counted, immortal };

  void retain() noexcept;
  void release() noexcept;
  bool immortal() const noexcept { return immortal_; }

  // Suspension only means something for queues; the other objects accept
  // the calls and do nothing, where Apple's implementation would trap.
  virtual void suspend() noexcept {}
  virtual void resume() noexcept {}

 protected:
  explicit Object(Lifetime lifetime) noexcept : immortal_(lifetime == Lifetime::immortal) {}
  virtual ~Object() = default;

 private:
  std::atomic<std::intptr_t> references_{1};
  const bool immortal_;
};

// Handles point at the Object subobject, whatever the concrete class, so a
// handle of any type converts to dispatch_object_t and back unchanged.
template <class Handle>
Handle to_handle(Object* object) noexcept {
  return reinterpret_cast<Handle>(object);
}

template <class Concrete, class Handle>
Concrete* from_handle(Handle handle) noexcept {
  return static_cast<Concrete*>(reinterpret_cast<Object*>(handle));
}

}  // namespace harlune::dispatch
