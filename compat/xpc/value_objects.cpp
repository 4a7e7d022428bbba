// The scalar value objects and their creating and reading entry points.

#include "value_objects.h"

#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string_view>

struct _xpc_bool_s {
  union {
    harlune::xpc::BoolObject object;
  };
  constexpr explicit _xpc_bool_s(bool value) noexcept : object(value) {}
  // Immortal: the object is deliberately never destroyed.
  ~_xpc_bool_s() {}
};

constinit struct _xpc_bool_s _xpc_bool_true{true};
constinit struct _xpc_bool_s _xpc_bool_false{false};

namespace harlune::xpc {
namespace {

std::size_t hash_bytes(const void* bytes, std::size_t length) {
  return std::hash<std::string_view>()(std::string_view(static_cast<const char*>(bytes), length));
}

void append_value(std::string& out, const char* format, ...) __attribute__((format(printf, 2, 3)));
void append_value(std::string& out, const char* format, ...) {
  char text[96];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  out += text;
}

}  // namespace

BoolObject* BoolObject::shared(bool value) noexcept {
  return value ? &_xpc_bool_true.object : &_xpc_bool_false.object;
}

void BoolObject::describe(std::string& out, int) const {
  describe_header(out, *this);
  out += value_ ? ": true" : ": false";
}

bool BoolObject::equals(const Object& other) const noexcept {
  return value_ == static_cast<const BoolObject&>(other).value_;
}

template <>
void Int64Object::describe(std::string& out, int) const {
  describe_header(out, *this);
  append_value(out, ": %" PRId64, value_);
}

template <>
void Uint64Object::describe(std::string& out, int) const {
  describe_header(out, *this);
  append_value(out, ": %" PRIu64, value_);
}

template <>
void DoubleObject::describe(std::string& out, int) const {
  describe_header(out, *this);
  append_value(out, ": %.17g", value_);
}

template <>
void DateObject::describe(std::string& out, int) const {
  describe_header(out, *this);
  const std::time_t seconds = static_cast<std::time_t>(value_ / 1000000000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  std::strftime(text, sizeof text, ": %Y-%m-%d %H:%M:%S UTC", &utc);
  out += text;
}

template <class Value, const _xpc_type_s* Type>
std::size_t ScalarObject<Value, Type>::hash() const noexcept {
  return hash_bytes(&value_, sizeof value_);
}

template class ScalarObject<int64_t, &_xpc_type_int64>;
template class ScalarObject<uint64_t, &_xpc_type_uint64>;
template class ScalarObject<double, &_xpc_type_double>;
template class ScalarObject<int64_t, &_xpc_type_date>;

StringObject* StringObject::make(const char* chars, std::size_t length) noexcept {
  char* copy = new (std::nothrow) char[length + 1];
  if (copy == nullptr) {
    return nullptr;
  }
  std::memcpy(copy, chars, length);
  copy[length] = '\0';
  StringObject* object = new (std::nothrow) StringObject(copy, length);
  if (object == nullptr) {
    delete[] copy;
  }
  return object;
}

StringObject::~StringObject() {
  delete[] owned_;
}

void StringObject::describe(std::string& out, int) const {
  describe_header(out, *this);
  out += " { length = ";
  out += std::to_string(length_);
  out += ", contents = \"";
  out.append(chars_, length_);
  out += "\" }";
}

bool StringObject::equals(const Object& other) const noexcept {
  const auto& that = static_cast<const StringObject&>(other);
  return length_ == that.length_ && std::memcmp(chars_, that.chars_, length_) == 0;
}

std::size_t StringObject::hash() const noexcept {
  return hash_bytes(chars_, length_);
}

UuidObject* UuidObject::make(const unsigned char* bytes) noexcept {
  UuidObject* object = new (std::nothrow) UuidObject();
  if (object != nullptr) {
    std::memcpy(object->bytes_, bytes, sizeof object->bytes_);
  }
  return object;
}

void UuidObject::describe(std::string& out, int) const {
  describe_header(out, *this);
  const uint8_t* b = bytes_;
  append_value(out, " %02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", b[0], b[1], b[2],
               b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

bool UuidObject::equals(const Object& other) const noexcept {
  return std::memcmp(bytes_, static_cast<const UuidObject&>(other).bytes_, sizeof bytes_) == 0;
}

std::size_t UuidObject::hash() const noexcept {
  return hash_bytes(bytes_, sizeof bytes_);
}

FdObject* FdObject::duplicate(int fd) noexcept {
  const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  if (copy < 0) {
    return nullptr;
  }
  FdObject* object = adopt(copy);
  if (object == nullptr) {
    close(copy);
  }
  return object;
}

FdObject* FdObject::adopt(int fd) noexcept {
  return new (std::nothrow) FdObject(fd);
}

FdObject::~FdObject() {
  close(fd_);
}

void FdObject::describe(std::string& out, int) const {
  describe_header(out, *this);
  append_value(out, " { descriptor = %d }", fd_);
}

}  // namespace harlune::xpc

using namespace harlune::xpc;

extern "C" xpc_object_t xpc_bool_create(bool value) noexcept {
  return to_handle(BoolObject::shared(value));
}

extern "C" bool xpc_bool_get_value(xpc_object_t handle) noexcept {
  const BoolObject* object = handle_as<BoolObject>(handle);
  return object != nullptr && object->value();
}

extern "C" xpc_object_t xpc_int64_create(int64_t value) noexcept {
  return to_handle(Int64Object::make(value));
}

extern "C" int64_t xpc_int64_get_value(xpc_object_t handle) noexcept {
  const Int64Object* object = handle_as<Int64Object>(handle);
  return object != nullptr ? object->value() : 0;
}

extern "C" xpc_object_t xpc_uint64_create(uint64_t value) noexcept {
  return to_handle(Uint64Object::make(value));
}

extern "C" uint64_t xpc_uint64_get_value(xpc_object_t handle) noexcept {
  const Uint64Object* object = handle_as<Uint64Object>(handle);
  return object != nullptr ? object->value() : 0;
}

extern "C" xpc_object_t xpc_double_create(double value) noexcept {
  return to_handle(DoubleObject::make(value));
}

extern "C" double xpc_double_get_value(xpc_object_t handle) noexcept {
  const DoubleObject* object = handle_as<DoubleObject>(handle);
  return object != nullptr ? object->value() : 0.0;
}

extern "C" xpc_object_t xpc_date_create(int64_t interval) noexcept {
  return to_handle(DateObject::make(interval));
}

extern "C" xpc_object_t xpc_date_create_from_current(void) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return to_handle(DateObject::make(static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec));
}

extern "C" int64_t xpc_date_get_value(xpc_object_t handle) noexcept {
  const DateObject* object = handle_as<DateObject>(handle);
  return object != nullptr ? object->value() : 0;
}

extern "C" xpc_object_t xpc_string_create(const char* string) noexcept {
  return string != nullptr ? to_handle(StringObject::make(string, std::strlen(string))) : nullptr;
}

extern "C" size_t xpc_string_get_length(xpc_object_t handle) noexcept {
  const StringObject* object = handle_as<StringObject>(handle);
  return object != nullptr ? object->length() : 0;
}

extern "C" const char* xpc_string_get_string_ptr(xpc_object_t handle) noexcept {
  const StringObject* object = handle_as<StringObject>(handle);
  return object != nullptr ? object->chars() : nullptr;
}

extern "C" xpc_object_t xpc_uuid_create(const uuid_t uuid) noexcept {
  return uuid != nullptr ? to_handle(UuidObject::make(uuid)) : nullptr;
}

extern "C" const uint8_t* xpc_uuid_get_bytes(xpc_object_t handle) noexcept {
  const UuidObject* object = handle_as<UuidObject>(handle);
  return object != nullptr ? object->bytes() : nullptr;
}

extern "C" xpc_object_t xpc_fd_create(int fd) noexcept {
  return to_handle(FdObject::duplicate(fd));
}

extern "C" int xpc_fd_dup(xpc_object_t handle) noexcept {
  const FdObject* object = handle_as<FdObject>(handle);
  return object != nullptr ? fcntl(object->fd(), F_DUPFD_CLOEXEC, 0) : -1;
}
