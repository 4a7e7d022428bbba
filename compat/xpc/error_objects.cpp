// The three immortal error objects and the description key.

#include "error_objects.h"

#include <cstring>

const char* const _xpc_error_key_description = "XPCErrorDescription";

struct _xpc_error_s {
  union {
    harlune::xpc::ErrorObject object;
  };
  template <std::size_t N>
  constexpr explicit _xpc_error_s(const char (&description)[N]) noexcept : object(description, N - 1) {}
  // Immortal: the object is deliberately never destroyed.
  ~_xpc_error_s() {}
};

constinit struct _xpc_error_s _xpc_error_connection_invalid{"Connection invalid"};
constinit struct _xpc_error_s _xpc_error_connection_interrupted{"Connection interrupted"};
constinit struct _xpc_error_s _xpc_error_termination_imminent{"Termination imminent"};

namespace harlune::xpc {

ErrorObject* connection_invalid_error() noexcept {
  return &_xpc_error_connection_invalid.object;
}

ErrorObject* connection_interrupted_error() noexcept {
  return &_xpc_error_connection_interrupted.object;
}

Object* ErrorObject::lookup(const char* key) const noexcept {
  if (key != nullptr && std::strcmp(key, _xpc_error_key_description) == 0) {
    return const_cast<StringObject*>(&description_);
  }
  return nullptr;
}

void ErrorObject::describe(std::string& out, int) const {
  describe_header(out, *this);
  out += " { count = 1, contents = \"";
  out += _xpc_error_key_description;
  out += "\" => \"";
  out.append(description_.chars(), description_.length());
  out += "\" }";
}

}  // namespace harlune::xpc
