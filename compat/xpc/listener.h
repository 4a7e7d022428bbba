// Listener: a connection that receives peers instead of messages: the
// listener of a named service, or an anonymous listener reachable only
// through endpoints.
//
// Every listener owns a SOCK_SEQPACKET socket pair, the connector: it reads
// one end, and each endpoint made from it holds a duplicate of the other.
// A client connects by sending a stream socket over an endpoint (see
// WIRE.md); a named listener also accepts on a socket in the service
// folder. Each new peer, after its credentials are checked, is handed to
// the event handler as a suspended Connection. On activation the loop
// thread publishes the name (an error there ends the listener with
// XPC_ERROR_CONNECTION_INVALID); on cancellation it unpublishes it and
// closes both sockets, after which every endpoint is dead.
//
// Thread safety: public members from any thread; io_* on the loop thread,
// which alone owns the sockets after activation. Lifetime: as for every
// connection (ConnectionBase); peers hold no reference to their listener.

#pragma once

#include "connection_base.h"
#include "endpoint_impl.h"

namespace harlune::xpc {

class Listener final : public ConnectionBase {
 public:
  static Listener* make_named(const char* name, dispatch_queue_t target) noexcept;
  static Listener* make_anonymous(dispatch_queue_t target) noexcept;

  // A new endpoint of this listener, or null once it is cancelled or when
  // out of descriptors.
  EndpointObject* make_endpoint() noexcept;

  void io_event(int fd, uint32_t events) noexcept override;
  void io_command(uint32_t command) noexcept override;
  void pump_drained() noexcept override;

 private:
  enum Command : uint32_t { kStart, kStop, kResume };

  Listener(std::string name, dispatch_queue_t target, int connector_read, int connector_give) noexcept;
  ~Listener() override;
  static Listener* make(std::string name, dispatch_queue_t target) noexcept;

  void activated() noexcept override;
  void cancelled() noexcept override;

  // Loop thread.
  void start() noexcept;
  bool publish() noexcept;
  void stop() noexcept;
  void accept_peers() noexcept;
  void receive_requests() noexcept;
  void offer(int fd, const PeerCredentials& credentials) noexcept;
  void set_paused(bool paused) noexcept;
  void pause_briefly() noexcept;

  const bool named_;
  int connector_read_;
  int connector_give_;  // mutex_: endpoints are made from any thread.
  int listen_fd_ = -1;
  int lock_fd_ = -1;
  std::string socket_path_;
  bool started_ = false;
  bool stopped_ = false;
  bool paused_ = false;
};

}  // namespace harlune::xpc
