// DataObject: an immutable byte string (XPC_TYPE_DATA).
//
// Small data lives in the same allocation as the object. Data of
// kSealedThreshold bytes or more lives in a sealed memory file (see
// sealed_memory.h), so that sending it passes a descriptor instead of
// copying the bytes; data received that way is mapped, not copied. When the
// system refuses a memory file, large data falls back to the heap.
//
// Thread safety: immutable, readable from any thread. Lifetime: reference
// counted; bytes() stays valid while the object lives.

#pragma once

#include "object_impl.h"
#include "sealed_memory.h"

namespace harlune::xpc {

class DataObject final : public Object {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_DATA;
  static constexpr std::size_t kSealedThreshold = 64 * 1024;

  // A copy of `length` bytes, sealed when large. Null when out of memory.
  static DataObject* copy_of(const void* bytes, std::size_t length) noexcept;
  // A heap copy, whatever the size.
  static DataObject* heap_copy(const void* bytes, std::size_t length) noexcept;
  // Takes over `memory`; null (and `memory` untouched) when out of memory.
  static DataObject* adopt_sealed(SealedMemory& memory) noexcept;

  const uint8_t* bytes() const noexcept { return bytes_; }
  std::size_t length() const noexcept { return length_; }
  // The sealed memory file holding the bytes, or -1 for heap data.
  int sealed_fd() const noexcept { return sealed_.fd; }

  void describe(std::string& out, int depth) const override;
  bool equals(const Object& other) const noexcept override;
  std::size_t hash() const noexcept override;

 private:
  DataObject(const uint8_t* bytes, std::size_t length, const SealedMemory& sealed) noexcept
      : Object(kType, Lifetime::counted), bytes_(bytes), length_(length), sealed_(sealed) {}
  ~DataObject() override;
  void destroy() noexcept override;

  const uint8_t* const bytes_;
  const std::size_t length_;
  SealedMemory sealed_;
};

}  // namespace harlune::xpc
