// A hostile peer: raw bytes on a service's socket and raw connection
// requests on an endpoint. The offending connection ends with
// XPC_ERROR_CONNECTION_INVALID and is closed; the service goes on serving.

#include "compat/xpc/endpoint_impl.h"
#include "compat/xpc/wire_format.h"

#include "xpc_test_support.h"

#include <xpc/xpc.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace harlune::xpc;
using harlune::test::EventLog;
using harlune::test::PrintTo;
using harlune::test::ScopedServiceFolder;
using harlune::test::send_and_wait;
using harlune::test::service_name;
using harlune::test::service_published;

constexpr int kBoundMs = 20000;

std::vector<uint8_t> header(uint8_t kind, uint8_t flags, uint16_t descriptors, uint32_t body_length,
                            uint64_t token) {
  std::vector<uint8_t> bytes(wire::kHeaderSize);
  wire::put_u32(bytes.data(), wire::kFrameMagic);
  bytes[4] = kind;
  bytes[5] = flags;
  wire::put_u16(bytes.data() + 6, descriptors);
  wire::put_u32(bytes.data() + 8, body_length);
  wire::put_u64(bytes.data() + 16, token);
  return bytes;
}

// An empty dictionary body: tag and a zero count.
std::vector<uint8_t> empty_message(uint8_t kind, uint8_t flags, uint16_t descriptors, uint64_t token) {
  std::vector<uint8_t> bytes = header(kind, flags, descriptors, 5, token);
  bytes.insert(bytes.end(), {wire::kDictionary, 0, 0, 0, 0});
  return bytes;
}

// Writes `bytes`, with `descriptors` attached, on a raw connection.
bool send_raw(int fd, const std::vector<uint8_t>& bytes, const std::vector<int>& descriptors) {
  iovec vector{const_cast<uint8_t*>(bytes.data()), bytes.size()};
  msghdr message{};
  message.msg_iov = &vector;
  message.msg_iovlen = 1;
  std::vector<char> control(CMSG_SPACE(sizeof(int) * (descriptors.empty() ? 1 : descriptors.size())));
  if (!descriptors.empty()) {
    message.msg_control = control.data();
    message.msg_controllen = CMSG_SPACE(sizeof(int) * descriptors.size());
    cmsghdr* cmsg = CMSG_FIRSTHDR(&message);
    cmsg->cmsg_level = SOL_SOCKET;
    cmsg->cmsg_type = SCM_RIGHTS;
    cmsg->cmsg_len = CMSG_LEN(sizeof(int) * descriptors.size());
    std::memcpy(CMSG_DATA(cmsg), descriptors.data(), sizeof(int) * descriptors.size());
  }
  return sendmsg(fd, &message, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// True once the other end has closed `fd` (bounded).
bool closed_by_peer(int fd) {
  pollfd waiting{fd, POLLIN, 0};
  for (;;) {
    if (poll(&waiting, 1, kBoundMs) <= 0) {
      return false;
    }
    char sink[4096];
    const ssize_t count = recv(fd, sink, sizeof sink, MSG_DONTWAIT);
    if (count == 0 || (count < 0 && errno != EAGAIN)) {
      return true;
    }
  }
}

struct HostileCase {
  const char* name;
  std::function<std::vector<uint8_t>()> bytes;
  int descriptors = 0;  // How many copies of /dev/null to attach.
  int sends = 1;        // How often to send it.
};

const HostileCase kHostile[] = {
    {"bad_magic", [] { return std::vector<uint8_t>(wire::kHeaderSize, 0x41); }},
    {"body_over_the_limit", [] { return header(wire::kMessage, 0, 0, wire::kMaxInlineBody + 1, 0); }},
    {"too_many_descriptors_declared", [] { return empty_message(wire::kMessage, 0, wire::kMaxDescriptors + 1, 0); }},
    {"declared_descriptor_never_sent", [] { return empty_message(wire::kMessage, 0, 1, 0); }},
    // More descriptors than any frame claims pile up until the surplus
    // exceeds what one write may carry.
    {"descriptors_beyond_the_declared", [] { return empty_message(wire::kMessage, 0, 0, 0); }, 200, 2},
    {"garbage_body",
     [] {
       std::vector<uint8_t> bytes = header(wire::kMessage, 0, 0, 3, 0);
       bytes.insert(bytes.end(), {0xde, 0xad, 0x00});
       return bytes;
     }},
    {"reply_nobody_asked_for", [] { return empty_message(wire::kReply, 0, 0, 99); }},
    {"sealed_data_that_is_not", [] {
       std::vector<uint8_t> bytes = header(wire::kMessage, 0, 1, 1 + 4 + 4 + 1 + 1 + 4 + 8, 0);
       bytes.insert(bytes.end(), {wire::kDictionary, 1, 0, 0, 0, 1, 0, 0, 0, 'k', wire::kDataSealed, 0, 0, 0, 0});
       bytes.insert(bytes.end(), {8, 0, 0, 0, 0, 0, 0, 0});
       return bytes;
     }, 1},
};

class XpcHostilePeer : public testing::TestWithParam<HostileCase> {};

TEST_P(XpcHostilePeer, IsCutOffAndTheServiceGoesOn) {
  ScopedServiceFolder folder;
  const std::string name = service_name("hostile");
  EventLog peer_log;
  xpc_connection_t listener = harlune::test::start_listener(
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER),
      ^(xpc_object_t event) {
        peer_log.record(event);
        harlune::test::echo(event);
      });
  ASSERT_TRUE(service_published(folder, name));
  // The probe made by service_published came and went.
  ASSERT_TRUE(peer_log.wait_for(1));
  const size_t before = peer_log.size();

  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = folder.path() + "/" + name + ".socket";
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int raw = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(connect(raw, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  std::vector<int> descriptors;
  for (int i = 0; i < GetParam().descriptors; ++i) {
    descriptors.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
  }
  // A valid message first, so the peer is surely delivered to the handler.
  ASSERT_TRUE(send_raw(raw, empty_message(wire::kMessage, 0, 0, 0), {}));
  for (int i = 0; i < GetParam().sends; ++i) {
    ASSERT_TRUE(send_raw(raw, GetParam().bytes(), descriptors));
  }
  for (int fd : descriptors) {
    close(fd);
  }
  EXPECT_TRUE(closed_by_peer(raw));
  close(raw);
  // The valid message arrives, then (after anything that was still valid)
  // the end.
  ASSERT_TRUE(harlune::test::eventually([&] { return peer_log.count_of(XPC_ERROR_CONNECTION_INVALID) == 2; }));
  EXPECT_EQ(xpc_get_type(peer_log.at(before)), XPC_TYPE_DICTIONARY);
  EXPECT_EQ(peer_log.at(peer_log.size() - 1), XPC_ERROR_CONNECTION_INVALID);

  xpc_connection_t client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  xpc_connection_set_event_handler(client, ^(xpc_object_t) {
  });
  xpc_connection_resume(client);
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_object_t reply = send_and_wait(client, request);
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  xpc_release(reply);
  xpc_release(request);
  xpc_connection_cancel(client);
  xpc_release(client);
  xpc_connection_cancel(listener);
  xpc_release(listener);
}

INSTANTIATE_TEST_SUITE_P(Cases, XpcHostilePeer, testing::ValuesIn(kHostile));

TEST(XpcHostilePeer, BadConnectionRequestsOnAnEndpointAreIgnored) {
  EventLog listener_log;
  xpc_connection_t listener = harlune::test::start_listener(
      xpc_connection_create(nullptr, nullptr),
      ^(xpc_object_t event) {
        harlune::test::echo(event);
      },
      &listener_log);
  xpc_endpoint_t endpoint = xpc_endpoint_create(listener);
  const int connector = handle_as<EndpointObject>(endpoint)->connector();
  std::vector<uint8_t> good(wire::kConnectRequestSize);
  wire::put_u32(good.data(), wire::kConnectMagic);
  wire::put_u32(good.data() + 4, wire::kConnectVersion);
  std::vector<uint8_t> wrong_version = good;
  wrong_version[4] = 9;
  int pipe_ends[2];
  ASSERT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);

  EXPECT_TRUE(send_raw(connector, good, {}));                      // No socket.
  EXPECT_TRUE(send_raw(connector, good, {pipe_ends[0]}));          // Not a socket.
  EXPECT_TRUE(send_raw(connector, good, {pair[1], pair[1]}));      // Two.
  EXPECT_TRUE(send_raw(connector, wrong_version, {pair[1]}));      // Unknown version.
  EXPECT_TRUE(send_raw(connector, std::vector<uint8_t>(3, 0), {}));  // Short.
  close(pipe_ends[0]);
  close(pipe_ends[1]);
  close(pair[1]);
  // Every socket sent with a refused request was closed by the listener.
  EXPECT_TRUE(closed_by_peer(pair[0]));
  close(pair[0]);

  xpc_connection_t client = xpc_connection_create_from_endpoint(endpoint);
  xpc_connection_set_event_handler(client, ^(xpc_object_t) {
  });
  xpc_connection_resume(client);
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_object_t reply = send_and_wait(client, request);
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  ASSERT_TRUE(listener_log.wait_for(1));
  EXPECT_EQ(listener_log.size(), 1u) << "only the good request became a peer";
  xpc_release(reply);
  xpc_release(request);
  xpc_connection_cancel(client);
  xpc_release(client);
  xpc_release(endpoint);
  xpc_connection_cancel(listener);
  xpc_release(listener);
}

}  // namespace
