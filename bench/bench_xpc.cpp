// compat/xpc against a raw Unix-domain socket pair, with the audio path's
// payload (one 4 KiB data value per message):
//   - one-way throughput in messages per second, the sender kept at most a
//     window of messages ahead of the receiver (the raw pair's socket
//     buffer plays that part for it);
//   - round-trip latency, send with reply against a raw ping-pong of the
//     same size: median and 99th percentile.
// Both sides of each run live in this process, on their own threads.
// Prints the figures and, on lines of their own, the two ratios.

#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kPayload = 4096;
constexpr int kOneWayMessages = 200000;
constexpr int kRoundTrips = 20000;
constexpr int kWarmUp = 2000;
// How far the xpc sender may run ahead of its receiver, and how often the
// receiver reports progress.
constexpr int kWindow = 1024;
constexpr int kAckEvery = 64;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double micros_since(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

bool read_full(int fd, uint8_t* buffer, size_t length) {
  size_t done = 0;
  while (done < length) {
    const ssize_t count = read(fd, buffer + done, length - done);
    if (count <= 0) {
      return false;
    }
    done += static_cast<size_t>(count);
  }
  return true;
}

bool write_full(int fd, const uint8_t* buffer, size_t length) {
  size_t done = 0;
  while (done < length) {
    const ssize_t count = write(fd, buffer + done, length - done);
    if (count <= 0) {
      return false;
    }
    done += static_cast<size_t>(count);
  }
  return true;
}

struct Latency {
  double median;
  double p99;
};

Latency summarize(std::vector<double>& samples) {
  std::sort(samples.begin(), samples.end());
  return {samples[samples.size() / 2], samples[samples.size() * 99 / 100]};
}

double raw_throughput() {
  int pair[2];
  socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair);
  std::vector<uint8_t> payload(kPayload, 0x5a);
  const auto start = Clock::now();
  std::thread reader([&] {
    std::vector<uint8_t> buffer(kPayload);
    for (int i = 0; i < kOneWayMessages; ++i) {
      read_full(pair[1], buffer.data(), buffer.size());
    }
  });
  for (int i = 0; i < kOneWayMessages; ++i) {
    write_full(pair[0], payload.data(), payload.size());
  }
  reader.join();
  const double rate = kOneWayMessages / seconds_since(start);
  close(pair[0]);
  close(pair[1]);
  return rate;
}

Latency raw_round_trip() {
  int pair[2];
  socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair);
  std::thread echo([&] {
    std::vector<uint8_t> buffer(kPayload);
    while (read_full(pair[1], buffer.data(), buffer.size())) {
      write_full(pair[1], buffer.data(), buffer.size());
    }
  });
  std::vector<uint8_t> buffer(kPayload, 0x5a);
  std::vector<double> samples;
  samples.reserve(kRoundTrips);
  for (int i = 0; i < kWarmUp + kRoundTrips; ++i) {
    const auto start = Clock::now();
    write_full(pair[0], buffer.data(), buffer.size());
    read_full(pair[0], buffer.data(), buffer.size());
    if (i >= kWarmUp) {
      samples.push_back(micros_since(start));
    }
  }
  shutdown(pair[0], SHUT_RDWR);
  echo.join();
  close(pair[0]);
  close(pair[1]);
  return summarize(samples);
}

// An anonymous listener whose peers run `handler`, and a client connected
// to it through an endpoint.
struct XpcPair {
  xpc_connection_t listener;
  xpc_connection_t client;

  explicit XpcPair(xpc_handler_t handler) {
    listener = xpc_connection_create(nullptr, nullptr);
    xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
      if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
        xpc_connection_t peer = static_cast<xpc_connection_t>(event);
        xpc_connection_set_event_handler(peer, handler);
        xpc_connection_resume(peer);
      }
    });
    xpc_connection_resume(listener);
    xpc_endpoint_t endpoint = xpc_endpoint_create(listener);
    client = xpc_connection_create_from_endpoint(endpoint);
    xpc_release(endpoint);
    xpc_connection_set_event_handler(client, ^(xpc_object_t) {
    });
    xpc_connection_resume(client);
  }
  ~XpcPair() {
    xpc_connection_cancel(client);
    xpc_release(client);
    xpc_connection_cancel(listener);
    xpc_release(listener);
  }
};

double xpc_throughput() {
  std::atomic<int> received{0};
  std::atomic<int>* counter = &received;
  dispatch_semaphore_t progress = dispatch_semaphore_create(0);
  XpcPair pair(^(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_DICTIONARY) {
      size_t length = 0;
      xpc_dictionary_get_data(event, "AUDIO_DATA", &length);
      if (length == kPayload && (counter->fetch_add(1) + 1) % kAckEvery == 0) {
        dispatch_semaphore_signal(progress);
      }
    }
  });
  std::vector<uint8_t> payload(kPayload, 0x5a);
  auto send_one = [&] {
    xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_dictionary_set_data(message, "AUDIO_DATA", payload.data(), payload.size());
    xpc_connection_send_message(pair.client, message);
    xpc_release(message);
  };
  // Warm up: the connection is made on the first send.
  for (int i = 0; i < kAckEvery; ++i) {
    send_one();
  }
  dispatch_semaphore_wait(progress, DISPATCH_TIME_FOREVER);
  const int base = received.load();
  const auto start = Clock::now();
  for (int sent = 0; sent < kOneWayMessages; ++sent) {
    while (sent - (received.load(std::memory_order_relaxed) - base) >= kWindow) {
      dispatch_semaphore_wait(progress, dispatch_time(DISPATCH_TIME_NOW, NSEC_PER_MSEC));
    }
    send_one();
  }
  while (received.load() - base < kOneWayMessages) {
    dispatch_semaphore_wait(progress, dispatch_time(DISPATCH_TIME_NOW, NSEC_PER_MSEC));
  }
  const double rate = kOneWayMessages / seconds_since(start);
  const uint64_t dropped = harlune_xpc_connection_get_dropped_count(pair.client);
  if (dropped != 0) {
    std::printf("warning: %llu messages dropped\n", static_cast<unsigned long long>(dropped));
  }
  dispatch_release(progress);
  return rate;
}

Latency xpc_round_trip() {
  XpcPair pair(^(xpc_object_t event) {
    xpc_object_t reply = xpc_dictionary_create_reply(event);
    if (reply != nullptr) {
      xpc_dictionary_set_value(reply, "AUDIO_DATA", xpc_dictionary_get_value(event, "AUDIO_DATA"));
      xpc_connection_send_message(xpc_dictionary_get_remote_connection(event), reply);
      xpc_release(reply);
    }
  });
  std::vector<uint8_t> payload(kPayload, 0x5a);
  dispatch_semaphore_t answered = dispatch_semaphore_create(0);
  std::vector<double> samples;
  samples.reserve(kRoundTrips);
  for (int i = 0; i < kWarmUp + kRoundTrips; ++i) {
    const auto start = Clock::now();
    xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_dictionary_set_data(message, "AUDIO_DATA", payload.data(), payload.size());
    xpc_connection_send_message_with_reply(pair.client, message, nullptr, ^(xpc_object_t) {
      dispatch_semaphore_signal(answered);
    });
    xpc_release(message);
    dispatch_semaphore_wait(answered, DISPATCH_TIME_FOREVER);
    if (i >= kWarmUp) {
      samples.push_back(micros_since(start));
    }
  }
  dispatch_release(answered);
  return summarize(samples);
}

}  // namespace

int main() {
  const double raw_rate = raw_throughput();
  const double xpc_rate = xpc_throughput();
  std::printf("one-way, one 4 KiB data value per message (messages/s)\n");
  std::printf("  raw socket pair   %12.0f\n", raw_rate);
  std::printf("  compat/xpc        %12.0f\n", xpc_rate);
  std::printf("xpc_vs_socketpair_throughput_ratio: %.2f\n", xpc_rate / raw_rate);

  const Latency raw = raw_round_trip();
  const Latency xpc = xpc_round_trip();
  std::printf("round trip, 4 KiB each way (microseconds)      median      p99\n");
  std::printf("  raw socket pair ping-pong               %10.1f %8.1f\n", raw.median, raw.p99);
  std::printf("  compat/xpc send with reply              %10.1f %8.1f\n", xpc.median, xpc.p99);
  std::printf("xpc_vs_socketpair_roundtrip_ratio: %.2f\n", xpc.median / raw.median);
  return 0;
}
