// The immutable scalar value objects: bool, int64, uint64, double, date,
// string, uuid and descriptor. (Data has a header of its own.)
//
// Thread safety: immutable after construction, so any thread may read them.
// Lifetime: reference counted (see object_impl.h); the two booleans are
// immortal. A descriptor object owns its descriptor and closes it when
// destroyed.

#pragma once

#include "object_impl.h"

#include <cstring>
#include <memory>

namespace harlune::xpc {

class BoolObject final : public Object {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_BOOL;
  constexpr explicit BoolObject(bool value) noexcept : Object(kType, Lifetime::immortal), value_(value) {}
  bool value() const noexcept { return value_; }
  // XPC_BOOL_TRUE or XPC_BOOL_FALSE.
  static BoolObject* shared(bool value) noexcept;

  void describe(std::string& out, int depth) const override;
  bool equals(const Object& other) const noexcept override;
  std::size_t hash() const noexcept override { return value_ ? 1 : 0; }

 private:
  const bool value_;
};

// int64, uint64, double and date: a fixed-size value compared bit for bit.
template <class Value, const _xpc_type_s* Type>
class ScalarObject final : public Object {
 public:
  static constexpr xpc_type_t kType = Type;
  static ScalarObject* make(Value value) noexcept { return new (std::nothrow) ScalarObject(value); }
  Value value() const noexcept { return value_; }

  void describe(std::string& out, int depth) const override;
  bool equals(const Object& other) const noexcept override {
    return std::memcmp(&value_, &static_cast<const ScalarObject&>(other).value_, sizeof(Value)) == 0;
  }
  std::size_t hash() const noexcept override;

 private:
  explicit ScalarObject(Value value) noexcept : Object(kType, Lifetime::counted), value_(value) {}
  const Value value_;
};

using Int64Object = ScalarObject<int64_t, &_xpc_type_int64>;
using Uint64Object = ScalarObject<uint64_t, &_xpc_type_uint64>;
using DoubleObject = ScalarObject<double, &_xpc_type_double>;
using DateObject = ScalarObject<int64_t, &_xpc_type_date>;

class StringObject final : public Object {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_STRING;
  // Copies `length` bytes and adds a terminating zero; null when out of
  // memory.
  static StringObject* make(const char* chars, std::size_t length) noexcept;
  // An immortal string over a literal, for the error descriptions.
  constexpr explicit StringObject(const char* literal, std::size_t length) noexcept
      : Object(kType, Lifetime::immortal), chars_(literal), length_(length) {}
  ~StringObject() override;

  const char* chars() const noexcept { return chars_; }
  std::size_t length() const noexcept { return length_; }

  void describe(std::string& out, int depth) const override;
  bool equals(const Object& other) const noexcept override;
  std::size_t hash() const noexcept override;

 private:
  StringObject(char* owned, std::size_t length) noexcept
      : Object(kType, Lifetime::counted), chars_(owned), length_(length), owned_(owned) {}
  const char* const chars_;
  const std::size_t length_;
  char* const owned_ = nullptr;
};

class UuidObject final : public Object {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_UUID;
  static UuidObject* make(const unsigned char* bytes) noexcept;
  const uint8_t* bytes() const noexcept { return bytes_; }

  void describe(std::string& out, int depth) const override;
  bool equals(const Object& other) const noexcept override;
  std::size_t hash() const noexcept override;

 private:
  UuidObject() noexcept : Object(kType, Lifetime::counted) {}
  uint8_t bytes_[16] = {};
};

class FdObject final : public Object {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_FD;
  // Owns a duplicate of `fd`; null when it cannot be duplicated.
  static FdObject* duplicate(int fd) noexcept;
  // Owns `fd` itself (a descriptor received from a peer).
  static FdObject* adopt(int fd) noexcept;
  ~FdObject() override;

  // The descriptor the object owns; valid while the object lives.
  int fd() const noexcept { return fd_; }

  void describe(std::string& out, int depth) const override;

 private:
  explicit FdObject(int fd) noexcept : Object(kType, Lifetime::counted), fd_(fd) {}
  const int fd_;
};

}  // namespace harlune::xpc
