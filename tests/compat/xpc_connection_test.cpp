// Connections within one process: request and reply over each kind of
// listener, payload sizes, descriptors, barriers, replies, suspension,
// cancellation, the end of a peer, send queue limits and the service
// folder's checks.

#include "xpc_test_support.h"

#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using harlune::test::EventLog;
using harlune::test::eventually;
using harlune::test::PrintTo;
using harlune::test::ScopedServiceFolder;
using harlune::test::send_and_wait;
using harlune::test::service_name;
using harlune::test::start_listener;
using harlune::test::transport_threads;
using harlune::test::wait_bounded;

xpc_connection_t make_listener(bool named, const std::string& name) {
  return named ? xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER)
               : xpc_connection_create(nullptr, nullptr);
}

// An echo service, over a named service or an anonymous listener, and a
// client connected to it by name or through an endpoint.
struct EchoLink {
  ScopedServiceFolder folder;
  std::string name = service_name("echo");
  xpc_connection_t listener = nullptr;
  xpc_connection_t client = nullptr;
  EventLog client_log;

  explicit EchoLink(bool named) {
    listener = start_listener(make_listener(named, name), ^(xpc_object_t event) {
      harlune::test::echo(event);
    });
    if (named) {
      client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
    } else {
      xpc_endpoint_t endpoint = xpc_endpoint_create(listener);
      client = xpc_connection_create_from_endpoint(endpoint);
      xpc_release(endpoint);
    }
    client_log.attach(client);
    xpc_connection_resume(client);
  }
  ~EchoLink() {
    xpc_connection_cancel(client);
    xpc_release(client);
    xpc_connection_cancel(listener);
    xpc_release(listener);
  }
};

struct KindCase {
  const char* name;
  bool named;
};

const KindCase kKinds[] = {{"named_service", true}, {"endpoint", false}};

class XpcConnectionKinds : public testing::TestWithParam<KindCase> {};

TEST_P(XpcConnectionKinds, RequestGetsItsReplyOnTheSameConnection) {
  EchoLink link(GetParam().named);
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_int64(request, "number", -42);
  xpc_dictionary_set_string(request, "text", "hello");
  xpc_object_t reply = send_and_wait(link.client, request);
  ASSERT_NE(reply, nullptr);
  ASSERT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  EXPECT_TRUE(xpc_dictionary_get_bool(reply, "echoed"));
  EXPECT_EQ(xpc_dictionary_get_int64(reply, "number"), -42);
  EXPECT_STREQ(xpc_dictionary_get_string(reply, "text"), "hello");
  EXPECT_EQ(xpc_dictionary_get_remote_connection(reply), link.client);
  // A reply is answered by nobody: it cannot be replied to again.
  EXPECT_EQ(xpc_dictionary_create_reply(reply), nullptr);
  EXPECT_EQ(xpc_connection_get_pid(link.client), getpid());
  EXPECT_EQ(xpc_connection_get_euid(link.client), geteuid());
  xpc_release(reply);
  xpc_release(request);
}

TEST_P(XpcConnectionKinds, ListenerPeerEndsWithInvalidWhenItsClientGoes) {
  ScopedServiceFolder folder;
  const std::string name = service_name("ends");
  EventLog peer_log;
  xpc_connection_t listener = make_listener(GetParam().named, name);
  start_listener(listener, ^(xpc_object_t event) {
    peer_log.record(event);
  });
  xpc_connection_t client = nullptr;
  if (GetParam().named) {
    client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  } else {
    xpc_endpoint_t endpoint = xpc_endpoint_create(listener);
    client = xpc_connection_create_from_endpoint(endpoint);
    xpc_release(endpoint);
  }
  xpc_connection_set_event_handler(client, ^(xpc_object_t) {
  });
  xpc_connection_resume(client);
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_bool(message, "one-way", true);
  xpc_connection_send_message(client, message);
  xpc_release(message);
  ASSERT_TRUE(peer_log.wait_for(1));
  EXPECT_EQ(xpc_get_type(peer_log.at(0)), XPC_TYPE_DICTIONARY);
  // A one-way message cannot be answered.
  EXPECT_EQ(xpc_dictionary_create_reply(peer_log.at(0)), nullptr);

  xpc_connection_cancel(client);
  xpc_release(client);
  ASSERT_TRUE(peer_log.wait_for(2));
  EXPECT_EQ(peer_log.at(1), XPC_ERROR_CONNECTION_INVALID);
  xpc_connection_cancel(listener);
  xpc_release(listener);
}

INSTANTIATE_TEST_SUITE_P(Kinds, XpcConnectionKinds, testing::ValuesIn(kKinds));

struct SizeCase {
  const char* name;
  size_t bytes;
};

// Inline, at the edge of sealed memory, sealed, and far beyond any socket
// buffer.
const SizeCase kSizes[] = {
    {"empty", 0}, {"audio_buffer_4KiB", 4096}, {"just_inline", 64 * 1024 - 1},
    {"sealed_64KiB", 64 * 1024}, {"sealed_16MiB", 16 * 1024 * 1024},
};

class XpcDataSizes : public testing::TestWithParam<SizeCase> {};

TEST_P(XpcDataSizes, DataArrivesIntact) {
  EchoLink link(true);
  std::vector<uint8_t> bytes(GetParam().bytes);
  for (size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(i * 131 + (i >> 12));
  }
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_data(request, "payload", bytes.data(), bytes.size());
  xpc_object_t reply = send_and_wait(link.client, request);
  ASSERT_NE(reply, nullptr);
  size_t length = 12345;
  const void* received = xpc_dictionary_get_data(reply, "payload", &length);
  ASSERT_NE(received, nullptr);
  ASSERT_EQ(length, bytes.size());
  EXPECT_TRUE(length == 0 || std::memcmp(received, bytes.data(), length) == 0);
  xpc_release(reply);
  xpc_release(request);
}

INSTANTIATE_TEST_SUITE_P(Sizes, XpcDataSizes, testing::ValuesIn(kSizes));

TEST(XpcConnection, DescriptorsTravelAndStayUsable) {
  EchoLink link(false);
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_fd(request, "writer", pipe_ends[1]);
  close(pipe_ends[1]);
  xpc_object_t reply = send_and_wait(link.client, request);
  xpc_release(request);
  ASSERT_NE(reply, nullptr);
  const int writer = xpc_dictionary_dup_fd(reply, "writer");
  xpc_release(reply);
  ASSERT_GE(writer, 0);
  ASSERT_EQ(write(writer, "ok", 2), 2);
  close(writer);
  char text[3] = {};
  EXPECT_EQ(read(pipe_ends[0], text, sizeof text), 2);
  EXPECT_STREQ(text, "ok");
  close(pipe_ends[0]);
}

TEST(XpcConnection, BarriersRunInOrderAfterTheMessagesBeforeThem) {
  ScopedServiceFolder folder;
  const std::string name = service_name("barrier");
  EventLog received;
  xpc_connection_t listener = start_listener(
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER),
      ^(xpc_object_t event) {
        received.record(event);
      });
  xpc_connection_t client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  EventLog client_log;
  client_log.attach(client);

  // A barrier with nothing queued before it runs even on a connection that
  // was never resumed... once it is.
  constexpr int kMessages = 200;
  std::vector<int> order;
  std::vector<int>* shared_order = &order;
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  xpc_connection_resume(client);
  for (int i = 0; i < kMessages; ++i) {
    xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_dictionary_set_int64(message, "index", i);
    xpc_connection_send_message(client, message);
    xpc_release(message);
    xpc_connection_send_barrier(client, ^{
      // Written without a lock on purpose: barriers never overlap.
      shared_order->push_back(i);
      if (i == kMessages - 1) {
        dispatch_semaphore_signal(done);
      }
    });
  }
  ASSERT_TRUE(wait_bounded(done));
  ASSERT_EQ(order.size(), static_cast<size_t>(kMessages));
  for (int i = 0; i < kMessages; ++i) {
    EXPECT_EQ(order[i], i);
  }
  // Every message was written before its barrier ran, so all arrive, in
  // order.
  ASSERT_TRUE(received.wait_for(kMessages));
  for (int i = 0; i < kMessages; ++i) {
    EXPECT_EQ(xpc_dictionary_get_int64(received.at(i), "index"), i);
  }
  xpc_connection_cancel(client);
  xpc_connection_send_barrier(client, ^{
    dispatch_semaphore_signal(done);
  });
  EXPECT_TRUE(wait_bounded(done)) << "a barrier on a cancelled connection runs at once";
  dispatch_release(done);
  xpc_release(client);
  xpc_connection_cancel(listener);
  xpc_release(listener);
}

TEST(XpcConnection, CancelAnswersPendingRepliesOnceAndEndsWithOneInvalid) {
  ScopedServiceFolder folder;
  const std::string name = service_name("cancel");
  EventLog held;  // The server keeps the requests and never answers.
  xpc_connection_t listener = start_listener(
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER),
      ^(xpc_object_t event) {
        held.record(event);
      });
  xpc_connection_t client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  EventLog client_log;
  client_log.attach(client);
  xpc_connection_resume(client);

  constexpr int kRequests = 5;
  EventLog replies;
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  for (int i = 0; i < kRequests; ++i) {
    xpc_connection_send_message_with_reply(client, request, nullptr, ^(xpc_object_t reply) {
      replies.record(reply);
    });
  }
  ASSERT_TRUE(held.wait_for(kRequests));
  xpc_connection_cancel(client);
  ASSERT_TRUE(replies.wait_for(kRequests));
  ASSERT_TRUE(client_log.wait_for(1));
  EXPECT_EQ(replies.count_of(XPC_ERROR_CONNECTION_INVALID), static_cast<size_t>(kRequests));
  EXPECT_EQ(client_log.at(0), XPC_ERROR_CONNECTION_INVALID);

  // After the end: sends are dropped, a reply handler still runs once with
  // the error, and the event handler is never called again.
  xpc_connection_send_message(client, request);
  xpc_connection_send_message_with_reply(client, request, nullptr, ^(xpc_object_t reply) {
    replies.record(reply);
  });
  ASSERT_TRUE(replies.wait_for(kRequests + 1));
  EXPECT_EQ(replies.at(kRequests), XPC_ERROR_CONNECTION_INVALID);
  xpc_connection_cancel(client);
  xpc_release(request);
  // The server's peer sees its client go.
  ASSERT_TRUE(held.wait_for(kRequests + 1));
  EXPECT_EQ(held.at(kRequests), XPC_ERROR_CONNECTION_INVALID);
  EXPECT_EQ(client_log.size(), 1u);
  EXPECT_EQ(replies.size(), static_cast<size_t>(kRequests + 1));
  xpc_release(client);
  xpc_connection_cancel(listener);
  xpc_release(listener);
}

TEST(XpcConnection, MissingServiceIsInvalid) {
  ScopedServiceFolder folder;
  xpc_connection_t client = xpc_connection_create_mach_service(service_name("nobody").c_str(), nullptr, 0);
  EventLog client_log;
  client_log.attach(client);
  xpc_connection_resume(client);
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_object_t reply = send_and_wait(client, request);
  EXPECT_EQ(reply, XPC_ERROR_CONNECTION_INVALID);
  ASSERT_TRUE(client_log.wait_for(1));
  EXPECT_EQ(client_log.at(0), XPC_ERROR_CONNECTION_INVALID);
  xpc_release(request);
  xpc_connection_cancel(client);
  xpc_release(client);
  EXPECT_EQ(client_log.size(), 1u);
}

TEST(XpcConnection, NamedClientIsInterruptedThenReconnectsToTheNextListener) {
  ScopedServiceFolder folder;
  const std::string name = service_name("restart");
  // The first service keeps its peer, holds one request unanswered, and
  // then goes away entirely (listener and peer), as a dying service would.
  __block xpc_connection_t first_peer = nullptr;
  EventLog held;
  xpc_connection_t first =
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
  xpc_connection_set_event_handler(first, ^(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
      first_peer = static_cast<xpc_connection_t>(xpc_retain(event));
      held.attach(first_peer);
      xpc_connection_resume(first_peer);
    }
  });
  xpc_connection_resume(first);
  xpc_connection_t client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  EventLog client_log;
  client_log.attach(client);
  xpc_connection_resume(client);
  EventLog replies;
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_connection_send_message_with_reply(client, request, nullptr, ^(xpc_object_t reply) {
    replies.record(reply);
  });
  ASSERT_TRUE(held.wait_for(1));
  xpc_connection_cancel(first);
  xpc_release(first);
  xpc_connection_cancel(first_peer);
  xpc_release(first_peer);

  ASSERT_TRUE(replies.wait_for(1));
  EXPECT_EQ(replies.at(0), XPC_ERROR_CONNECTION_INTERRUPTED);
  ASSERT_TRUE(client_log.wait_for(1));
  EXPECT_EQ(client_log.at(0), XPC_ERROR_CONNECTION_INTERRUPTED);

  // The connection stays usable: the next send reaches the new service.
  xpc_connection_t second = start_listener(
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER),
      ^(xpc_object_t event) {
        harlune::test::echo(event);
      });
  ASSERT_TRUE(harlune::test::service_published(folder, name));
  xpc_object_t reply = send_and_wait(client, request);
  ASSERT_NE(reply, nullptr);
  EXPECT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
  EXPECT_EQ(xpc_connection_get_pid(client), getpid());
  xpc_release(reply);
  xpc_release(request);
  xpc_connection_cancel(client);
  xpc_release(client);
  ASSERT_TRUE(client_log.wait_for(2));
  EXPECT_EQ(client_log.at(1), XPC_ERROR_CONNECTION_INVALID);
  xpc_connection_cancel(second);
  xpc_release(second);
}

TEST(XpcConnection, SuspendedConnectionHoldsEventsUntilResumedAsOftenAsSuspended) {
  EchoLink link(true);
  xpc_connection_suspend(link.client);
  xpc_connection_suspend(link.client);
  EventLog replies;
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_connection_send_message_with_reply(link.client, request, nullptr, ^(xpc_object_t reply) {
    replies.record(reply);
  });
  xpc_release(request);
  xpc_connection_resume(link.client);
  // Still suspended once: nothing may arrive. Real time cannot be avoided
  // for a negative: 100 ms is far more than an in-process round trip.
  usleep(100 * 1000);
  EXPECT_EQ(replies.size(), 0u);
  xpc_connection_resume(link.client);
  ASSERT_TRUE(replies.wait_for(1));
  EXPECT_EQ(xpc_get_type(replies.at(0)), XPC_TYPE_DICTIONARY);
}

TEST(XpcConnection, HandlerNeverOverlapsOnAConcurrentQueue) {
  ScopedServiceFolder folder;
  const std::string name = service_name("concurrent");
  EventLog received;
  xpc_connection_t listener =
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
  xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
      xpc_connection_t peer = static_cast<xpc_connection_t>(event);
      xpc_connection_set_target_queue(peer, dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0));
      received.attach(peer);
      xpc_connection_resume(peer);
    }
  });
  xpc_connection_resume(listener);
  xpc_connection_t client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  xpc_connection_set_event_handler(client, ^(xpc_object_t) {
  });
  xpc_connection_resume(client);
  constexpr int kMessages = 500;
  for (int i = 0; i < kMessages; ++i) {
    xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_dictionary_set_int64(message, "index", i);
    xpc_connection_send_message(client, message);
    xpc_release(message);
  }
  ASSERT_TRUE(received.wait_for(kMessages));
  EXPECT_FALSE(received.overlapped());
  for (int i = 0; i < kMessages; ++i) {
    EXPECT_EQ(xpc_dictionary_get_int64(received.at(i), "index"), i);
  }
  xpc_connection_cancel(client);
  xpc_release(client);
  xpc_connection_cancel(listener);
  xpc_release(listener);
}

TEST(XpcConnection, EndpointConnectsManyTimesWhileItsListenerLives) {
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
  EXPECT_EQ(xpc_get_type(endpoint), XPC_TYPE_ENDPOINT);
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  for (int i = 0; i < 2; ++i) {
    xpc_connection_t client = xpc_connection_create_from_endpoint(endpoint);
    xpc_connection_set_event_handler(client, ^(xpc_object_t) {
    });
    xpc_connection_resume(client);
    xpc_object_t reply = send_and_wait(client, request);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(xpc_get_type(reply), XPC_TYPE_DICTIONARY);
    xpc_release(reply);
    xpc_connection_cancel(client);
    xpc_release(client);
  }
  ASSERT_TRUE(listener_log.wait_for(2));
  EXPECT_EQ(xpc_get_type(listener_log.at(0)), XPC_TYPE_CONNECTION);
  EXPECT_EQ(xpc_get_type(listener_log.at(1)), XPC_TYPE_CONNECTION);

  xpc_connection_cancel(listener);
  ASSERT_TRUE(listener_log.wait_for(3));
  EXPECT_EQ(listener_log.at(2), XPC_ERROR_CONNECTION_INVALID);
  EXPECT_EQ(xpc_endpoint_create(listener), nullptr);
  // The endpoint outlived its listener: connecting through it fails.
  xpc_connection_t late = xpc_connection_create_from_endpoint(endpoint);
  EventLog late_log;
  late_log.attach(late);
  xpc_connection_resume(late);
  xpc_object_t reply = send_and_wait(late, request);
  EXPECT_EQ(reply, XPC_ERROR_CONNECTION_INVALID);
  ASSERT_TRUE(late_log.wait_for(1));
  EXPECT_EQ(late_log.at(0), XPC_ERROR_CONNECTION_INVALID);
  xpc_connection_cancel(late);
  xpc_release(late);
  xpc_release(request);
  xpc_release(endpoint);
  xpc_release(listener);
}

TEST(XpcConnection, SendQueueDropsAndCountsPastItsLimitWithoutBlocking) {
  ScopedServiceFolder folder;
  const std::string name = service_name("limit");
  // The server's peer is suspended as soon as it arrives, so it stops
  // reading once its backlog is full and the client's queue fills up.
  EventLog received;
  __block xpc_connection_t server_peer = nullptr;
  dispatch_semaphore_t accepted = dispatch_semaphore_create(0);
  xpc_connection_t listener =
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
  xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
      server_peer = static_cast<xpc_connection_t>(xpc_retain(event));
      received.attach(server_peer);
      xpc_connection_resume(server_peer);
      xpc_connection_suspend(server_peer);
      dispatch_semaphore_signal(accepted);
    }
  });
  xpc_connection_resume(listener);
  xpc_connection_t client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  xpc_connection_set_event_handler(client, ^(xpc_object_t) {
  });
  xpc_connection_resume(client);

  std::vector<uint8_t> audio(4096, 0x5a);
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_data(message, "AUDIO_DATA", audio.data(), audio.size());
  xpc_connection_send_message(client, message);
  ASSERT_TRUE(wait_bounded(accepted));
  // Far more than the limits and every buffer on the way can hold.
  constexpr uint64_t kSends = 3 * XPC_CONNECTION_QUEUE_LIMIT_MESSAGES;
  for (uint64_t i = 1; i < kSends; ++i) {
    xpc_connection_send_message(client, message);
  }
  xpc_release(message);
  const uint64_t dropped = harlune_xpc_connection_get_dropped_count(client);
  EXPECT_GT(dropped, 0u);
  EXPECT_LT(dropped, kSends);

  // Once the server reads again, everything not dropped arrives.
  dispatch_semaphore_t flushed = dispatch_semaphore_create(0);
  xpc_connection_send_barrier(client, ^{
    dispatch_semaphore_signal(flushed);
  });
  xpc_connection_resume(server_peer);
  ASSERT_TRUE(wait_bounded(flushed));
  ASSERT_TRUE(received.wait_for(kSends - dropped));
  EXPECT_EQ(harlune_xpc_connection_get_dropped_count(client), dropped);
  dispatch_release(flushed);
  dispatch_release(accepted);
  xpc_connection_cancel(server_peer);
  xpc_release(server_peer);
  xpc_connection_cancel(client);
  xpc_release(client);
  xpc_connection_cancel(listener);
  xpc_release(listener);
}

struct FolderCase {
  const char* name;
  mode_t mode;
};

const FolderCase kRefusedFolders[] = {{"group_readable", 0750}, {"world_open", 0777}, {"owner_read_only", 0500}};

class XpcRefusedServiceFolder : public testing::TestWithParam<FolderCase> {};

TEST_P(XpcRefusedServiceFolder, ListenerAndClientEndInvalid) {
  ScopedServiceFolder folder;
  ASSERT_EQ(chmod(folder.path().c_str(), GetParam().mode), 0);
  const std::string name = service_name("refused");
  EventLog listener_log;
  xpc_connection_t listener =
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
  listener_log.attach(listener);
  xpc_connection_resume(listener);
  ASSERT_TRUE(listener_log.wait_for(1));
  EXPECT_EQ(listener_log.at(0), XPC_ERROR_CONNECTION_INVALID);

  xpc_connection_t client = xpc_connection_create_mach_service(name.c_str(), nullptr, 0);
  xpc_connection_set_event_handler(client, ^(xpc_object_t) {
  });
  xpc_connection_resume(client);
  xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_object_t reply = send_and_wait(client, request);
  EXPECT_EQ(reply, XPC_ERROR_CONNECTION_INVALID);
  xpc_release(request);
  xpc_connection_cancel(client);
  xpc_release(client);
  xpc_release(listener);
  chmod(folder.path().c_str(), 0700);
}

INSTANTIATE_TEST_SUITE_P(Folders, XpcRefusedServiceFolder, testing::ValuesIn(kRefusedFolders));

TEST(XpcConnection, SecondListenerOfANameIsInvalid) {
  ScopedServiceFolder folder;
  const std::string name = service_name("twice");
  xpc_connection_t first = start_listener(
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER),
      ^(xpc_object_t event) {
        harlune::test::echo(event);
      });
  ASSERT_TRUE(harlune::test::service_published(folder, name));
  EventLog second_log;
  xpc_connection_t second =
      xpc_connection_create_mach_service(name.c_str(), nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
  second_log.attach(second);
  xpc_connection_resume(second);
  ASSERT_TRUE(second_log.wait_for(1));
  EXPECT_EQ(second_log.at(0), XPC_ERROR_CONNECTION_INVALID);
  xpc_release(second);

  // The first still serves.
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
  xpc_connection_cancel(first);
  xpc_release(first);
}

TEST(XpcConnection, TransportThreadEndsOnceNothingIsOpen) {
  {
    EchoLink link(false);
    xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_object_t reply = send_and_wait(link.client, request);
    ASSERT_NE(reply, nullptr);
    xpc_release(reply);
    xpc_release(request);
    // At least one: a thread the transport starts bears its name until it
    // names itself.
    EXPECT_GE(transport_threads(), 1);
  }
  EXPECT_TRUE(eventually([] { return transport_threads() == 0; }));
}

}  // namespace
