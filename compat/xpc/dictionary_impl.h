// Dictionary: the keyed container (XPC_TYPE_DICTIONARY) that every message
// is, with what a message carries beside its entries: the connection it
// arrived on and whether (and how) it can be answered.
//
// Entries are kept in key order; keys are copied, values retained.
// Thread safety: reads may run on several threads at once; a change must not
// overlap any other access (as on Apple's platform). The reply claim is
// atomic. Lifetime: reference counted; a received dictionary holds a
// reference to its connection, so the connection outlives it.

#pragma once

#include "object_impl.h"

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace harlune::xpc {

class Dictionary final : public Object {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_DICTIONARY;
  using Entries = std::map<std::string, Object*, std::less<>>;

  static Dictionary* make() noexcept;

  // Stores `value` (retained) under `key`, replacing what was there; a null
  // value removes the key. False when out of memory.
  bool set(std::string_view key, Object* value) noexcept;
  // Stores `value`, taking over the caller's reference, under a key not yet
  // present. False, with the reference given back, for a duplicate key or
  // when out of memory.
  bool insert_new(std::string_view key, Object* value) noexcept;
  Object* get(std::string_view key) const noexcept;
  const Entries& entries() const noexcept { return entries_; }

  // Marks the dictionary as received on `connection` (retained). A non-zero
  // `reply_token` means the peer waits for an answer.
  void set_received(Object* connection, uint64_t reply_token) noexcept;
  Object* remote_connection() const noexcept { return remote_; }
  // The reply token, once: 0 when there is none or it was claimed already.
  uint64_t claim_reply() noexcept;
  // The token of the request a reply answers; 0 for anything else.
  uint64_t in_reply_to() const noexcept { return in_reply_to_; }
  void set_in_reply_to(uint64_t token) noexcept { in_reply_to_ = token; }

  void describe(std::string& out, int depth) const override;
  bool equals(const Object& other) const noexcept override;
  std::size_t hash() const noexcept override { return entries_.size(); }

 private:
  Dictionary() noexcept : Object(kType, Lifetime::counted) {}
  ~Dictionary() override;

  Entries entries_;
  Object* remote_ = nullptr;
  std::atomic<uint64_t> reply_token_{0};
  uint64_t in_reply_to_ = 0;
};

}  // namespace harlune::xpc
