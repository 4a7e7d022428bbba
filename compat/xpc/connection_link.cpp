// Making, linking, unlinking and cancelling message connections.

#include "connection_impl.h"

#include "error_objects.h"
#include "service_folder.h"

#include <Block.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <new>

namespace harlune::xpc {
namespace {

constexpr std::chrono::milliseconds kConnectRetryDelay{10};
constexpr uint32_t kReadEvents = EPOLLIN | EPOLLRDHUP;

void answer_abandoned(void* context) {
  xpc_handler_t handler = reinterpret_cast<xpc_handler_t>(context);
  handler(to_handle(connection_invalid_error()));
  Block_release(handler);
}

}  // namespace

Connection::Connection(Role role, std::string name, dispatch_queue_t target, int caller_references) noexcept
    : ConnectionBase(std::move(name), target, caller_references), role_(role) {}

Connection* Connection::make_named_client(const char* name, dispatch_queue_t target) noexcept {
  try {
    return new (std::nothrow) Connection(Role::named_client, name, target, 1);
  } catch (...) {
    return nullptr;
  }
}

Connection* Connection::make_endpoint_client(const EndpointObject& endpoint) noexcept {
  const int connector = fcntl(endpoint.connector(), F_DUPFD_CLOEXEC, 0);
  if (connector < 0) {
    return nullptr;
  }
  Connection* connection = new (std::nothrow) Connection(Role::endpoint_client, std::string(), nullptr, 1);
  if (connection == nullptr) {
    close(connector);
    return nullptr;
  }
  connection->connector_ = connector;
  return connection;
}

Connection* Connection::make_peer(int fd, const PeerCredentials& credentials) noexcept {
  Connection* connection = new (std::nothrow) Connection(Role::peer, std::string(), nullptr, 0);
  if (connection == nullptr) {
    close(fd);
    return nullptr;
  }
  connection->fd_ = fd;
  connection->peer_ = credentials;
  connection->link_ = Link::connected;
  connection->ever_connected_ = true;
  return connection;
}

Connection::~Connection() {
  // Only a connection that was never activated can still hold any of this:
  // an activated one lives until its final event, which settles it.
  for (auto& entry : pending_) {
    if (entry.second.queue != nullptr) {
      dispatch_release(entry.second.queue);
    }
    dispatch_async_f(dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), reinterpret_cast<void*>(entry.second.handler),
                     &answer_abandoned);
  }
  for (OutgoingFrame* frames : {head_, take_incoming()}) {
    while (frames != nullptr) {
      OutgoingFrame* next = frames->next;
      destroy_frame(frames);
      frames = next;
    }
  }
  reset_receive_state();
  if (fd_ >= 0) {
    close(fd_);
  }
  if (connector_ >= 0) {
    close(connector_);
  }
}

void Connection::activated() noexcept {
  if (role_ == Role::peer) {
    IoLoop::shared().post(this, kRegister);
  }
}

void Connection::resumed() noexcept {
  IoLoop::shared().request(this);
}

void Connection::cancelled() noexcept {
  std::unordered_map<uint64_t, PendingReply> pending;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    link_ = Link::ended;
    pending.swap(pending_);
  }
  close_incoming();
  // The queues and the socket are the loop's; it settles and closes them.
  IoLoop::shared().post(this, kClose);
  settle_pending(pending, connection_invalid_error());
  pump_.push_final(connection_invalid_error(), true);
}

void Connection::io_command(uint32_t command) noexcept {
  switch (command) {
    case kConnect:
      connect_now();
      break;
    case kRegister:
      update_interest();
      break;
    case kClose:
      close_socket();
      break;
    case kResumeReading:
      if (reading_paused_) {
        reading_paused_ = false;
        // Frames read before the pause come first; the socket may have
        // nothing more to announce them with.
        if (!parse_frames()) {
          drop_link(true);
          break;
        }
        update_interest();
      }
      break;
    default:
      break;
  }
}

void Connection::io_event(int fd, uint32_t events) noexcept {
  if (fd != fd_) {
    return;
  }
  if ((events & EPOLLOUT) != 0) {
    write_armed_ = false;
    write_blocked_ = false;
    update_interest();
    advance();
  }
  if ((events & (EPOLLIN | EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0) {
    const bool hung_up = (events & (EPOLLHUP | EPOLLERR)) != 0;
    // A peer that hung up may have left messages; read them all first.
    if (read_ready(hung_up) == Read::drained && hung_up) {
      drop_link(false);
    }
  }
}

void Connection::pump_drained() noexcept {
  IoLoop::shared().post(this, kResumeReading);
}

void Connection::update_interest() noexcept {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (fd_ < 0 || link_ != Link::connected) {
      return;
    }
  }
  IoLoop& loop = IoLoop::shared();
  if (reading_paused_) {
    // Hang-ups are reported whatever the interest, so a paused socket
    // leaves the loop altogether until the backlog drains.
    if (registered_) {
      loop.remove(fd_, this);
      registered_ = false;
    }
    return;
  }
  const uint32_t events = kReadEvents | (write_armed_ ? EPOLLOUT : 0u);
  if (registered_) {
    loop.modify(fd_, events, this);
  } else {
    registered_ = loop.add(fd_, events, this);
    if (!registered_) {
      drop_link(false);
    }
  }
}

void Connection::connect_now() noexcept {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (link_ != Link::connecting) {
      return;
    }
  }
  int fd = -1;
  PeerCredentials credentials;
  const Attempt attempt =
      role_ == Role::named_client ? connect_named(fd, credentials) : connect_endpoint(fd, credentials);
  if (attempt == Attempt::connected) {
    connect_attempts_ = 0;
    link_up(fd, credentials);
    return;
  }
  // Retried: a listener with a full backlog, or a process out of
  // descriptors for a moment.
  if (attempt == Attempt::retry && ++connect_attempts_ < kMaxConnectAttempts) {
    IoLoop::shared().post(this, kConnect, kConnectRetryDelay);
    return;
  }
  connect_attempts_ = 0;
  drop_link(false);
}

Connection::Attempt Connection::connect_named(int& fd, PeerCredentials& credentials) noexcept {
  sockaddr_un address{};
  socklen_t length = 0;
  if (!service_address(name(), address, length, nullptr)) {
    return Attempt::failed;
  }
  fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    return Attempt::retry;
  }
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
    const int error = errno;
    close(fd);
    fd = -1;
    return error == EAGAIN || error == EINTR ? Attempt::retry : Attempt::failed;
  }
  if (!read_peer_credentials(fd, credentials) || !same_user(credentials)) {
    close(fd);
    fd = -1;
    return Attempt::failed;
  }
  return Attempt::connected;
}

Connection::Attempt Connection::connect_endpoint(int& fd, PeerCredentials& credentials) noexcept {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0) {
    return Attempt::retry;
  }
  uint8_t request[wire::kConnectRequestSize];
  wire::put_u32(request, wire::kConnectMagic);
  wire::put_u32(request + 4, wire::kConnectVersion);
  iovec vector{request, sizeof request};
  const ssize_t sent = write_with_descriptors(connector_, &vector, 1, &pair[1], 1);
  const int error = errno;
  close(pair[1]);
  if (sent != static_cast<ssize_t>(sizeof request)) {
    close(pair[0]);
    return sent < 0 && (error == EAGAIN || error == EINTR) ? Attempt::retry : Attempt::failed;
  }
  // The connector was made by the listener's process: its credentials are
  // the listener's.
  if (!read_peer_credentials(connector_, credentials) || !same_user(credentials)) {
    close(pair[0]);
    return Attempt::failed;
  }
  fd = pair[0];
  return Attempt::connected;
}

void Connection::link_up(int fd, const PeerCredentials& credentials) noexcept {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (link_ != Link::connecting) {
      close(fd);  // Cancelled meanwhile.
      return;
    }
    fd_ = fd;
    peer_ = credentials;
    link_ = Link::connected;
    ever_connected_ = true;
  }
  write_blocked_ = false;
  write_armed_ = false;
  reading_paused_ = false;
  update_interest();
  advance();
}

void Connection::drop_link(bool malformed) noexcept {
  if (registered_) {
    IoLoop::shared().remove(fd_, this);
    registered_ = false;
  }
  write_armed_ = false;
  reading_paused_ = false;
  reset_receive_state();
  std::unordered_map<uint64_t, PendingReply> pending;
  bool final = true;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (link_ == Link::ended) {
      return;  // Cancelled: the pending kClose settles and closes.
    }
    if (fd_ >= 0) {
      close(fd_);
      fd_ = -1;
    }
    final = malformed || role_ != Role::named_client || !ever_connected_;
    link_ = final ? Link::ended : Link::idle;
    pending.swap(pending_);
  }
  if (final) {
    close_incoming();
  }
  ErrorObject* error = final ? connection_invalid_error() : connection_interrupted_error();
  // What was queued before the link ended is dropped; an interrupted
  // client sends what comes after on a new link.
  settle_pending(pending, error);
  settle_queues(error);
  if (final) {
    pump_.push_final(error, false);
  } else {
    pump_.push_event(error);
  }
}

void Connection::close_socket() noexcept {
  if (registered_) {
    IoLoop::shared().remove(fd_, this);
    registered_ = false;
  }
  reset_receive_state();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (fd_ >= 0) {
      close(fd_);
      fd_ = -1;
    }
  }
  settle_queues(connection_invalid_error());
  if (connector_ >= 0) {
    close(connector_);
    connector_ = -1;
  }
}

}  // namespace harlune::xpc
