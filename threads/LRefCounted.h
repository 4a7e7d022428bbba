// LRefCounted: the base of the library's small reference-counted objects
// (the notification objects and their partners). An object starts with one
// reference, owned by its creator; Release() of the last reference deletes
// it. Retain and Release may be called from any thread.
#pragma once

#include <atomic>

class LRefCounted {
public:
  LRefCounted(const LRefCounted&) = delete;
  LRefCounted& operator=(const LRefCounted&) = delete;

  void Retain() const { nRefs.fetch_add(1, std::memory_order_relaxed); }
  void Release() const {
    // acq_rel: the deleting thread sees every write made under the other
    // references.
    if (nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

protected:
  LRefCounted() = default;
  virtual ~LRefCounted() = default;

private:
  mutable std::atomic<long> nRefs{1};  // references held
};
