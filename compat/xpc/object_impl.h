// Object: the reference-counted base of every xpc object, the type records
// behind XPC_TYPE_*, and the conversions between objects and the handles
// callers hold.
//
// A handle (xpc_object_t) is the address of the Object base of the concrete
// object. Thread safety: retain and release may be called from any thread;
// the rest of an object's interface is described by its class. Lifetime: an
// object starts with one reference and is destroyed when the last one goes;
// immortal objects (the booleans, the error objects) ignore both.

#pragma once

#include <xpc/xpc.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

struct _xpc_type_s {
  const char* name;
};

namespace harlune::xpc {

class Object {
 public:
  enum class Lifetime { counted, immortal };

  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  xpc_type_t type() const noexcept { return type_; }
  bool immortal() const noexcept { return immortal_; }

  void retain() noexcept {
    if (!immortal_) {
      references_.fetch_add(1, std::memory_order_relaxed);
    }
  }

  void release() noexcept {
    if (!immortal_ && references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      destroy();
    }
  }

  // Appends a readable rendering; `depth` is the nesting level, for
  // indentation.
  virtual void describe(std::string& out, int depth) const = 0;
  // Content equality with `other`, which has the same type. Identity unless
  // a class says otherwise.
  virtual bool equals(const Object& other) const noexcept { return this == &other; }
  virtual std::size_t hash() const noexcept;

 protected:
  constexpr Object(xpc_type_t type, Lifetime lifetime) noexcept
      : type_(type), immortal_(lifetime == Lifetime::immortal) {}
  constexpr virtual ~Object() = default;

  // Runs when the last reference is gone; deletes the object unless a class
  // allocates itself differently.
  virtual void destroy() noexcept { delete this; }

 private:
  std::atomic<std::intptr_t> references_{1};
  const xpc_type_t type_;
  const bool immortal_;
};

inline xpc_object_t to_handle(const Object* object) noexcept {
  return const_cast<void*>(static_cast<const void*>(object));
}

inline Object* from_handle(xpc_object_t handle) noexcept {
  return static_cast<Object*>(handle);
}

// The object behind `handle` as class T when its type is T::kType, else null.
template <class T>
T* handle_as(xpc_object_t handle) noexcept {
  Object* object = from_handle(handle);
  return object != nullptr && object->type() == T::kType ? static_cast<T*>(object) : nullptr;
}

// Appends "<type: 0xADDRESS>" as every description starts.
void describe_header(std::string& out, const Object& object);

}  // namespace harlune::xpc
