// The wire format shared by the encoder and the decoder: frame header,
// value tags and the limits a receiver enforces. WIRE.md beside this file
// describes every byte; keep the two in step.
//
// All integers are little-endian and unaligned. Header-only; no state.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace harlune::xpc::wire {

// "HXP1" read as a little-endian u32.
inline constexpr uint32_t kFrameMagic = 0x31505848;
inline constexpr std::size_t kHeaderSize = 24;

enum FrameKind : uint8_t { kMessage = 1, kReply = 2 };

enum FrameFlags : uint8_t {
  kWantsReply = 1 << 0,
  kBodyOutOfLine = 1 << 1,
};
inline constexpr uint8_t kKnownFlags = kWantsReply | kBodyOutOfLine;

enum Tag : uint8_t {
  kBool = 0x01,
  kInt64 = 0x02,
  kUint64 = 0x03,
  kDouble = 0x04,
  kDate = 0x05,
  kDataInline = 0x06,
  kDataSealed = 0x07,
  kString = 0x08,
  kUuid = 0x09,
  kFd = 0x0A,
  kEndpoint = 0x0B,
  kDictionary = 0x0C,
};

// Limits. A frame over any of them is malformed, and the connection that
// sent it is closed.
inline constexpr uint32_t kMaxInlineBody = 256 * 1024;
inline constexpr uint16_t kMaxDescriptors = 64;
inline constexpr uint64_t kMaxMessageBytes = 256ull * 1024 * 1024;
inline constexpr unsigned kMaxDepth = 32;
// Values in one message, every dictionary's own and its entries' included
// (the root counts too). A decoded value costs far more memory than its
// few bytes on the wire; this keeps a received message from multiplying.
inline constexpr uint32_t kMaxValues = 65536;
// The inline body of a frame whose body is out of line: descriptor index
// (u32) and length (u64).
inline constexpr uint32_t kOutOfLineBodyRecord = 12;

// The connection request sent over an endpoint, with one descriptor.
inline constexpr uint32_t kConnectMagic = 0x43505848;  // "HXPC"
inline constexpr uint32_t kConnectVersion = 1;
inline constexpr std::size_t kConnectRequestSize = 8;

struct FrameHeader {
  uint8_t kind = 0;
  uint8_t flags = 0;
  uint16_t descriptors = 0;
  uint32_t body_length = 0;
  uint64_t token = 0;
};

inline void put_u16(uint8_t* at, uint16_t value) {
  std::memcpy(at, &value, sizeof value);
}
inline void put_u32(uint8_t* at, uint32_t value) {
  std::memcpy(at, &value, sizeof value);
}
inline void put_u64(uint8_t* at, uint64_t value) {
  std::memcpy(at, &value, sizeof value);
}
inline uint16_t get_u16(const uint8_t* at) {
  uint16_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
inline uint32_t get_u32(const uint8_t* at) {
  uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
inline uint64_t get_u64(const uint8_t* at) {
  uint64_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the wire format is written in the host's byte order");

inline void write_header(uint8_t* at, const FrameHeader& header) {
  put_u32(at, kFrameMagic);
  at[4] = header.kind;
  at[5] = header.flags;
  put_u16(at + 6, header.descriptors);
  put_u32(at + 8, header.body_length);
  put_u32(at + 12, 0);
  put_u64(at + 16, header.token);
}

// Reads and checks a header: magic, kind, known flags, zero reserved field,
// limits, and a token exactly when the kind needs one. False when malformed.
inline bool read_header(const uint8_t* at, FrameHeader& header) {
  if (get_u32(at) != kFrameMagic || get_u32(at + 12) != 0) {
    return false;
  }
  header.kind = at[4];
  header.flags = at[5];
  header.descriptors = get_u16(at + 6);
  header.body_length = get_u32(at + 8);
  header.token = get_u64(at + 16);
  if (header.kind != kMessage && header.kind != kReply) {
    return false;
  }
  if ((header.flags & ~kKnownFlags) != 0 || header.descriptors > kMaxDescriptors ||
      header.body_length > kMaxInlineBody) {
    return false;
  }
  const bool needs_token = header.kind == kReply || (header.flags & kWantsReply) != 0;
  if (needs_token != (header.token != 0) || (header.kind == kReply && (header.flags & kWantsReply) != 0)) {
    return false;
  }
  if ((header.flags & kBodyOutOfLine) != 0 &&
      (header.body_length != kOutOfLineBodyRecord || header.descriptors == 0)) {
    return false;
  }
  return true;
}

}  // namespace harlune::xpc::wire
