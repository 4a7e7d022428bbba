// Listeners: publishing a name, accepting peers, answering endpoint
// connection requests.

#include "listener.h"

#include "connection_impl.h"
#include "error_objects.h"
#include "service_folder.h"
#include "wire_format.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <new>

namespace harlune::xpc {
namespace {

constexpr int kAcceptsPerEvent = 64;
// Out of descriptors: wait this long before accepting again, rather than
// spinning on a socket that stays readable.
constexpr std::chrono::milliseconds kAcceptBackoff{100};

}  // namespace

Listener::Listener(std::string name, dispatch_queue_t target, int connector_read, int connector_give) noexcept
    : ConnectionBase(std::move(name), target, 1),
      named_(this->name() != nullptr),
      connector_read_(connector_read),
      connector_give_(connector_give) {}

Listener* Listener::make(std::string name, dispatch_queue_t target) noexcept {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0) {
    return nullptr;
  }
  Listener* listener = new (std::nothrow) Listener(std::move(name), target, pair[0], pair[1]);
  if (listener == nullptr) {
    close(pair[0]);
    close(pair[1]);
  }
  return listener;
}

Listener* Listener::make_named(const char* name, dispatch_queue_t target) noexcept {
  try {
    return make(name, target);
  } catch (...) {
    return nullptr;
  }
}

Listener* Listener::make_anonymous(dispatch_queue_t target) noexcept {
  return make(std::string(), target);
}

Listener::~Listener() {
  // The loop closed everything if the listener ever ran; otherwise it is
  // still here.
  if (connector_read_ >= 0) {
    close(connector_read_);
  }
  if (connector_give_ >= 0) {
    close(connector_give_);
  }
}

EndpointObject* Listener::make_endpoint() noexcept {
  int copy = -1;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (connector_give_ < 0 || cancelled_) {
      return nullptr;
    }
    copy = fcntl(connector_give_, F_DUPFD_CLOEXEC, 0);
  }
  if (copy < 0) {
    return nullptr;
  }
  EndpointObject* endpoint = EndpointObject::adopt(copy);
  if (endpoint == nullptr) {
    close(copy);
  }
  return endpoint;
}

void Listener::activated() noexcept {
  IoLoop::shared().post(this, kStart);
}

void Listener::cancelled() noexcept {
  IoLoop::shared().post(this, kStop);
  pump_.push_final(connection_invalid_error(), true);
}

void Listener::pump_drained() noexcept {
  IoLoop::shared().post(this, kResume);
}

void Listener::io_command(uint32_t command) noexcept {
  switch (command) {
    case kStart:
      start();
      break;
    case kStop:
      stop();
      break;
    case kResume:
      if (paused_ && !stopped_) {
        set_paused(false);
      }
      break;
    default:
      break;
  }
}

void Listener::io_event(int fd, uint32_t) noexcept {
  if (stopped_ || paused_) {
    return;
  }
  if (fd == listen_fd_) {
    accept_peers();
  } else if (fd == connector_read_) {
    receive_requests();
  }
}

void Listener::start() noexcept {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (cancelled_ || started_) {
      return;
    }
  }
  started_ = true;
  if (named_ && !publish()) {
    stop();
    pump_.push_final(connection_invalid_error(), false);
    return;
  }
  set_paused(false);
}

bool Listener::publish() noexcept {
  sockaddr_un address{};
  socklen_t length = 0;
  std::string lock_path;
  if (!service_address(name(), address, length, &lock_path)) {
    return false;
  }
  lock_fd_ = open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (lock_fd_ < 0) {
    return false;
  }
  // Held for as long as the name is published: another live listener
  // keeps us out, and a socket left by a dead one may be replaced.
  if (flock(lock_fd_, LOCK_EX | LOCK_NB) != 0) {
    return false;
  }
  unlink(address.sun_path);
  listen_fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (listen_fd_ < 0) {
    return false;
  }
  if (bind(listen_fd_, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
    return false;
  }
  try {
    socket_path_ = address.sun_path;
  } catch (...) {
    unlink(address.sun_path);
    return false;
  }
  return listen(listen_fd_, SOMAXCONN) == 0;
}

void Listener::stop() noexcept {
  if (stopped_) {
    return;
  }
  stopped_ = true;
  IoLoop& loop = IoLoop::shared();
  if (listen_fd_ >= 0) {
    loop.remove(listen_fd_, this);
    // Unpublished before the lock goes, so a successor's socket is safe.
    if (!socket_path_.empty()) {
      unlink(socket_path_.c_str());
    }
    close(listen_fd_);
    listen_fd_ = -1;
  }
  if (lock_fd_ >= 0) {
    close(lock_fd_);
    lock_fd_ = -1;
  }
  if (connector_read_ >= 0) {
    loop.remove(connector_read_, this);
    close(connector_read_);
    connector_read_ = -1;
  }
  int give = -1;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    give = connector_give_;
    connector_give_ = -1;
  }
  if (give >= 0) {
    close(give);
  }
}

void Listener::set_paused(bool paused) noexcept {
  paused_ = paused;
  IoLoop& loop = IoLoop::shared();
  for (int fd : {listen_fd_, connector_read_}) {
    if (fd < 0) {
      continue;
    }
    if (paused) {
      loop.remove(fd, this);
    } else if (!loop.add(fd, EPOLLIN, this)) {
      pause_briefly();
      return;
    }
  }
}

void Listener::pause_briefly() noexcept {
  set_paused(true);
  IoLoop::shared().post(this, kResume, kAcceptBackoff);
}

void Listener::accept_peers() noexcept {
  for (int i = 0; i < kAcceptsPerEvent && !paused_; ++i) {
    const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) {
        continue;
      }
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        pause_briefly();
      }
      return;
    }
    PeerCredentials credentials;
    if (!read_peer_credentials(fd, credentials) || !same_user(credentials)) {
      close(fd);
      continue;
    }
    offer(fd, credentials);
  }
}

void Listener::receive_requests() noexcept {
  for (int i = 0; i < kAcceptsPerEvent && !paused_; ++i) {
    uint8_t request[16];
    std::deque<int> descriptors;
    bool truncated = false;
    const ssize_t count = read_with_descriptors(connector_read_, request, sizeof request, descriptors, truncated);
    if (count < 0) {
      if (errno == EINTR) {
        continue;
      }
      return;
    }
    const bool valid = !truncated && count == static_cast<ssize_t>(wire::kConnectRequestSize) &&
                       wire::get_u32(request) == wire::kConnectMagic &&
                       wire::get_u32(request + 4) == wire::kConnectVersion && descriptors.size() == 1 &&
                       is_unix_socket(descriptors.front(), SOCK_STREAM);
    PeerCredentials credentials;
    // The socket pair was made by the connecting process: its credentials
    // are the client's.
    if (!valid || !read_peer_credentials(descriptors.front(), credentials) || !same_user(credentials)) {
      for (int fd : descriptors) {
        close(fd);
      }
      continue;
    }
    const int fd = descriptors.front();
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    offer(fd, credentials);
  }
}

void Listener::offer(int fd, const PeerCredentials& credentials) noexcept {
  Connection* peer = Connection::make_peer(fd, credentials);
  if (peer != nullptr && !pump_.push_event(peer)) {
    set_paused(true);  // Resumed by pump_drained().
  }
}

}  // namespace harlune::xpc
