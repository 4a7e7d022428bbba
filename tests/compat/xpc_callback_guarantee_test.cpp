// Callbacks that must run however a connection ends: a reply handler runs
// exactly once and a barrier runs, even on a connection that was cancelled
// before it was ever resumed or on a listener, which sends nothing; the
// send queue of a stalled peer stays within its byte limit, barriers
// included; and a receiver that does not keep up holds a backlog bounded in
// bytes, not only in messages.

#include "xpc_test_support.h"

#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

using harlune::test::eventually;
using harlune::test::ScopedServiceFolder;
using harlune::test::service_name;
using harlune::test::wait_bounded;

// What a case does to its connection, with a reply handler and a barrier
// to hand to the calls it makes.
struct CallbackCase {
  const char* name;
  xpc_connection_t (*make)(const std::string& service);
  void (*act)(xpc_connection_t connection, xpc_handler_t reply, dispatch_block_t barrier);
};

xpc_connection_t make_client(const std::string& service) {
  return xpc_connection_create_mach_service(service.c_str(), nullptr, 0);
}

xpc_connection_t make_anonymous_listener(const std::string&) { return xpc_connection_create(nullptr, nullptr); }

void send_both(xpc_connection_t connection, xpc_handler_t reply, dispatch_block_t barrier) {
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_connection_send_message_with_reply(connection, message, nullptr, reply);
  xpc_connection_send_message(connection, message);
  xpc_connection_send_barrier(connection, barrier);
  xpc_release(message);
}

const CallbackCase kCases[] = {
    {"cancelled_then_sent",
     make_client,
     [](xpc_connection_t c, xpc_handler_t reply, dispatch_block_t barrier) {
       xpc_connection_cancel(c);
       send_both(c, reply, barrier);
     }},
    {"sent_then_cancelled_never_resumed",
     make_client,
     [](xpc_connection_t c, xpc_handler_t reply, dispatch_block_t barrier) {
       send_both(c, reply, barrier);
       xpc_connection_cancel(c);
     }},
    {"listener_never_resumed",
     make_anonymous_listener,
     [](xpc_connection_t c, xpc_handler_t reply, dispatch_block_t barrier) {
       send_both(c, reply, barrier);
       xpc_connection_cancel(c);
     }},
    {"listener_running",
     make_anonymous_listener,
     [](xpc_connection_t c, xpc_handler_t reply, dispatch_block_t barrier) {
       xpc_connection_resume(c);
       send_both(c, reply, barrier);
       xpc_connection_cancel(c);
     }},
};

class XpcCallbackGuarantee : public testing::TestWithParam<CallbackCase> {};

TEST_P(XpcCallbackGuarantee, ReplyHandlerRunsOnceAndBarrierRuns) {
  ScopedServiceFolder folder;
  const std::string service = service_name("guarantee");
  xpc_connection_t connection = GetParam().make(service);
  ASSERT_NE(connection, nullptr);
  xpc_connection_set_event_handler(connection, ^(xpc_object_t) {
  });
  auto replies = std::make_shared<std::atomic<int>>(0);
  auto barriers = std::make_shared<std::atomic<int>>(0);
  auto errors = std::make_shared<std::atomic<int>>(0);
  GetParam().act(
      connection,
      ^(xpc_object_t reply) {
        replies->fetch_add(1);
        if (xpc_get_type(reply) == XPC_TYPE_ERROR) {
          errors->fetch_add(1);
        }
      },
      ^{
        barriers->fetch_add(1);
      });
  EXPECT_TRUE(eventually([&] { return replies->load() >= 1 && barriers->load() >= 1; }))
      << "replies " << replies->load() << ", barriers " << barriers->load();
  xpc_release(connection);
  // Nothing runs a second time once the connection is gone.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(replies->load(), 1);
  EXPECT_EQ(errors->load(), 1);
  EXPECT_EQ(barriers->load(), 1);
}

INSTANTIATE_TEST_SUITE_P(Connections, XpcCallbackGuarantee, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<CallbackCase>& info) { return info.param.name; });

// A server whose peer stops reading as soon as it arrives, and a client
// whose queue therefore fills up: the shape of a recorder stopped by a
// debugger or SIGSTOP while the audio keeps coming.
struct StalledPeer {
  ScopedServiceFolder folder;
  std::string name = service_name("stalled");
  xpc_connection_t listener = nullptr;
  xpc_connection_t client = nullptr;
  xpc_connection_t server_peer = nullptr;
  std::shared_ptr<std::atomic<uint64_t>> received = std::make_shared<std::atomic<uint64_t>>(0);

  StalledPeer() {
    dispatch_semaphore_t accepted = dispatch_semaphore_create(0);
    auto received_count = received;
    __block xpc_connection_t* slot = &server_peer;
    listener = xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
    xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
      if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
        auto peer = static_cast<xpc_connection_t>(xpc_retain(event));
        xpc_connection_set_event_handler(peer, ^(xpc_object_t message) {
          if (xpc_get_type(message) == XPC_TYPE_DICTIONARY) {
            received_count->fetch_add(1);
          }
        });
        xpc_connection_resume(peer);
        xpc_connection_suspend(peer);
        *slot = peer;
        dispatch_semaphore_signal(accepted);
      }
    });
    xpc_connection_resume(listener);
    client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
    xpc_connection_set_event_handler(client, ^(xpc_object_t) {
    });
    xpc_connection_resume(client);
    xpc_object_t hello = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_connection_send_message(client, hello);
    xpc_release(hello);
    EXPECT_TRUE(wait_bounded(accepted));
    dispatch_release(accepted);
  }
  ~StalledPeer() {
    if (server_peer != nullptr) {
      xpc_connection_cancel(server_peer);
      xpc_release(server_peer);
    }
    xpc_connection_cancel(client);
    xpc_release(client);
    xpc_connection_cancel(listener);
    xpc_release(listener);
  }
};

// How the barriers after each send are made: one literal with the same
// captured values every time (the framework's "message sent" notice), or a
// different captured value each time.
enum class BarrierShape { same, distinct };

class XpcStalledQueue : public testing::TestWithParam<BarrierShape> {};

TEST_P(XpcStalledQueue, StaysWithinItsByteLimitAndRunsEveryBarrier) {
  StalledPeer link;
  ASSERT_NE(link.server_peer, nullptr);
  std::vector<uint8_t> audio(4096, 0x5a);
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_data(message, "AUDIO_DATA", audio.data(), audio.size());
  auto barriers = std::make_shared<std::atomic<uint64_t>>(0);
  // Far more than the limits and every socket buffer on the way can hold.
  constexpr uint64_t kSends = 3 * XPC_CONNECTION_QUEUE_LIMIT_MESSAGES;
  uint64_t most_queued = 0;
  for (uint64_t i = 0; i < kSends; ++i) {
    xpc_connection_send_message(link.client, message);
    if (GetParam() == BarrierShape::same) {
      xpc_connection_send_barrier(link.client, ^{
        barriers->fetch_add(1);
      });
    } else {
      const uint64_t weight = i % 2 + 1;
      xpc_connection_send_barrier(link.client, ^{
        barriers->fetch_add(weight == 0 ? 0 : 1);
      });
    }
    most_queued = std::max(most_queued, harlune_xpc_connection_get_queued_bytes(link.client));
  }
  xpc_release(message);
  const uint64_t dropped = harlune_xpc_connection_get_dropped_count(link.client);
  EXPECT_GT(dropped, 0u);
  if (GetParam() == BarrierShape::same) {
    // A message is only accepted while it fits, and a barrier marker is a
    // few dozen bytes: the queue may overshoot its limit by one marker.
    EXPECT_LE(most_queued, XPC_CONNECTION_QUEUE_LIMIT_BYTES + 256u);
  } else {
    // Barriers are never dropped; the messages make room for them.
    EXPECT_GT(most_queued, 0u);
  }
  xpc_connection_resume(link.server_peer);
  EXPECT_TRUE(eventually([&] { return barriers->load() == kSends; })) << barriers->load() << " of " << kSends;
  EXPECT_TRUE(eventually([&] { return link.received->load() == kSends + 1 - dropped; }));
  EXPECT_EQ(harlune_xpc_connection_get_queued_bytes(link.client), 0u);
}

TEST(XpcStalledReceiver, BacklogOfLargeMessagesStaysWithinItsByteBound) {
  StalledPeer link;
  ASSERT_NE(link.server_peer, nullptr);
  // The peer was resumed and suspended again: it reads until its backlog is
  // full and then stops. 1 MiB messages travel as sealed memory, so the
  // socket passes many of them before anything else fills up.
  std::vector<uint8_t> block(1024 * 1024, 0x17);
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_data(message, "BLOCK", block.data(), block.size());
  constexpr int kSends = 160;
  for (int i = 0; i < kSends; ++i) {
    xpc_connection_send_message(link.client, message);
  }
  xpc_release(message);
  // Let the reader take whatever it will.
  uint64_t backlog = 0;
  for (int i = 0; i < 50; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    backlog = std::max(backlog, harlune_xpc_connection_get_backlog_bytes(link.server_peer));
  }
  // 32 MiB, then the one message that crossed it (and its small overhead).
  EXPECT_GT(backlog, 0u);
  EXPECT_LE(backlog, 33u * 1024 * 1024 + 4096);
  xpc_connection_resume(link.server_peer);
  const uint64_t dropped = harlune_xpc_connection_get_dropped_count(link.client);
  EXPECT_TRUE(eventually([&] { return link.received->load() == kSends + 1 - dropped; }));
  EXPECT_TRUE(eventually([&] { return harlune_xpc_connection_get_backlog_bytes(link.server_peer) == 0; }));
}

INSTANTIATE_TEST_SUITE_P(Barriers, XpcStalledQueue, testing::Values(BarrierShape::same, BarrierShape::distinct),
                         [](const testing::TestParamInfo<BarrierShape>& info) {
                           return info.param == BarrierShape::same ? "same_literal" : "distinct_captures";
                         });

}  // namespace
