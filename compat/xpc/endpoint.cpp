// Endpoint objects and xpc_endpoint_create.

#include "endpoint_impl.h"

#include "listener.h"
#include "socket_io.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <new>

namespace harlune::xpc {

EndpointObject* EndpointObject::adopt(int connector) noexcept {
  return new (std::nothrow) EndpointObject(connector);
}

bool EndpointObject::is_connector(int fd) noexcept {
  return is_unix_socket(fd, SOCK_SEQPACKET);
}

EndpointObject::~EndpointObject() {
  close(connector_);
}

void EndpointObject::describe(std::string& out, int) const {
  describe_header(out, *this);
}

}  // namespace harlune::xpc

using namespace harlune::xpc;

extern "C" xpc_endpoint_t xpc_endpoint_create(xpc_connection_t connection) noexcept {
  ConnectionBase* base = handle_as<ConnectionBase>(connection);
  Listener* listener = dynamic_cast<Listener*>(base);
  if (listener == nullptr) {
    return nullptr;
  }
  return static_cast<xpc_endpoint_t>(to_handle(listener->make_endpoint()));
}
