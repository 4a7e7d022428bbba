// The wire encoder and decoder on their own: every value type survives a
// round trip, and every kind of malformed frame is refused without leaking
// a descriptor.

#include "compat/xpc/data_object.h"
#include "compat/xpc/wire_decoder.h"
#include "compat/xpc/wire_encoder.h"
#include "compat/xpc/wire_format.h"

#include "xpc_test_support.h"

#include <xpc/xpc.h>

#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace harlune::xpc;
using harlune::test::PrintTo;

int open_descriptors() {
  int count = 0;
  if (DIR* folder = opendir("/proc/self/fd")) {
    while (readdir(folder) != nullptr) {
      ++count;
    }
    closedir(folder);
  }
  return count;
}

// Encodes `message` and decodes the frame again, with duplicates of the
// descriptors the frame carries. Null when either side refuses.
xpc_object_t round_trip(xpc_object_t message) {
  EncodeStatus status = EncodeStatus::ok;
  OutgoingFrame* frame = encode_frame(*handle_as<Dictionary>(message), wire::kMessage, false, 0, status);
  if (frame == nullptr) {
    return nullptr;
  }
  wire::FrameHeader header;
  EXPECT_TRUE(wire::read_header(frame->bytes, header));
  EXPECT_EQ(frame->size, wire::kHeaderSize + header.body_length);
  std::vector<int> descriptors;
  for (uint16_t i = 0; i < frame->descriptor_count; ++i) {
    descriptors.push_back(fcntl(frame->descriptors[i], F_DUPFD_CLOEXEC, 0));
  }
  Dictionary* decoded = decode_body(header, frame->bytes + wire::kHeaderSize, descriptors.data());
  for (int fd : descriptors) {
    if (fd >= 0) {
      close(fd);
    }
  }
  destroy_frame(frame);
  return to_handle(decoded);
}

TEST(XpcWire, EveryValueTypeSurvivesARoundTrip) {
  const int before = open_descriptors();
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  const uuid_t uuid = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  std::vector<uint8_t> large(DataObject::kSealedThreshold + 17, 0xab);
  xpc_object_t listener = xpc_connection_create(nullptr, nullptr);
  xpc_object_t endpoint = xpc_endpoint_create(static_cast<xpc_connection_t>(listener));

  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_bool(message, "bool", true);
  xpc_dictionary_set_int64(message, "int64", INT64_MIN);
  xpc_dictionary_set_uint64(message, "uint64", UINT64_MAX);
  xpc_dictionary_set_double(message, "double", -0.25);
  xpc_dictionary_set_date(message, "date", 1700000000123456789);
  xpc_dictionary_set_data(message, "empty", nullptr, 0);
  xpc_dictionary_set_data(message, "large", large.data(), large.size());
  xpc_dictionary_set_string(message, "string", "caf\xc3\xa9");
  xpc_dictionary_set_string(message, "", "empty key");
  xpc_dictionary_set_uuid(message, "uuid", uuid);
  xpc_dictionary_set_fd(message, "fd", pipe_ends[1]);
  xpc_dictionary_set_value(message, "endpoint", endpoint);
  xpc_object_t inner = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_int64(inner, "depth", 2);
  xpc_dictionary_set_value(message, "nested", inner);

  xpc_object_t decoded = round_trip(message);
  ASSERT_NE(decoded, nullptr);
  // Everything compares equal except what is compared by identity.
  EXPECT_EQ(xpc_dictionary_get_count(decoded), xpc_dictionary_get_count(message));
  for (const char* key : {"bool", "int64", "uint64", "double", "date", "empty", "large", "string", "", "uuid",
                          "nested"}) {
    EXPECT_TRUE(xpc_equal(xpc_dictionary_get_value(decoded, key), xpc_dictionary_get_value(message, key))) << key;
  }
  EXPECT_EQ(xpc_get_type(xpc_dictionary_get_value(decoded, "endpoint")), XPC_TYPE_ENDPOINT);
  const int writer = xpc_dictionary_dup_fd(decoded, "fd");
  ASSERT_GE(writer, 0);
  EXPECT_EQ(write(writer, "x", 1), 1);
  char byte = 0;
  EXPECT_EQ(read(pipe_ends[0], &byte, 1), 1);
  close(writer);

  xpc_release(decoded);
  xpc_release(inner);
  xpc_release(message);
  xpc_release(endpoint);
  xpc_release(listener);
  close(pipe_ends[0]);
  close(pipe_ends[1]);
  EXPECT_EQ(open_descriptors(), before);
}

TEST(XpcWire, BodyBeyondTheInlineLimitTravelsOutOfLine) {
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  // Many values each below the sealed threshold add up past the limit.
  std::string text(40 * 1024, 'q');
  for (int i = 0; i < 10; ++i) {
    xpc_dictionary_set_string(message, ("text" + std::to_string(i)).c_str(), text.c_str());
  }
  EncodeStatus status = EncodeStatus::ok;
  OutgoingFrame* frame = encode_frame(*handle_as<Dictionary>(message), wire::kMessage, false, 0, status);
  ASSERT_NE(frame, nullptr);
  wire::FrameHeader header;
  ASSERT_TRUE(wire::read_header(frame->bytes, header));
  EXPECT_NE(header.flags & wire::kBodyOutOfLine, 0);
  EXPECT_EQ(header.descriptors, 1);
  destroy_frame(frame);
  xpc_object_t decoded = round_trip(message);
  ASSERT_NE(decoded, nullptr);
  EXPECT_TRUE(xpc_equal(decoded, message));
  xpc_release(decoded);
  xpc_release(message);
}

TEST(XpcWire, ConnectionsErrorsAndDeepNestingCannotBeEncoded) {
  xpc_object_t listener = xpc_connection_create(nullptr, nullptr);
  xpc_object_t with_connection = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_value(with_connection, "connection", listener);
  xpc_object_t with_error = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_value(with_error, "error", XPC_ERROR_CONNECTION_INVALID);
  xpc_object_t deep = xpc_dictionary_create(nullptr, nullptr, 0);
  for (unsigned i = 0; i < wire::kMaxDepth; ++i) {
    xpc_object_t outer = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_dictionary_set_value(outer, "inner", deep);
    xpc_release(deep);
    deep = outer;
  }
  for (xpc_object_t message : {with_connection, with_error, deep}) {
    EncodeStatus status = EncodeStatus::ok;
    EXPECT_EQ(encode_frame(*handle_as<Dictionary>(message), wire::kMessage, false, 0, status), nullptr);
    EXPECT_EQ(status, EncodeStatus::unencodable);
    xpc_release(message);
  }
  xpc_release(listener);
}

// Builds frame bodies byte by byte.
struct Body {
  std::vector<uint8_t> bytes;
  Body& u8(uint8_t value) {
    bytes.push_back(value);
    return *this;
  }
  Body& u32(uint32_t value) {
    for (int i = 0; i < 4; ++i) {
      bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
    return *this;
  }
  Body& u64(uint64_t value) {
    for (int i = 0; i < 8; ++i) {
      bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
    return *this;
  }
  Body& text(const std::string& value) {
    u32(static_cast<uint32_t>(value.size()));
    bytes.insert(bytes.end(), value.begin(), value.end());
    return *this;
  }
  // A dictionary of `count` entries; the entries follow.
  Body& dictionary(uint32_t count) { return u8(wire::kDictionary).u32(count); }
};

// Descriptors a malformed case hands to the decoder.
enum class Fds { none, pipe, unsealed_memory, small_sealed_memory, stream_socket };

int make_descriptor(Fds kind) {
  switch (kind) {
    case Fds::pipe: {
      int ends[2];
      if (pipe2(ends, O_CLOEXEC) != 0) {
        return -1;
      }
      close(ends[1]);
      return ends[0];
    }
    case Fds::unsealed_memory: {
      const int fd = memfd_create("test", MFD_CLOEXEC);
      if (ftruncate(fd, 4096) != 0) {
        close(fd);
        return -1;
      }
      return fd;
    }
    case Fds::small_sealed_memory: {
      SealedMemory memory;
      const char bytes[16] = {};
      if (!memory.create_copy(bytes, sizeof bytes)) {
        return -1;
      }
      const int fd = fcntl(memory.fd, F_DUPFD_CLOEXEC, 0);
      memory.unmap();
      return fd;
    }
    case Fds::stream_socket: {
      int pair[2];
      if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
        return -1;
      }
      close(pair[1]);
      return pair[0];
    }
    case Fds::none:
      break;
  }
  return -1;
}

struct MalformedCase {
  const char* name;
  std::function<Body()> body;
  Fds fds = Fds::none;
  uint16_t descriptor_count = 0;
};

const MalformedCase kMalformed[] = {
    {"empty_body", [] { return Body(); }},
    {"root_is_not_a_dictionary", [] { return Body().u8(wire::kInt64).u64(1); }},
    {"unknown_tag", [] { return Body().dictionary(1).text("k").u8(0x7f); }},
    {"count_beyond_the_body", [] { return Body().dictionary(1000); }},
    {"key_runs_past_the_end", [] { return Body().dictionary(1).u32(1000).u8('k'); }},
    {"nul_inside_a_key", [] { return Body().dictionary(1).text(std::string("a\0b", 3)).u8(wire::kBool).u8(1); }},
    {"nul_inside_a_string", [] { return Body().dictionary(1).text("k").u8(wire::kString).text(std::string("a\0", 2)); }},
    {"bool_that_is_neither", [] { return Body().dictionary(1).text("k").u8(wire::kBool).u8(2); }},
    {"duplicate_key",
     [] { return Body().dictionary(2).text("k").u8(wire::kBool).u8(1).text("k").u8(wire::kBool).u8(0); }},
    {"truncated_int64", [] { return Body().dictionary(1).text("k").u8(wire::kInt64).u32(7); }},
    {"inline_data_past_the_end", [] { return Body().dictionary(1).text("k").u8(wire::kDataInline).u32(99).u8(1); }},
    {"trailing_bytes", [] { return Body().dictionary(0).u8(0); }},
    {"nesting_too_deep",
     [] {
       Body body;
       for (unsigned i = 0; i <= wire::kMaxDepth; ++i) {
         body.dictionary(1).text("d");
       }
       return body.dictionary(0);
     }},
    {"descriptor_index_out_of_range", [] { return Body().dictionary(1).text("k").u8(wire::kFd).u32(1); }, Fds::pipe, 1},
    {"descriptor_used_twice",
     [] { return Body().dictionary(2).text("a").u8(wire::kFd).u32(0).text("b").u8(wire::kFd).u32(0); }, Fds::pipe,
     1},
    {"descriptor_left_over", [] { return Body().dictionary(0); }, Fds::pipe, 1},
    {"sealed_data_in_a_pipe", [] { return Body().dictionary(1).text("k").u8(wire::kDataSealed).u32(0).u64(8); },
     Fds::pipe, 1},
    {"sealed_data_in_unsealed_memory",
     [] { return Body().dictionary(1).text("k").u8(wire::kDataSealed).u32(0).u64(8); }, Fds::unsealed_memory, 1},
    {"sealed_data_longer_than_its_file",
     [] { return Body().dictionary(1).text("k").u8(wire::kDataSealed).u32(0).u64(4096); }, Fds::small_sealed_memory,
     1},
    {"sealed_data_of_zero_bytes",
     [] { return Body().dictionary(1).text("k").u8(wire::kDataSealed).u32(0).u64(0); }, Fds::small_sealed_memory, 1},
    {"endpoint_that_is_a_stream_socket", [] { return Body().dictionary(1).text("k").u8(wire::kEndpoint).u32(0); },
     Fds::stream_socket, 1},
};

// A body of one dictionary holding `entries` booleans.
Body many_values(uint32_t entries) {
  Body body = Body().dictionary(entries);
  for (uint32_t i = 0; i < entries; ++i) {
    body.text(std::to_string(i)).u8(wire::kBool).u8(1);
  }
  return body;
}

TEST(XpcWire, MessageHoldsAtMostTheValueLimitEitherWay) {
  // The body's dictionary is a value too.
  for (uint32_t entries : {wire::kMaxValues - 1, wire::kMaxValues}) {
    Body body = many_values(entries);
    wire::FrameHeader header;
    header.kind = wire::kMessage;
    header.body_length = static_cast<uint32_t>(body.bytes.size());
    uint64_t footprint = 0;
    Dictionary* decoded = decode_body(header, body.bytes.data(), nullptr, &footprint);
    EXPECT_EQ(decoded != nullptr, entries < wire::kMaxValues) << entries;
    if (decoded != nullptr) {
      EXPECT_EQ(decoded->entries().size(), entries);
      EXPECT_GE(footprint, body.bytes.size());
      decoded->release();
    }
    // The sender refuses what the receiver would.
    xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
    for (uint32_t i = 0; i < entries; ++i) {
      xpc_dictionary_set_bool(message, std::to_string(i).c_str(), true);
    }
    EncodeStatus status = EncodeStatus::ok;
    OutgoingFrame* frame = encode_frame(*handle_as<Dictionary>(message), wire::kMessage, false, 0, status);
    EXPECT_EQ(frame != nullptr, entries < wire::kMaxValues) << entries;
    EXPECT_EQ(status, entries < wire::kMaxValues ? EncodeStatus::ok : EncodeStatus::too_large);
    destroy_frame(frame);
    xpc_release(message);
  }
}

class XpcWireMalformed : public testing::TestWithParam<MalformedCase> {};

TEST_P(XpcWireMalformed, IsRefusedAndLeaksNoDescriptor) {
  const MalformedCase& c = GetParam();
  const int before = open_descriptors();
  Body body = c.body();
  wire::FrameHeader header;
  header.kind = wire::kMessage;
  header.descriptors = c.descriptor_count;
  header.body_length = static_cast<uint32_t>(body.bytes.size());
  std::vector<int> descriptors;
  for (uint16_t i = 0; i < c.descriptor_count; ++i) {
    descriptors.push_back(make_descriptor(c.fds));
    ASSERT_GE(descriptors.back(), 0);
  }
  body.bytes.resize(body.bytes.size() + 1);  // Room, so an empty body has an address.
  Dictionary* decoded = decode_body(header, body.bytes.data(), descriptors.data());
  EXPECT_EQ(decoded, nullptr);
  for (int fd : descriptors) {
    if (fd >= 0) {
      close(fd);
    }
  }
  EXPECT_EQ(open_descriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Cases, XpcWireMalformed, testing::ValuesIn(kMalformed));

struct HeaderCase {
  const char* name;
  std::function<void(uint8_t*)> change;
};

const HeaderCase kBadHeaders[] = {
    {"bad_magic", [](uint8_t* h) { h[0] ^= 1; }},
    {"unknown_kind", [](uint8_t* h) { h[4] = 9; }},
    {"unknown_flag", [](uint8_t* h) { h[5] |= 0x80; }},
    {"reserved_not_zero", [](uint8_t* h) { h[12] = 1; }},
    {"body_over_the_limit", [](uint8_t* h) { wire::put_u32(h + 8, wire::kMaxInlineBody + 1); }},
    {"too_many_descriptors", [](uint8_t* h) { wire::put_u16(h + 6, wire::kMaxDescriptors + 1); }},
    {"token_without_wanting_a_reply", [](uint8_t* h) { wire::put_u64(h + 16, 7); }},
    {"wanting_a_reply_without_token", [](uint8_t* h) { h[5] |= wire::kWantsReply; }},
    {"reply_without_token", [](uint8_t* h) { h[4] = wire::kReply; }},
    {"out_of_line_body_without_descriptor", [](uint8_t* h) {
       h[5] |= wire::kBodyOutOfLine;
       wire::put_u32(h + 8, wire::kOutOfLineBodyRecord);
     }},
};

class XpcWireHeader : public testing::TestWithParam<HeaderCase> {};

TEST_P(XpcWireHeader, IsRefused) {
  uint8_t bytes[wire::kHeaderSize];
  wire::FrameHeader valid;
  valid.kind = wire::kMessage;
  valid.body_length = 5;
  wire::write_header(bytes, valid);
  wire::FrameHeader read;
  ASSERT_TRUE(wire::read_header(bytes, read));
  GetParam().change(bytes);
  EXPECT_FALSE(wire::read_header(bytes, read));
}

INSTANTIATE_TEST_SUITE_P(Cases, XpcWireHeader, testing::ValuesIn(kBadHeaders));

}  // namespace
