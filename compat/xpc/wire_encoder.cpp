// Encoding a dictionary: a sizing pass, then a writing pass into a frame
// allocated at the exact size.

#include "wire_encoder.h"

#include "data_object.h"
#include "endpoint_impl.h"
#include "value_objects.h"
#include "wire_format.h"

#include <cstring>
#include <memory>
#include <vector>

namespace harlune::xpc {
namespace {

using namespace wire;

bool travels_sealed(const DataObject& data) {
  return data.sealed_fd() >= 0 || data.length() >= DataObject::kSealedThreshold;
}

struct Size {
  uint64_t values = 0;
  uint64_t body = 0;
  uint64_t out_of_line = 0;
  uint32_t descriptors = 0;
};

// Adds what `object` takes on the wire; false when it cannot travel.
bool measure(const Object& object, unsigned depth, Size& size) {
  const xpc_type_t type = object.type();
  size.values += 1;
  size.body += 1;  // The tag.
  if (type == XPC_TYPE_BOOL) {
    size.body += 1;
  } else if (type == XPC_TYPE_INT64 || type == XPC_TYPE_UINT64 || type == XPC_TYPE_DOUBLE ||
             type == XPC_TYPE_DATE) {
    size.body += 8;
  } else if (type == XPC_TYPE_DATA) {
    const auto& data = static_cast<const DataObject&>(object);
    if (travels_sealed(data)) {
      size.body += 12;
      size.out_of_line += data.length();
      size.descriptors += 1;
    } else {
      size.body += 4 + data.length();
    }
  } else if (type == XPC_TYPE_STRING) {
    size.body += 4 + static_cast<const StringObject&>(object).length();
  } else if (type == XPC_TYPE_UUID) {
    size.body += 16;
  } else if (type == XPC_TYPE_FD || type == XPC_TYPE_ENDPOINT) {
    size.body += 4;
    size.descriptors += 1;
  } else if (type == XPC_TYPE_DICTIONARY) {
    if (depth >= kMaxDepth) {
      return false;
    }
    size.body += 4;
    for (const auto& entry : static_cast<const Dictionary&>(object).entries()) {
      size.body += 4 + entry.first.size();
      if (!measure(*entry.second, depth + 1, size)) {
        return false;
      }
    }
  } else {
    return false;  // Connections and errors never travel.
  }
  return true;
}

class Writer {
 public:
  Writer(uint8_t* at, OutgoingFrame& frame) : at_(at), frame_(frame) {}

  bool write(const Object& object) {
    const xpc_type_t type = object.type();
    if (type == XPC_TYPE_BOOL) {
      *at_++ = kBool;
      *at_++ = static_cast<const BoolObject&>(object).value() ? 1 : 0;
    } else if (type == XPC_TYPE_INT64) {
      put8(kInt64, &static_cast<const Int64Object&>(object));
    } else if (type == XPC_TYPE_UINT64) {
      put8(kUint64, &static_cast<const Uint64Object&>(object));
    } else if (type == XPC_TYPE_DOUBLE) {
      put8(kDouble, &static_cast<const DoubleObject&>(object));
    } else if (type == XPC_TYPE_DATE) {
      put8(kDate, &static_cast<const DateObject&>(object));
    } else if (type == XPC_TYPE_DATA) {
      return write_data(static_cast<const DataObject&>(object));
    } else if (type == XPC_TYPE_STRING) {
      const auto& string = static_cast<const StringObject&>(object);
      *at_++ = kString;
      put_bytes(string.chars(), string.length());
    } else if (type == XPC_TYPE_UUID) {
      *at_++ = kUuid;
      std::memcpy(at_, static_cast<const UuidObject&>(object).bytes(), 16);
      at_ += 16;
    } else if (type == XPC_TYPE_FD) {
      *at_++ = kFd;
      attach(const_cast<Object&>(object), static_cast<const FdObject&>(object).fd());
    } else if (type == XPC_TYPE_ENDPOINT) {
      *at_++ = kEndpoint;
      attach(const_cast<Object&>(object), static_cast<const EndpointObject&>(object).connector());
    } else {
      const auto& dictionary = static_cast<const Dictionary&>(object);
      *at_++ = kDictionary;
      put_u32(at_, static_cast<uint32_t>(dictionary.entries().size()));
      at_ += 4;
      for (const auto& entry : dictionary.entries()) {
        put_bytes(entry.first.data(), entry.first.size());
        if (!write(*entry.second)) {
          return false;
        }
      }
    }
    return true;
  }

  // Puts `owner`'s descriptor into the next slot and its index on the wire.
  void attach(Object& owner, int fd) {
    owner.retain();
    frame_.owners[next_descriptor_] = &owner;
    frame_.descriptors[next_descriptor_] = fd;
    put_u32(at_, next_descriptor_++);
    at_ += 4;
  }

  uint8_t* position() const { return at_; }
  uint32_t descriptors_used() const { return next_descriptor_; }

 private:
  template <class Scalar>
  void put8(Tag tag, const Scalar* object) {
    *at_++ = tag;
    const auto value = object->value();
    static_assert(sizeof value == 8);
    std::memcpy(at_, &value, 8);
    at_ += 8;
  }

  void put_bytes(const void* bytes, std::size_t length) {
    put_u32(at_, static_cast<uint32_t>(length));
    at_ += 4;
    if (length > 0) {
      std::memcpy(at_, bytes, length);
    }
    at_ += length;
  }

  bool write_data(const DataObject& data) {
    if (!travels_sealed(data)) {
      *at_++ = kDataInline;
      put_bytes(data.bytes(), data.length());
      return true;
    }
    const DataObject* sealed = &data;
    DataObject* copy = nullptr;
    if (data.sealed_fd() < 0) {
      // The memory file could not be made when the data was; try again now.
      copy = DataObject::copy_of(data.bytes(), data.length());
      if (copy == nullptr || copy->sealed_fd() < 0) {
        if (copy != nullptr) {
          copy->release();
        }
        return false;
      }
      sealed = copy;
    }
    *at_++ = kDataSealed;
    attach(const_cast<DataObject&>(*sealed), sealed->sealed_fd());
    put_u64(at_, sealed->length());
    at_ += 8;
    if (copy != nullptr) {
      copy->release();  // The frame holds its own reference.
    }
    return true;
  }

  uint8_t* at_;
  OutgoingFrame& frame_;
  uint32_t next_descriptor_ = 0;
};

}  // namespace

OutgoingFrame* encode_frame(const Dictionary& message, uint8_t kind, bool wants_reply, uint64_t token,
                            EncodeStatus& status) noexcept {
  Size size;
  if (!measure(message, 0, size)) {
    status = EncodeStatus::unencodable;
    return nullptr;
  }
  const bool out_of_line_body = size.body > kMaxInlineBody;
  const uint32_t descriptors = size.descriptors + (out_of_line_body ? 1 : 0);
  if (descriptors > kMaxDescriptors || size.body + size.out_of_line > kMaxMessageBytes ||
      size.values > kMaxValues) {
    status = EncodeStatus::too_large;
    return nullptr;
  }
  FrameHeader header;
  header.kind = kind;
  header.flags = static_cast<uint8_t>((wants_reply ? kWantsReply : 0) | (out_of_line_body ? kBodyOutOfLine : 0));
  header.descriptors = static_cast<uint16_t>(descriptors);
  header.body_length = out_of_line_body ? kOutOfLineBodyRecord : static_cast<uint32_t>(size.body);
  header.token = token;

  OutgoingFrame* frame = make_message_frame(static_cast<uint32_t>(kHeaderSize + header.body_length),
                                            static_cast<uint16_t>(descriptors));
  if (frame == nullptr) {
    status = EncodeStatus::no_memory;
    return nullptr;
  }
  frame->cost = frame->size + size.out_of_line + (out_of_line_body ? size.body : 0);
  write_header(frame->bytes, header);

  bool written = false;
  if (!out_of_line_body) {
    Writer writer(frame->bytes + kHeaderSize, *frame);
    written = writer.write(message);
  } else {
    std::unique_ptr<uint8_t[]> body(new (std::nothrow) uint8_t[size.body]);
    if (body != nullptr) {
      Writer writer(body.get(), *frame);
      if (writer.write(message)) {
        DataObject* sealed = DataObject::copy_of(body.get(), size.body);
        if (sealed != nullptr && sealed->sealed_fd() >= 0) {
          // The body's own descriptor takes the slot after the ones its
          // values use.
          const uint32_t index = writer.descriptors_used();
          sealed->retain();
          frame->owners[index] = sealed;
          frame->descriptors[index] = sealed->sealed_fd();
          put_u32(frame->bytes + kHeaderSize, index);
          put_u64(frame->bytes + kHeaderSize + 4, size.body);
          written = true;
        }
        if (sealed != nullptr) {
          sealed->release();
        }
      }
    }
  }
  if (!written) {
    destroy_frame(frame);
    status = EncodeStatus::no_memory;
    return nullptr;
  }
  status = EncodeStatus::ok;
  return frame;
}

}  // namespace harlune::xpc
