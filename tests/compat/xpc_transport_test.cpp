// The transport thread's share of the work: senders only queue, the
// transport writes and runs barriers, and callbacks it runs itself on an
// idle queue can neither reorder delivery nor stall the transport when
// they block.

#include "xpc_test_support.h"

#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

namespace {

using harlune::test::EventLog;
using harlune::test::eventually;
using harlune::test::ScopedServiceFolder;
using harlune::test::send_and_wait;
using harlune::test::service_name;
using harlune::test::start_listener;
using harlune::test::transport_threads;
using harlune::test::wait_bounded;

xpc_object_t indexed_message(int64_t index, std::size_t payload) {
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_int64(message, "index", index);
  if (payload > 0) {
    std::vector<uint8_t> bytes(payload, static_cast<uint8_t>(index));
    xpc_dictionary_set_data(message, "bytes", bytes.data(), bytes.size());
  }
  return message;
}

// A named service whose peers record what they receive, and a resumed
// client of it.
struct RecordingService {
  ScopedServiceFolder folder;
  std::string name = service_name("transport");
  EventLog received;
  xpc_connection_t listener = nullptr;
  xpc_connection_t client = nullptr;
  EventLog client_log;

  RecordingService() {
    EventLog log = received;
    listener = start_listener(
        xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER),
        ^(xpc_object_t event) {
          log.record(event);
          harlune::test::echo(event);
        });
    client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
    client_log.attach(client);
    xpc_connection_resume(client);
  }
  ~RecordingService() {
    xpc_connection_cancel(client);
    xpc_release(client);
    xpc_connection_cancel(listener);
    xpc_release(listener);
  }
};

// A burst queued faster than the transport writes it, then one barrier:
// the barrier runs only once all of it is in the socket, so cancelling the
// connection from the barrier loses none of it.
TEST(XpcTransport, BarrierAfterABurstRunsOnceEveryMessageIsWritten) {
  RecordingService service;
  xpc_object_t probe = indexed_message(-1, 0);
  xpc_object_t answer = send_and_wait(service.client, probe);  // Linked.
  ASSERT_NE(answer, nullptr);
  xpc_release(answer);
  xpc_release(probe);
  service.received.wait_for(1);
  // Counted from here: the probe above is index -1.
  constexpr int kBurst = 1500;
  dispatch_semaphore_t ran = dispatch_semaphore_create(0);
  std::atomic<int> runs{0};
  std::atomic<int>* shared_runs = &runs;
  for (int i = 0; i < kBurst; ++i) {
    xpc_object_t message = indexed_message(i, 4096);
    xpc_connection_send_message(service.client, message);
    xpc_release(message);
  }
  xpc_connection_t client = service.client;
  xpc_connection_send_barrier(client, ^{
    shared_runs->fetch_add(1);
    xpc_connection_cancel(client);
    dispatch_semaphore_signal(ran);
  });
  ASSERT_TRUE(wait_bounded(ran));
  ASSERT_TRUE(service.received.wait_for(kBurst + 1));
  EXPECT_TRUE(eventually([&] { return service.received.size() >= kBurst + 2; }))
      << "the peer sees the end of the connection after the burst";
  // The probe's own index (-1) comes first; the burst follows it in order.
  EXPECT_EQ(xpc_dictionary_get_int64(service.received.at(0), "index"), -1);
  std::size_t burst = 0;
  for (std::size_t i = 1; i < service.received.size(); ++i) {
    xpc_object_t event = service.received.at(i);
    if (xpc_get_type(event) == XPC_TYPE_DICTIONARY) {
      EXPECT_EQ(xpc_dictionary_get_int64(event, "index"), static_cast<int64_t>(burst));
      ++burst;
    }
  }
  EXPECT_EQ(burst, static_cast<std::size_t>(kBurst));
  EXPECT_EQ(runs.load(), 1);
  dispatch_release(ran);
}

// Cancelling with sends, barriers and a request still queued: the peer
// gets an unbroken prefix of the messages, every barrier runs once, the
// request is answered once (a reply or the invalid error), and the client's
// handler ends with exactly one invalid error.
TEST(XpcTransport, CancelWithQueuedSendsDeliversAPrefixAndRunsEveryCallbackOnce) {
  RecordingService service;
  xpc_object_t probe = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_object_t answer = send_and_wait(service.client, probe);
  ASSERT_NE(answer, nullptr);
  xpc_release(answer);
  xpc_release(probe);
  service.received.wait_for(1);
  constexpr int kMessages = 800;
  std::atomic<int> barriers{0};
  std::atomic<int> replies{0};
  std::atomic<int>* shared_barriers = &barriers;
  std::atomic<int>* shared_replies = &replies;
  dispatch_group_t callbacks = dispatch_group_create();
  for (int i = 0; i < kMessages; ++i) {
    xpc_object_t message = indexed_message(i, 2048);
    xpc_connection_send_message(service.client, message);
    xpc_release(message);
    dispatch_group_enter(callbacks);
    // Each block captures its own index, so no two share a marker.
    const int index = i;
    xpc_connection_send_barrier(service.client, ^{
      (void)index;
      shared_barriers->fetch_add(1);
      dispatch_group_leave(callbacks);
    });
  }
  xpc_object_t request = indexed_message(kMessages, 0);
  dispatch_group_enter(callbacks);
  xpc_connection_send_message_with_reply(service.client, request, nullptr, ^(xpc_object_t reply) {
    const bool answered = xpc_get_type(reply) == XPC_TYPE_DICTIONARY || reply == XPC_ERROR_CONNECTION_INVALID;
    shared_replies->fetch_add(answered ? 1 : 100);
    dispatch_group_leave(callbacks);
  });
  xpc_release(request);
  xpc_connection_cancel(service.client);

  ASSERT_TRUE(wait_bounded(callbacks));
  EXPECT_EQ(barriers.load(), kMessages);
  EXPECT_EQ(replies.load(), 1);
  ASSERT_TRUE(service.client_log.wait_for(1));
  EXPECT_TRUE(eventually([&] { return service.received.count_of(XPC_ERROR_CONNECTION_INVALID) == 1; }));
  // The probe (no index, so 0) is message 0 of the prefix check: skip it.
  std::size_t delivered = 0;
  for (std::size_t i = 1; i < service.received.size(); ++i) {
    xpc_object_t event = service.received.at(i);
    if (xpc_get_type(event) == XPC_TYPE_DICTIONARY) {
      EXPECT_EQ(xpc_dictionary_get_int64(event, "index"), static_cast<int64_t>(delivered));
      ++delivered;
    }
  }
  EXPECT_LE(delivered, static_cast<std::size_t>(kMessages + 1));
  EXPECT_EQ(service.client_log.count_of(XPC_ERROR_CONNECTION_INVALID), 1u);
  EXPECT_EQ(service.client_log.size(), 1u) << "nothing after the final error";
  dispatch_release(callbacks);
}

// A handler that blocks until the transport has done more work: waiting
// for a second connection's handler, or for a reply. Run on the transport
// thread itself, it would hold up the very work it waits for; the standby
// thread must take over.
enum class Wait { other_connection, reply };

class XpcTransportBlockingHandler : public ::testing::TestWithParam<Wait> {};

TEST_P(XpcTransportBlockingHandler, DoesNotStallTheTransport) {
  RecordingService echo;  // Answers requests, for the reply case; its folder serves both.
  const std::string name = service_name("blocking");
  dispatch_semaphore_t second_arrived = dispatch_semaphore_create(0);
  dispatch_semaphore_t first_done = dispatch_semaphore_create(0);
  std::atomic<int> outcome{0};
  std::atomic<int>* shared_outcome = &outcome;
  const Wait wait = GetParam();
  xpc_connection_t echo_client = echo.client;
  xpc_connection_t listener = start_listener(
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER),
      ^(xpc_object_t event) {
        if (xpc_get_type(event) != XPC_TYPE_DICTIONARY) {
          return;
        }
        if (xpc_dictionary_get_int64(event, "index") == 2) {
          dispatch_semaphore_signal(second_arrived);
          return;
        }
        if (wait == Wait::other_connection) {
          *shared_outcome = dispatch_semaphore_wait(second_arrived, dispatch_time(DISPATCH_TIME_NOW, 10 * NSEC_PER_SEC)) == 0 ? 1 : 2;
        } else {
          xpc_object_t request = indexed_message(7, 0);
          xpc_object_t reply = xpc_connection_send_message_with_reply_sync(echo_client, request);
          *shared_outcome = xpc_get_type(reply) == XPC_TYPE_DICTIONARY && xpc_dictionary_get_bool(reply, "echoed") ? 1 : 2;
          xpc_release(reply);
          xpc_release(request);
        }
        dispatch_semaphore_signal(first_done);
      });
  xpc_connection_t first = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  xpc_connection_t second = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  for (xpc_connection_t connection : {first, second}) {
    xpc_connection_set_event_handler(connection, ^(xpc_object_t) {
    });
    xpc_connection_resume(connection);
  }
  xpc_object_t one = indexed_message(1, 0);
  xpc_connection_send_message(first, one);
  xpc_release(one);
  if (wait == Wait::other_connection) {
    // Sent once the first handler is (very likely) blocked already; the
    // outcome does not depend on it.
    usleep(20 * 1000);
    xpc_object_t two = indexed_message(2, 0);
    xpc_connection_send_message(second, two);
    xpc_release(two);
  }
  ASSERT_TRUE(wait_bounded(first_done));
  EXPECT_EQ(outcome.load(), 1);
  for (xpc_connection_t connection : {first, second, listener}) {
    xpc_connection_cancel(connection);
    xpc_release(connection);
  }
  dispatch_release(second_arrived);
  dispatch_release(first_done);
}

INSTANTIATE_TEST_SUITE_P(Waits, XpcTransportBlockingHandler, ::testing::Values(Wait::other_connection, Wait::reply),
                         [](const ::testing::TestParamInfo<Wait>& info) {
                           return info.param == Wait::other_connection ? "OnAnotherConnection" : "OnAReply";
                         });

// After a standby thread has taken over, every transport thread still ends
// once nothing is open.
TEST(XpcTransport, ThreadsEndAfterATakeover) {
  {
    RecordingService service;
    xpc_object_t probe = indexed_message(-1, 0);
    xpc_object_t answer = send_and_wait(service.client, probe);  // Linked, so the barrier goes to the transport.
    ASSERT_NE(answer, nullptr);
    xpc_release(answer);
    xpc_release(probe);
    dispatch_semaphore_t done = dispatch_semaphore_create(0);
    xpc_connection_t client = service.client;
    xpc_connection_send_barrier(client, ^{
      // Long enough for the standby to take the role.
      usleep(static_cast<useconds_t>(20 * 1000));
      dispatch_semaphore_signal(done);
    });
    xpc_object_t request = indexed_message(0, 0);
    xpc_object_t reply = send_and_wait(client, request);
    xpc_release(request);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY) << "answered while the barrier still blocked";
    xpc_release(reply);
    ASSERT_TRUE(wait_bounded(done));
    dispatch_release(done);
  }
  EXPECT_TRUE(eventually([] { return transport_threads() == 0; }));
}

}  // namespace
