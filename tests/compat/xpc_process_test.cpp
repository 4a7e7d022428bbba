// Connections between real processes, with the test peer program
// (tests/compat/peer/xpc_test_peer.cpp): request and reply, payload sizes,
// descriptors, an endpoint handed through a third process and used twice,
// and a peer that dies with replies pending.

#include "xpc_test_support.h"

#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <string>
#include <vector>

namespace {

using harlune::test::EventLog;
using harlune::test::PeerProcess;
using harlune::test::PrintTo;
using harlune::test::ScopedServiceFolder;
using harlune::test::send_and_wait;
using harlune::test::service_name;
using harlune::test::service_published;
using harlune::test::start_listener;

// An echo service in its own process, and a client of it.
struct RemoteEcho {
  ScopedServiceFolder folder;
  std::string name = service_name("remote");
  PeerProcess peer{{"echo-service", name}};
  xpc_connection_t client = nullptr;
  EventLog client_log;

  RemoteEcho() {
    EXPECT_TRUE(service_published(folder, name));
    client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
    client_log.attach(client);
    xpc_connection_resume(client);
  }
  ~RemoteEcho() {
    xpc_connection_cancel(client);
    xpc_release(client);
  }
};

struct SizeCase {
  const char* name;
  size_t bytes;
};

const SizeCase kSizes[] = {{"empty", 0}, {"audio_buffer_4KiB", 4096}, {"sealed_16MiB", 16 * 1024 * 1024}};

class XpcProcessData : public testing::TestWithParam<SizeCase> {};

TEST_P(XpcProcessData, RequestAndReplyCarryDataIntact) {
  RemoteEcho echo;
  std::vector<uint8_t> bytes(GetParam().bytes);
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(i ^ (i >> 9));
  }
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_data(request, "payload", bytes.data(), bytes.size());
  xpc_dictionary_set_string(request, "text", "across");
  xpc_object_t reply = send_and_wait(echo.client, request);
  ASSERT_NE(reply, nullptr);
  ASSERT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  size_t length = 0;
  const void* received = xpc_dictionary_get_data(reply, "payload", &length);
  ASSERT_NE(received, nullptr);
  ASSERT_EQ(length, bytes.size());
  EXPECT_TRUE(length == 0 || std::memcmp(received, bytes.data(), length) == 0);
  EXPECT_STREQ(xpc_dictionary_get_string(reply, "text"), "across");
  EXPECT_EQ(xpc_connection_get_pid(echo.client), echo.peer.pid());
  EXPECT_EQ(xpc_connection_get_euid(echo.client), geteuid());
  xpc_release(reply);
  xpc_release(request);
}

INSTANTIATE_TEST_SUITE_P(Sizes, XpcProcessData, testing::ValuesIn(kSizes));

TEST(XpcProcess, DescriptorReachesThePeerProcess) {
  RemoteEcho echo;
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_fd(request, "fd", pipe_ends[1]);
  close(pipe_ends[1]);
  xpc_object_t reply = send_and_wait(echo.client, request);
  ASSERT_NE(reply, nullptr);
  ASSERT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  xpc_release(reply);
  xpc_release(request);
  char text[5] = {};
  EXPECT_EQ(read(pipe_ends[0], text, 4), 4);
  EXPECT_STREQ(text, "peer");
  close(pipe_ends[0]);
}

TEST(XpcProcess, EndpointHandedThroughAThirdProcessIsConnectedTwice) {
  ScopedServiceFolder folder;
  EventLog listener_log;
  xpc_connection_t listener = start_listener(
      xpc_connection_create(nullptr, nullptr),
      ^(xpc_object_t event) {
        harlune::test::echo(event);
      },
      &listener_log);
  xpc_endpoint_t endpoint = xpc_endpoint_create(listener);
  ASSERT_NE(endpoint, nullptr);

  const std::string store_name = service_name("store");
  PeerProcess store({"store-service", store_name});
  ASSERT_TRUE(service_published(folder, store_name));
  xpc_connection_t store_client = xpc_connection_create_mach_service(store_name.c_str(), nullptr, 0);
  xpc_connection_set_event_handler(store_client, ^(xpc_object_t) {
  });
  xpc_connection_resume(store_client);
  xpc_object_t store_request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_value(store_request, "store", endpoint);
  xpc_object_t stored = send_and_wait(store_client, store_request);
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(xpc_get_type(stored), XPC_TYPE_DICTIONARY);
  xpc_release(stored);
  xpc_release(store_request);
  xpc_release(endpoint);

  PeerProcess user({"connect-twice", store_name});
  EXPECT_EQ(user.wait_exit(), 0);
  ASSERT_TRUE(listener_log.wait_for(2));
  for (size_t i = 0; i < 2; ++i) {
    ASSERT_EQ(xpc_get_type(listener_log.at(i)), XPC_TYPE_CONNECTION);
    EXPECT_EQ(xpc_connection_get_pid(static_cast<xpc_connection_t>(listener_log.at(i))), user.pid());
  }
  xpc_connection_cancel(store_client);
  xpc_release(store_client);
  xpc_connection_cancel(listener);
  xpc_release(listener);
}

TEST(XpcProcess, PeerDeathAnswersEveryPendingReplyOnceThenTheNameReconnects) {
  RemoteEcho echo;
  constexpr size_t kHeld = 3;
  EventLog replies;
  xpc_object_t hold = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_bool(hold, "hold", true);
  for (size_t i = 0; i < kHeld; ++i) {
    xpc_connection_send_message_with_reply(echo.client, hold, nullptr, ^(xpc_object_t reply) {
      replies.record(reply);
    });
  }
  xpc_release(hold);
  xpc_object_t die = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_bool(die, "exit", true);
  xpc_connection_send_message(echo.client, die);
  xpc_release(die);
  EXPECT_EQ(echo.peer.wait_exit(), 3);

  ASSERT_TRUE(replies.wait_for(kHeld));
  EXPECT_EQ(replies.count_of(XPC_ERROR_CONNECTION_INTERRUPTED), kHeld);
  ASSERT_TRUE(echo.client_log.wait_for(1));
  EXPECT_EQ(echo.client_log.at(0), XPC_ERROR_CONNECTION_INTERRUPTED);

  PeerProcess successor({"echo-service", echo.name});
  ASSERT_TRUE(service_published(echo.folder, echo.name));
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_object_t reply = send_and_wait(echo.client, request);
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  EXPECT_EQ(xpc_connection_get_pid(echo.client), successor.pid());
  xpc_release(reply);
  xpc_release(request);
  EXPECT_EQ(replies.size(), kHeld);
}

}  // namespace
