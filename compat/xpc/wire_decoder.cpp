// Decoding a frame body. Every read is bounds-checked against the body;
// the first violation abandons the whole message.

#include "wire_decoder.h"

#include "data_object.h"
#include "endpoint_impl.h"
#include "value_objects.h"

#include <unistd.h>

#include <cstring>

namespace harlune::xpc {
namespace {

using namespace wire;

class Reader {
 public:
  Reader(const uint8_t* body, std::size_t length, int* descriptors, uint16_t count, uint64_t used)
      : at_(body), end_(body + length), descriptors_(descriptors), count_(count), used_(used) {}

  bool at_end() const { return at_ == end_; }

  // A new object with one reference, or null when malformed.
  Object* read(unsigned depth) {
    uint8_t tag = 0;
    if (!get_byte(tag) || ++values_ > kMaxValues) {
      return nullptr;
    }
    switch (tag) {
      case kBool: {
        uint8_t value = 0;
        if (!get_byte(value) || value > 1) {
          return nullptr;
        }
        return BoolObject::shared(value != 0);
      }
      case kInt64:
        return read8<Int64Object, int64_t>();
      case kUint64:
        return read8<Uint64Object, uint64_t>();
      case kDouble:
        return read8<DoubleObject, double>();
      case kDate:
        return read8<DateObject, int64_t>();
      case kDataInline: {
        const uint8_t* bytes = nullptr;
        uint32_t length = 0;
        return get_run(bytes, length) ? DataObject::heap_copy(bytes, length) : nullptr;
      }
      case kDataSealed:
        return read_sealed_data();
      case kString: {
        const uint8_t* bytes = nullptr;
        uint32_t length = 0;
        if (!get_run(bytes, length) || std::memchr(bytes, 0, length) != nullptr) {
          return nullptr;
        }
        return StringObject::make(reinterpret_cast<const char*>(bytes), length);
      }
      case kUuid: {
        if (remaining() < 16) {
          return nullptr;
        }
        UuidObject* uuid = UuidObject::make(at_);
        at_ += 16;
        return uuid;
      }
      case kFd: {
        int fd = -1;
        if (!take_descriptor(fd)) {
          return nullptr;
        }
        FdObject* object = FdObject::adopt(fd);
        if (object == nullptr) {
          close(fd);
        }
        return object;
      }
      case kEndpoint: {
        int fd = -1;
        if (!take_descriptor(fd)) {
          return nullptr;
        }
        EndpointObject* endpoint = EndpointObject::is_connector(fd) ? EndpointObject::adopt(fd) : nullptr;
        if (endpoint == nullptr) {
          close(fd);
        }
        return endpoint;
      }
      case kDictionary:
        return depth < kMaxDepth ? read_dictionary(depth) : nullptr;
      default:
        return nullptr;
    }
  }

  Dictionary* read_dictionary(unsigned depth) {
    uint32_t count = 0;
    // The smallest entry is an empty key and a bool: 4 + 2 bytes.
    if (!get_u32_value(count) || count > remaining() / 6) {
      return nullptr;
    }
    Dictionary* dictionary = Dictionary::make();
    if (dictionary == nullptr) {
      return nullptr;
    }
    for (uint32_t i = 0; i < count; ++i) {
      const uint8_t* key = nullptr;
      uint32_t length = 0;
      Object* value = nullptr;
      if (!get_run(key, length) || std::memchr(key, 0, length) != nullptr ||
          (value = read(depth + 1)) == nullptr ||
          !dictionary->insert_new(std::string_view(reinterpret_cast<const char*>(key), length), value)) {
        dictionary->release();
        return nullptr;
      }
    }
    return dictionary;
  }

  uint64_t used() const { return used_; }
  uint32_t values() const { return values_; }

 private:
  std::size_t remaining() const { return static_cast<std::size_t>(end_ - at_); }

  bool get_byte(uint8_t& value) {
    if (remaining() < 1) {
      return false;
    }
    value = *at_++;
    return true;
  }

  bool get_u32_value(uint32_t& value) {
    if (remaining() < 4) {
      return false;
    }
    value = get_u32(at_);
    at_ += 4;
    return true;
  }

  bool get_u64_value(uint64_t& value) {
    if (remaining() < 8) {
      return false;
    }
    value = get_u64(at_);
    at_ += 8;
    return true;
  }

  // A length-prefixed run of bytes.
  bool get_run(const uint8_t*& bytes, uint32_t& length) {
    if (!get_u32_value(length) || length > remaining()) {
      return false;
    }
    bytes = at_;
    at_ += length;
    return true;
  }

  template <class Scalar, class Value>
  Object* read8() {
    if (remaining() < 8) {
      return nullptr;
    }
    Value value;
    std::memcpy(&value, at_, 8);
    at_ += 8;
    return Scalar::make(value);
  }

  // Takes the descriptor whose index comes next; each may be taken once.
  bool take_descriptor(int& fd) {
    uint32_t index = 0;
    if (!get_u32_value(index) || index >= count_ || descriptors_[index] < 0) {
      return false;
    }
    fd = descriptors_[index];
    descriptors_[index] = -1;
    return true;
  }

  Object* read_sealed_data() {
    int fd = -1;
    uint64_t length = 0;
    if (!take_descriptor(fd)) {
      return nullptr;
    }
    if (!get_u64_value(length) || length == 0 || length > kMaxMessageBytes - used_) {
      close(fd);
      return nullptr;
    }
    SealedMemory memory;
    if (!memory.adopt(fd, static_cast<std::size_t>(length))) {
      close(fd);
      return nullptr;
    }
    DataObject* data = DataObject::adopt_sealed(memory);
    if (data == nullptr) {
      memory.unmap();
      return nullptr;
    }
    used_ += length;
    return data;
  }

  const uint8_t* at_;
  const uint8_t* const end_;
  int* const descriptors_;
  const uint16_t count_;
  // Bytes of the message so far, body and sealed data, against the limit.
  uint64_t used_;
  uint32_t values_ = 0;  // Values read so far, against kMaxValues.
};

bool all_taken(const int* descriptors, uint16_t count) {
  for (uint16_t i = 0; i < count; ++i) {
    if (descriptors[i] >= 0) {
      return false;
    }
  }
  return true;
}

Dictionary* decode_root(const uint8_t* body, std::size_t length, int* descriptors, uint16_t count, uint64_t used,
                        uint64_t* footprint) {
  Reader reader(body, length, descriptors, count, used);
  uint8_t tag = 0;
  if (length == 0 || (tag = body[0]) != kDictionary) {
    return nullptr;
  }
  Object* root = reader.read(0);
  if (root == nullptr) {
    return nullptr;
  }
  if (!reader.at_end() || !all_taken(descriptors, count)) {
    root->release();
    return nullptr;
  }
  if (footprint != nullptr) {
    *footprint = reader.used() + static_cast<uint64_t>(reader.values()) * kDecodedValueOverhead;
  }
  return static_cast<Dictionary*>(root);
}

}  // namespace

Dictionary* decode_body(const FrameHeader& header, const uint8_t* body, int* descriptors,
                        uint64_t* footprint) noexcept {
  if ((header.flags & kBodyOutOfLine) == 0) {
    return decode_root(body, header.body_length, descriptors, header.descriptors, header.body_length, footprint);
  }
  const uint32_t index = get_u32(body);
  const uint64_t length = get_u64(body + 4);
  if (index >= header.descriptors || descriptors[index] < 0 || length <= kMaxInlineBody ||
      length > kMaxMessageBytes) {
    return nullptr;
  }
  SealedMemory memory;
  if (!memory.adopt(descriptors[index], static_cast<std::size_t>(length))) {
    return nullptr;
  }
  descriptors[index] = -1;
  Dictionary* message = decode_root(static_cast<const uint8_t*>(memory.address), memory.length, descriptors,
                                    header.descriptors, length, footprint);
  memory.unmap();
  return message;
}

}  // namespace harlune::xpc
