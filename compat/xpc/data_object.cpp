// Data objects: inline heap storage or a sealed memory file.

#include "data_object.h"

#include <cstdio>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>

namespace harlune::xpc {

DataObject* DataObject::heap_copy(const void* bytes, std::size_t length) noexcept {
  // One allocation: the object, then its bytes.
  void* memory = ::operator new(sizeof(DataObject) + length, std::nothrow);
  if (memory == nullptr) {
    return nullptr;
  }
  uint8_t* storage = static_cast<uint8_t*>(memory) + sizeof(DataObject);
  if (length > 0) {
    std::memcpy(storage, bytes, length);
  }
  return new (memory) DataObject(storage, length, SealedMemory{});
}

DataObject* DataObject::copy_of(const void* bytes, std::size_t length) noexcept {
  if (length >= kSealedThreshold) {
    SealedMemory memory;
    if (memory.create_copy(bytes, length)) {
      DataObject* object = adopt_sealed(memory);
      if (object == nullptr) {
        memory.unmap();
      }
      return object;
    }
  }
  return heap_copy(bytes, length);
}

DataObject* DataObject::adopt_sealed(SealedMemory& memory) noexcept {
  void* storage = ::operator new(sizeof(DataObject), std::nothrow);
  if (storage == nullptr) {
    return nullptr;
  }
  return new (storage) DataObject(static_cast<const uint8_t*>(memory.address), memory.length, memory);
}

DataObject::~DataObject() {
  sealed_.unmap();
}

void DataObject::destroy() noexcept {
  this->~DataObject();
  ::operator delete(static_cast<void*>(this));
}

void DataObject::describe(std::string& out, int) const {
  describe_header(out, *this);
  out += " { length = ";
  out += std::to_string(length_);
  out += " bytes, contents = 0x";
  const std::size_t shown = length_ < 32 ? length_ : 32;
  char hex[3];
  for (std::size_t i = 0; i < shown; ++i) {
    std::snprintf(hex, sizeof hex, "%02x", bytes_[i]);
    out += hex;
  }
  out += shown < length_ ? "... }" : " }";
}

bool DataObject::equals(const Object& other) const noexcept {
  const auto& that = static_cast<const DataObject&>(other);
  return length_ == that.length_ && (length_ == 0 || std::memcmp(bytes_, that.bytes_, length_) == 0);
}

std::size_t DataObject::hash() const noexcept {
  return std::hash<std::string_view>()(std::string_view(reinterpret_cast<const char*>(bytes_), length_));
}

}  // namespace harlune::xpc

using namespace harlune::xpc;

extern "C" xpc_object_t xpc_data_create(const void* bytes, size_t length) noexcept {
  if (bytes == nullptr && length > 0) {
    return nullptr;
  }
  return to_handle(DataObject::copy_of(bytes, length));
}

extern "C" const void* xpc_data_get_bytes_ptr(xpc_object_t handle) noexcept {
  const DataObject* object = handle_as<DataObject>(handle);
  return object != nullptr ? object->bytes() : nullptr;
}

extern "C" size_t xpc_data_get_length(xpc_object_t handle) noexcept {
  const DataObject* object = handle_as<DataObject>(handle);
  return object != nullptr ? object->length() : 0;
}

extern "C" size_t xpc_data_get_bytes(xpc_object_t handle, void* buffer, size_t offset, size_t length) noexcept {
  const DataObject* object = handle_as<DataObject>(handle);
  if (object == nullptr || buffer == nullptr || offset >= object->length()) {
    return 0;
  }
  const std::size_t count = length < object->length() - offset ? length : object->length() - offset;
  std::memcpy(buffer, object->bytes() + offset, count);
  return count;
}
