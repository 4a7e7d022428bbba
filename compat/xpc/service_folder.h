// The service folder: where named services publish their sockets.
//
// $HARLUNE_XPC_SERVICE_DIR when set (tests isolate themselves with it),
// else $XDG_RUNTIME_DIR/harlune-xpc, else /tmp/harlune-xpc-UID. A missing
// folder is created with mode 0700 (its parent must exist). The folder is
// refused unless it is a real folder (not a link) owned by the effective
// user with mode exactly 0700, so no other user can reach or replace a
// socket in it. Never the abstract socket namespace.
//
// A service NAME has the socket NAME.socket and the lock file NAME.lock,
// which its listener holds (flock) while it publishes, so two listeners
// never share a name and a socket left by a dead listener is replaced.
//
// Thread safety: plain functions; the environment is read on each call.

#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

namespace harlune::xpc {

// Letters, digits, '.', '-' and '_', not starting with '.', 1 to 64 bytes.
bool valid_service_name(const char* name) noexcept;

// The checked folder; false when it is refused or cannot be made.
bool service_folder(std::string& folder) noexcept;

// The socket address of service `name`, and the path of its lock file.
// False for an invalid name, a refused folder or a path too long for a
// socket address.
bool service_address(const char* name, sockaddr_un& address, socklen_t& length, std::string* lock_path) noexcept;

}  // namespace harlune::xpc
