// Dictionaries and every xpc_dictionary_* entry point.

#include "dictionary_impl.h"

#include "data_object.h"
#include "error_objects.h"
#include "value_objects.h"

#include <fcntl.h>

#include <cstring>
#include <new>

namespace harlune::xpc {

Dictionary* Dictionary::make() noexcept {
  return new (std::nothrow) Dictionary();
}

Dictionary::~Dictionary() {
  for (auto& entry : entries_) {
    entry.second->release();
  }
  if (remote_ != nullptr) {
    remote_->release();
  }
}

bool Dictionary::set(std::string_view key, Object* value) noexcept {
  auto found = entries_.find(key);
  if (value == nullptr) {
    if (found != entries_.end()) {
      found->second->release();
      entries_.erase(found);
    }
    return true;
  }
  value->retain();
  if (found != entries_.end()) {
    found->second->release();
    found->second = value;
    return true;
  }
  try {
    entries_.emplace(std::string(key), value);
  } catch (...) {
    value->release();
    return false;
  }
  return true;
}

bool Dictionary::insert_new(std::string_view key, Object* value) noexcept {
  try {
    if (entries_.emplace(std::string(key), value).second) {
      return true;
    }
  } catch (...) {
  }
  value->release();
  return false;
}

Object* Dictionary::get(std::string_view key) const noexcept {
  auto found = entries_.find(key);
  return found != entries_.end() ? found->second : nullptr;
}

void Dictionary::set_received(Object* connection, uint64_t reply_token) noexcept {
  connection->retain();
  if (remote_ != nullptr) {
    remote_->release();
  }
  remote_ = connection;
  reply_token_.store(reply_token, std::memory_order_relaxed);
}

uint64_t Dictionary::claim_reply() noexcept {
  return reply_token_.exchange(0, std::memory_order_acq_rel);
}

void Dictionary::describe(std::string& out, int depth) const {
  describe_header(out, *this);
  out += " { count = ";
  out += std::to_string(entries_.size());
  out += ", contents =\n";
  for (const auto& entry : entries_) {
    out.append(static_cast<std::size_t>(depth) + 1, '\t');
    out += '"';
    out += entry.first;
    out += "\" => ";
    entry.second->describe(out, depth + 1);
    out += '\n';
  }
  out.append(static_cast<std::size_t>(depth), '\t');
  out += '}';
}

bool Dictionary::equals(const Object& other) const noexcept {
  const auto& that = static_cast<const Dictionary&>(other);
  if (entries_.size() != that.entries_.size()) {
    return false;
  }
  for (auto a = entries_.begin(), b = that.entries_.begin(); a != entries_.end(); ++a, ++b) {
    if (a->first != b->first || !xpc_equal(to_handle(a->second), to_handle(b->second))) {
      return false;
    }
  }
  return true;
}

namespace {

// The value under `key` of a dictionary or of an error object.
Object* lookup(xpc_object_t handle, const char* key) {
  if (key == nullptr) {
    return nullptr;
  }
  if (const Dictionary* dictionary = handle_as<Dictionary>(handle)) {
    return dictionary->get(key);
  }
  if (const ErrorObject* error = handle_as<ErrorObject>(handle)) {
    return error->lookup(key);
  }
  return nullptr;
}

template <class T>
T* lookup_as(xpc_object_t handle, const char* key) {
  Object* value = lookup(handle, key);
  return value != nullptr && value->type() == T::kType ? static_cast<T*>(value) : nullptr;
}

// Stores a freshly made value, giving back the creation reference.
void store_new(xpc_object_t handle, const char* key, Object* value) {
  Dictionary* dictionary = handle_as<Dictionary>(handle);
  if (dictionary == nullptr || key == nullptr || value == nullptr) {
    if (value != nullptr) {
      value->release();
    }
    return;
  }
  dictionary->set(key, value);
  value->release();
}

}  // namespace

}  // namespace harlune::xpc

using namespace harlune::xpc;

extern "C" xpc_object_t xpc_dictionary_create(const char* const* keys, const xpc_object_t* values,
                                              size_t count) noexcept {
  Dictionary* dictionary = Dictionary::make();
  if (dictionary == nullptr) {
    return nullptr;
  }
  for (size_t i = 0; keys != nullptr && values != nullptr && i < count; ++i) {
    if (keys[i] != nullptr && values[i] != nullptr && values[i] != to_handle(dictionary)) {
      dictionary->set(keys[i], from_handle(values[i]));
    }
  }
  return to_handle(dictionary);
}

extern "C" xpc_object_t xpc_dictionary_create_reply(xpc_object_t original) noexcept {
  Dictionary* request = handle_as<Dictionary>(original);
  if (request == nullptr) {
    return nullptr;
  }
  const uint64_t token = request->claim_reply();
  if (token == 0) {
    return nullptr;
  }
  Dictionary* reply = Dictionary::make();
  if (reply != nullptr) {
    reply->set_in_reply_to(token);
  }
  return to_handle(reply);
}

extern "C" xpc_connection_t xpc_dictionary_get_remote_connection(xpc_object_t handle) noexcept {
  const Dictionary* dictionary = handle_as<Dictionary>(handle);
  if (dictionary == nullptr) {
    return nullptr;
  }
  return static_cast<xpc_connection_t>(to_handle(dictionary->remote_connection()));
}

extern "C" void xpc_dictionary_set_value(xpc_object_t handle, const char* key, xpc_object_t value) noexcept {
  Dictionary* dictionary = handle_as<Dictionary>(handle);
  // A dictionary cannot hold itself: it could never be freed or encoded.
  if (dictionary != nullptr && key != nullptr && value != handle) {
    dictionary->set(key, from_handle(value));
  }
}

extern "C" xpc_object_t xpc_dictionary_get_value(xpc_object_t handle, const char* key) noexcept {
  return to_handle(lookup(handle, key));
}

extern "C" size_t xpc_dictionary_get_count(xpc_object_t handle) noexcept {
  if (const Dictionary* dictionary = handle_as<Dictionary>(handle)) {
    return dictionary->entries().size();
  }
  return handle_as<ErrorObject>(handle) != nullptr ? 1 : 0;
}

extern "C" bool xpc_dictionary_apply(xpc_object_t handle, xpc_dictionary_applier_t applier) noexcept {
  if (applier == nullptr) {
    return true;
  }
  if (const ErrorObject* error = handle_as<ErrorObject>(handle)) {
    return applier(_xpc_error_key_description, to_handle(&error->description()));
  }
  const Dictionary* dictionary = handle_as<Dictionary>(handle);
  if (dictionary == nullptr) {
    return true;
  }
  for (const auto& entry : dictionary->entries()) {
    if (!applier(entry.first.c_str(), to_handle(entry.second))) {
      return false;
    }
  }
  return true;
}

extern "C" void xpc_dictionary_set_bool(xpc_object_t handle, const char* key, bool value) noexcept {
  store_new(handle, key, BoolObject::shared(value));
}

extern "C" void xpc_dictionary_set_int64(xpc_object_t handle, const char* key, int64_t value) noexcept {
  store_new(handle, key, Int64Object::make(value));
}

extern "C" void xpc_dictionary_set_uint64(xpc_object_t handle, const char* key, uint64_t value) noexcept {
  store_new(handle, key, Uint64Object::make(value));
}

extern "C" void xpc_dictionary_set_double(xpc_object_t handle, const char* key, double value) noexcept {
  store_new(handle, key, DoubleObject::make(value));
}

extern "C" void xpc_dictionary_set_date(xpc_object_t handle, const char* key, int64_t value) noexcept {
  store_new(handle, key, DateObject::make(value));
}

extern "C" void xpc_dictionary_set_data(xpc_object_t handle, const char* key, const void* bytes,
                                        size_t length) noexcept {
  if (bytes != nullptr || length == 0) {
    store_new(handle, key, DataObject::copy_of(bytes, length));
  }
}

extern "C" void xpc_dictionary_set_string(xpc_object_t handle, const char* key, const char* string) noexcept {
  if (string != nullptr) {
    store_new(handle, key, StringObject::make(string, std::strlen(string)));
  }
}

extern "C" void xpc_dictionary_set_uuid(xpc_object_t handle, const char* key, const uuid_t uuid) noexcept {
  if (uuid != nullptr) {
    store_new(handle, key, UuidObject::make(uuid));
  }
}

extern "C" void xpc_dictionary_set_fd(xpc_object_t handle, const char* key, int fd) noexcept {
  store_new(handle, key, FdObject::duplicate(fd));
}

extern "C" bool xpc_dictionary_get_bool(xpc_object_t handle, const char* key) noexcept {
  const BoolObject* value = lookup_as<BoolObject>(handle, key);
  return value != nullptr && value->value();
}

extern "C" int64_t xpc_dictionary_get_int64(xpc_object_t handle, const char* key) noexcept {
  const Int64Object* value = lookup_as<Int64Object>(handle, key);
  return value != nullptr ? value->value() : 0;
}

extern "C" uint64_t xpc_dictionary_get_uint64(xpc_object_t handle, const char* key) noexcept {
  const Uint64Object* value = lookup_as<Uint64Object>(handle, key);
  return value != nullptr ? value->value() : 0;
}

extern "C" double xpc_dictionary_get_double(xpc_object_t handle, const char* key) noexcept {
  const DoubleObject* value = lookup_as<DoubleObject>(handle, key);
  return value != nullptr ? value->value() : 0.0;
}

extern "C" int64_t xpc_dictionary_get_date(xpc_object_t handle, const char* key) noexcept {
  const DateObject* value = lookup_as<DateObject>(handle, key);
  return value != nullptr ? value->value() : 0;
}

extern "C" const void* xpc_dictionary_get_data(xpc_object_t handle, const char* key, size_t* length) noexcept {
  const DataObject* value = lookup_as<DataObject>(handle, key);
  if (value == nullptr) {
    return nullptr;
  }
  if (length != nullptr) {
    *length = value->length();
  }
  return value->bytes();
}

extern "C" const char* xpc_dictionary_get_string(xpc_object_t handle, const char* key) noexcept {
  const StringObject* value = lookup_as<StringObject>(handle, key);
  return value != nullptr ? value->chars() : nullptr;
}

extern "C" const uint8_t* xpc_dictionary_get_uuid(xpc_object_t handle, const char* key) noexcept {
  const UuidObject* value = lookup_as<UuidObject>(handle, key);
  return value != nullptr ? value->bytes() : nullptr;
}

extern "C" int xpc_dictionary_dup_fd(xpc_object_t handle, const char* key) noexcept {
  const FdObject* value = lookup_as<FdObject>(handle, key);
  return value != nullptr ? fcntl(value->fd(), F_DUPFD_CLOEXEC, 0) : -1;
}

extern "C" xpc_object_t xpc_dictionary_get_dictionary(xpc_object_t handle, const char* key) noexcept {
  return to_handle(lookup_as<Dictionary>(handle, key));
}
