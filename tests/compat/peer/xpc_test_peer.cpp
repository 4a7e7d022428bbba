// A peer process for the cross-process xpc tests. Modes:
//
//   echo-service NAME    publishes NAME; answers every request with a copy
//                        of its entries plus "echoed" = true. A request
//                        holding "hold" is kept and never answered; one
//                        holding "exit" ends the process at once (exit
//                        code 3), as a crash would; one holding "fd" gets
//                        "peer" written into that descriptor first.
//   store-service NAME   publishes NAME; keeps the endpoint of a request
//                        holding "store", and answers a request holding
//                        "fetch" with that endpoint under "endpoint".
//   connect-twice NAME   fetches an endpoint from the store service NAME,
//                        connects to it twice and sends a request on each;
//                        exits 0 when both are answered, 1 otherwise.
//
// Every mode ends itself after kLifetime, so a failed test never leaves it
// behind.

#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr unsigned kLifetime = 50;  // seconds
constexpr int64_t kWait = 20 * static_cast<int64_t>(NSEC_PER_SEC);

xpc_object_t stored_endpoint = nullptr;

void echo_service_event(xpc_object_t event) {
  if (xpc_get_type(event) != XPC_TYPE_DICTIONARY) {
    return;
  }
  if (xpc_dictionary_get_value(event, "exit") != nullptr) {
    _exit(3);
  }
  if (xpc_dictionary_get_value(event, "hold") != nullptr) {
    xpc_retain(event);  // Never answered, never released.
    return;
  }
  const int fd = xpc_dictionary_dup_fd(event, "fd");
  if (fd >= 0) {
    ssize_t ignored = write(fd, "peer", 4);
    (void)ignored;
    close(fd);
  }
  xpc_object_t reply = xpc_dictionary_create_reply(event);
  if (reply == nullptr) {
    return;
  }
  xpc_dictionary_apply(event, ^bool(const char* key, xpc_object_t value) {
    xpc_dictionary_set_value(reply, key, value);
    return true;
  });
  xpc_dictionary_set_bool(reply, "echoed", true);
  xpc_connection_send_message(xpc_dictionary_get_remote_connection(event), reply);
  xpc_release(reply);
}

void store_service_event(xpc_object_t event) {
  if (xpc_get_type(event) != XPC_TYPE_DICTIONARY) {
    return;
  }
  xpc_object_t reply = xpc_dictionary_create_reply(event);
  if (xpc_object_t endpoint = xpc_dictionary_get_value(event, "store")) {
    if (stored_endpoint != nullptr) {
      xpc_release(stored_endpoint);
    }
    stored_endpoint = xpc_retain(endpoint);
  }
  if (reply != nullptr && xpc_dictionary_get_value(event, "fetch") != nullptr && stored_endpoint != nullptr) {
    xpc_dictionary_set_value(reply, "endpoint", stored_endpoint);
  }
  if (reply != nullptr) {
    xpc_connection_send_message(xpc_dictionary_get_remote_connection(event), reply);
    xpc_release(reply);
  }
}

// Serves NAME on the main thread's behalf until the lifetime ends.
int serve(const char* name, void (*on_event)(xpc_object_t)) {
  xpc_connection_t listener =
      xpc_connection_create_mach_service(name, nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
  xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
      xpc_connection_t peer = static_cast<xpc_connection_t>(event);
      xpc_connection_set_event_handler(peer, ^(xpc_object_t message) {
        on_event(message);
      });
      xpc_connection_resume(peer);
    } else if (event == XPC_ERROR_CONNECTION_INVALID) {
      std::fprintf(stderr, "xpc_test_peer: cannot publish %s\n", name);
      _exit(2);
    }
  });
  xpc_connection_resume(listener);
  for (;;) {
    pause();
  }
}

xpc_object_t request_and_wait(xpc_connection_t connection, xpc_object_t message) {
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  __block xpc_object_t result = nullptr;
  xpc_connection_send_message_with_reply(connection, message, nullptr, ^(xpc_object_t reply) {
    result = xpc_retain(reply);
    dispatch_semaphore_signal(done);
  });
  const bool answered = dispatch_semaphore_wait(done, dispatch_time(DISPATCH_TIME_NOW, kWait)) == 0;
  dispatch_release(done);
  return answered ? result : nullptr;
}

xpc_connection_t resumed(xpc_connection_t connection) {
  xpc_connection_set_event_handler(connection, ^(xpc_object_t) {
  });
  xpc_connection_resume(connection);
  return connection;
}

int connect_twice(const char* store) {
  xpc_connection_t service = resumed(xpc_connection_create_mach_service(store, nullptr, 0));
  xpc_object_t fetch = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_dictionary_set_bool(fetch, "fetch", true);
  xpc_object_t answer = request_and_wait(service, fetch);
  xpc_object_t endpoint = answer != nullptr ? xpc_dictionary_get_value(answer, "endpoint") : nullptr;
  if (endpoint == nullptr || xpc_get_type(endpoint) != XPC_TYPE_ENDPOINT) {
    std::fprintf(stderr, "xpc_test_peer: no endpoint from %s\n", store);
    return 1;
  }
  int answered = 0;
  for (int i = 0; i < 2; ++i) {
    xpc_connection_t connection =
        resumed(xpc_connection_create_from_endpoint(static_cast<xpc_endpoint_t>(endpoint)));
    xpc_object_t hello = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_dictionary_set_int64(hello, "index", i);
    xpc_object_t reply = request_and_wait(connection, hello);
    if (reply != nullptr && xpc_dictionary_get_bool(reply, "echoed") && xpc_dictionary_get_int64(reply, "index") == i) {
      ++answered;
    }
    if (reply != nullptr) {
      xpc_release(reply);
    }
    xpc_release(hello);
    xpc_connection_cancel(connection);
    xpc_release(connection);
  }
  xpc_release(answer);
  xpc_release(fetch);
  xpc_connection_cancel(service);
  xpc_release(service);
  return answered == 2 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  // Never outlives the test that started it, even one that crashed.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() == 1) {
    return 70;
  }
  alarm(kLifetime);
  const std::string mode = argc > 1 ? argv[1] : "";
  if (argc == 3 && mode == "echo-service") {
    return serve(argv[2], &echo_service_event);
  }
  if (argc == 3 && mode == "store-service") {
    return serve(argv[2], &store_service_event);
  }
  if (argc == 3 && mode == "connect-twice") {
    return connect_twice(argv[2]);
  }
  std::fprintf(stderr, "usage: xpc_test_peer echo-service|store-service|connect-twice NAME\n");
  return 64;
}
