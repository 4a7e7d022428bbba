// Shared helpers for the xpc tests: an isolated service folder per test,
// an event recorder for connection handlers, bounded waits, and starting
// the test peer program.
//
// Every wait is bounded by kBound (see dispatch_test_support.h), so a broken
// transport fails a test instead of hanging it.

#pragma once

#include "dispatch_test_support.h"

#include <xpc/xpc.h>

#include <gtest/gtest.h>

#include <dirent.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

extern char** environ;

namespace harlune::test {

// A private temporary folder (under HARLUNE_TEST_TMP, else TMPDIR, else
// /tmp), removed with everything in it when the scope ends.
class TempFolder {
 public:
  TempFolder() {
    const char* base = std::getenv("HARLUNE_TEST_TMP");
    if (base == nullptr || base[0] == '\0') {
      base = std::getenv("TMPDIR");
    }
    std::string pattern = std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/xpc-test.XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    path_ = mkdtemp(buffer.data()) != nullptr ? buffer.data() : "";
  }
  ~TempFolder() { remove_tree(path_); }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }

  static void remove_tree(const std::string& path) {
    if (path.empty()) {
      return;
    }
    if (DIR* folder = opendir(path.c_str())) {
      while (dirent* entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") {
          continue;
        }
        const std::string child = path + "/" + name;
        struct stat status {};
        if (lstat(child.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
          remove_tree(child);
        } else {
          unlink(child.c_str());
        }
      }
      closedir(folder);
    }
    rmdir(path.c_str());
  }

 private:
  std::string path_;
};

// Points the service folder of this process (and of the peers it starts) at
// a fresh private folder for the scope's duration.
class ScopedServiceFolder {
 public:
  ScopedServiceFolder() : folder_(folder_root_.path() + "/services") {
    mkdir(folder_.c_str(), 0700);
    setenv("HARLUNE_XPC_SERVICE_DIR", folder_.c_str(), 1);
  }
  ~ScopedServiceFolder() { unsetenv("HARLUNE_XPC_SERVICE_DIR"); }

  const std::string& path() const { return folder_; }

 private:
  TempFolder folder_root_;
  std::string folder_;
};

// Records what a handler is given, in order, and lets a test wait for it.
// Events are retained (errors are immortal, so compare them by identity).
// Thread-safe; also notes whether two calls ever overlapped. Copies share
// one record, so a block may capture a log by value.
class EventLog {
 public:
  EventLog() : state_(std::make_shared<State>()) {}

  void record(xpc_object_t event) const {
    State& s = *state_;
    if (s.inside.fetch_add(1) != 0) {
      s.overlapped = true;
    }
    {
      std::lock_guard<std::mutex> lock(s.mutex);
      s.events.push_back(xpc_retain(event));
    }
    std::this_thread::yield();
    s.inside.fetch_sub(1);
    dispatch_semaphore_signal(s.signal);
  }

  // Makes this log the event handler of `connection`.
  void attach(xpc_connection_t connection) const {
    EventLog log = *this;
    xpc_connection_set_event_handler(connection, ^(xpc_object_t event) {
      log.record(event);
    });
  }

  // Waits until `count` events have arrived in total.
  bool wait_for(std::size_t count) const {
    for (;;) {
      if (size() >= count) {
        return true;
      }
      if (!wait_bounded(state_->signal)) {
        return size() >= count;
      }
    }
  }

  std::size_t size() const {
    std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->events.size();
  }
  xpc_object_t at(std::size_t index) const {
    std::lock_guard<std::mutex> lock(state_->mutex);
    return index < state_->events.size() ? state_->events[index] : nullptr;
  }
  std::size_t count_of(xpc_object_t error) const {
    std::lock_guard<std::mutex> lock(state_->mutex);
    std::size_t count = 0;
    for (xpc_object_t event : state_->events) {
      count += event == error ? 1 : 0;
    }
    return count;
  }
  bool overlapped() const { return state_->overlapped; }

 private:
  struct State {
    State() : signal(dispatch_semaphore_create(0)) {}
    ~State() {
      // The last copy may go on a thread that never recorded anything,
      // after the recording threads dropped their copies inside the blocks
      // runtime, whose reference counts ThreadSanitizer cannot see; the
      // lock makes the order visible to it.
      std::lock_guard<std::mutex> lock(mutex);
      for (xpc_object_t event : events) {
        xpc_release(event);
      }
      dispatch_release(signal);
    }
    std::mutex mutex;
    std::vector<xpc_object_t> events;
    dispatch_semaphore_t signal;
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};
  };
  std::shared_ptr<State> state_;
};

// A unique service name for this process and call.
inline std::string service_name(const char* purpose) {
  static std::atomic<int> counter{0};
  return std::string("test.") + purpose + "." + std::to_string(getpid()) + "." + std::to_string(counter++);
}

// Makes, resumes and returns a listener whose handler resumes every peer
// with `peer_handler` (a block copy kept by each peer). Events other than
// peers go to `listener_log` when given.
inline xpc_connection_t start_listener(xpc_connection_t listener, xpc_handler_t peer_handler,
                                       const EventLog* listener_log = nullptr) {
  std::shared_ptr<EventLog> log = listener_log != nullptr ? std::make_shared<EventLog>(*listener_log) : nullptr;
  xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
    if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
      xpc_connection_t peer = static_cast<xpc_connection_t>(event);
      xpc_connection_set_event_handler(peer, peer_handler);
      xpc_connection_resume(peer);
    }
    if (log != nullptr) {
      log->record(event);
    }
  });
  xpc_connection_resume(listener);
  return listener;
}

// What an echo service does with an event: a message that expects a reply
// is answered with a copy of its entries plus "echoed" = true.
inline void echo(xpc_object_t event) {
  if (xpc_get_type(event) != XPC_TYPE_DICTIONARY) {
    return;
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

// Sends `message` with a reply handler and waits for the reply (or error),
// which the caller releases. Null on timeout.
inline xpc_object_t send_and_wait(xpc_connection_t connection, xpc_object_t message) {
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  __block xpc_object_t result = nullptr;
  xpc_connection_send_message_with_reply(connection, message, nullptr, ^(xpc_object_t reply) {
    result = xpc_retain(reply);
    dispatch_semaphore_signal(done);
  });
  const bool answered = wait_bounded(done);
  dispatch_release(done);
  return answered ? result : nullptr;
}

// The test peer program (tests/compat/peer/xpc_test_peer.cpp), started with
// `arguments`; killed and reaped when the scope ends if still running.
class PeerProcess {
 public:
  explicit PeerProcess(std::vector<std::string> arguments) {
    std::string program = std::string(HARLUNE_BUILD_DIR) + "/bin/xpc_test_peer";
    arguments.insert(arguments.begin(), program);
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
      argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    if (posix_spawn(&pid_, program.c_str(), nullptr, nullptr, argv.data(), environ) != 0) {
      pid_ = -1;
    }
  }
  ~PeerProcess() {
    if (pid_ > 0 && !reaped_) {
      kill(pid_, SIGKILL);
      int status = 0;
      waitpid(pid_, &status, 0);
    }
  }
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  pid_t pid() const { return pid_; }

  // Waits (bounded) for the peer to exit; its exit code, or -1.
  int wait_exit() {
    return eventually([this] { return poll_exit(); }) ? exit_code_ : -1;
  }

 private:
  bool poll_exit() {
    if (reaped_) {
      return true;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      reaped_ = true;
      exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return reaped_;
  }

  pid_t pid_ = -1;
  bool reaped_ = false;
  int exit_code_ = -1;
};

// Waits (bounded) until the named service accepts connections on its
// socket (a socket file alone may be one left by a dead listener).
inline bool service_published(const ScopedServiceFolder& folder, const std::string& name) {
  const std::string path = folder.path() + "/" + name + ".socket";
  return eventually([&] {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool accepted = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return accepted;
  });
}

// Threads named like the transport's, in this process.
inline int transport_threads() {
  int count = 0;
  if (DIR* tasks = opendir("/proc/self/task")) {
    while (dirent* task = readdir(tasks)) {
      char name[32] = {};
      const std::string path = std::string("/proc/self/task/") + task->d_name + "/comm";
      if (FILE* comm = std::fopen(path.c_str(), "r")) {
        count += std::fgets(name, sizeof name, comm) != nullptr && std::strncmp(name, "xpc.io", 6) == 0 ? 1 : 0;
        std::fclose(comm);
      }
    }
    closedir(tasks);
  }
  return count;
}

}  // namespace harlune::test
