// ErrorObject: the three immortal error objects (XPC_ERROR_*). Each behaves
// as a read-only dictionary holding one string under
// XPC_ERROR_KEY_DESCRIPTION.
//
// Thread safety and lifetime: immutable and immortal; never destroyed, not
// even at process exit, so late callbacks may still be handed one.

#pragma once

#include "object_impl.h"
#include "value_objects.h"

namespace harlune::xpc {

class ErrorObject final : public Object {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_ERROR;
  constexpr ErrorObject(const char* description, std::size_t length) noexcept
      : Object(kType, Lifetime::immortal), description_(description, length) {}

  const StringObject& description() const noexcept { return description_; }
  // The value under `key`: the description, or null.
  Object* lookup(const char* key) const noexcept;

  void describe(std::string& out, int depth) const override;

 private:
  StringObject description_;
};

ErrorObject* connection_invalid_error() noexcept;
ErrorObject* connection_interrupted_error() noexcept;

}  // namespace harlune::xpc
