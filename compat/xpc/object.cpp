// Object basics: the type records, reference counting through handles, and
// the type-independent entry points (type, description, equality, hash).

#include "object_impl.h"

#include "connection_base.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

const struct _xpc_type_s _xpc_type_connection{"connection"};
const struct _xpc_type_s _xpc_type_endpoint{"endpoint"};
const struct _xpc_type_s _xpc_type_bool{"bool"};
const struct _xpc_type_s _xpc_type_int64{"int64"};
const struct _xpc_type_s _xpc_type_uint64{"uint64"};
const struct _xpc_type_s _xpc_type_double{"double"};
const struct _xpc_type_s _xpc_type_date{"date"};
const struct _xpc_type_s _xpc_type_data{"data"};
const struct _xpc_type_s _xpc_type_string{"string"};
const struct _xpc_type_s _xpc_type_uuid{"uuid"};
const struct _xpc_type_s _xpc_type_fd{"fd"};
const struct _xpc_type_s _xpc_type_dictionary{"dictionary"};
const struct _xpc_type_s _xpc_type_error{"error"};

namespace harlune::xpc {

std::size_t Object::hash() const noexcept {
  return std::hash<const void*>()(this);
}

void describe_header(std::string& out, const Object& object) {
  char header[64];
  std::snprintf(header, sizeof header, "<%s: %p>", object.type()->name, static_cast<const void*>(&object));
  out += header;
}

}  // namespace harlune::xpc

using namespace harlune::xpc;

extern "C" xpc_object_t xpc_retain(xpc_object_t handle) noexcept {
  Object* object = from_handle(handle);
  if (object == nullptr) {
    return nullptr;
  }
  if (ConnectionBase* connection = handle_as<ConnectionBase>(handle)) {
    connection->note_caller_retain();
  }
  object->retain();
  return handle;
}

extern "C" void xpc_release(xpc_object_t handle) noexcept {
  Object* object = from_handle(handle);
  if (object == nullptr) {
    return;
  }
  if (ConnectionBase* connection = handle_as<ConnectionBase>(handle)) {
    connection->note_caller_release();
  }
  object->release();
}

extern "C" xpc_type_t xpc_get_type(xpc_object_t handle) noexcept {
  Object* object = from_handle(handle);
  return object != nullptr ? object->type() : nullptr;
}

extern "C" const char* xpc_type_get_name(xpc_type_t type) noexcept {
  return type != nullptr ? type->name : nullptr;
}

extern "C" char* xpc_copy_description(xpc_object_t handle) noexcept {
  Object* object = from_handle(handle);
  std::string text;
  if (object == nullptr) {
    text = "<null>";
  } else {
    object->describe(text, 0);
  }
  return strdup(text.c_str());
}

extern "C" bool xpc_equal(xpc_object_t first, xpc_object_t second) noexcept {
  Object* a = from_handle(first);
  Object* b = from_handle(second);
  if (a == b) {
    return true;
  }
  if (a == nullptr || b == nullptr || a->type() != b->type()) {
    return false;
  }
  return a->equals(*b);
}

extern "C" size_t xpc_hash(xpc_object_t handle) noexcept {
  Object* object = from_handle(handle);
  return object != nullptr ? object->hash() : 0;
}
