// EndpointObject: the capability to connect to one listener
// (XPC_TYPE_ENDPOINT).
//
// It owns one end of a SOCK_SEQPACKET socket pair whose other end the
// listener reads (see listener.h). Connecting sends a fresh stream socket
// over it; sending the endpoint to another process passes the descriptor.
// Thread safety: immutable. Lifetime: reference counted; the descriptor is
// closed with the object.

#pragma once

#include "object_impl.h"

namespace harlune::xpc {

class EndpointObject final : public Object {
 public:
  static constexpr xpc_type_t kType = XPC_TYPE_ENDPOINT;

  // Takes over `connector`; null when out of memory (the caller still owns
  // it then).
  static EndpointObject* adopt(int connector) noexcept;
  // True when `fd` can be an endpoint: a Unix-domain SOCK_SEQPACKET socket.
  static bool is_connector(int fd) noexcept;

  int connector() const noexcept { return connector_; }

  void describe(std::string& out, int depth) const override;

 private:
  explicit EndpointObject(int connector) noexcept : Object(kType, Lifetime::counted), connector_(connector) {}
  ~EndpointObject() override;

  const int connector_;
};

}  // namespace harlune::xpc
