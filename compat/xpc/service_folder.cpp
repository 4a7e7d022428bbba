// Resolving and checking the service folder.

#include "service_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace harlune::xpc {

bool valid_service_name(const char* name) noexcept {
  if (name == nullptr || name[0] == '\0' || name[0] == '.') {
    return false;
  }
  std::size_t length = 0;
  for (const char* c = name; *c != '\0'; ++c, ++length) {
    const bool allowed = (*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z') || (*c >= '0' && *c <= '9') ||
                         *c == '.' || *c == '-' || *c == '_';
    if (!allowed || length >= 64) {
      return false;
    }
  }
  return true;
}

bool service_folder(std::string& folder) noexcept {
  try {
    const char* configured = std::getenv("HARLUNE_XPC_SERVICE_DIR");
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (configured != nullptr && configured[0] != '\0') {
      folder = configured;
    } else if (runtime != nullptr && runtime[0] != '\0') {
      folder = std::string(runtime) + "/harlune-xpc";
    } else {
      folder = "/tmp/harlune-xpc-" + std::to_string(geteuid());
    }
  } catch (...) {
    return false;
  }
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    return false;
  }
  struct stat status {};
  return lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & 07777) == 0700;
}

bool service_address(const char* name, sockaddr_un& address, socklen_t& length, std::string* lock_path) noexcept {
  std::string folder;
  if (!valid_service_name(name) || !service_folder(folder)) {
    return false;
  }
  try {
    const std::string base = folder + "/" + name;
    const std::string socket_path = base + ".socket";
    if (socket_path.size() >= sizeof address.sun_path) {
      return false;
    }
    if (lock_path != nullptr) {
      *lock_path = base + ".lock";
    }
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socket_path.c_str(), socket_path.size() + 1);
    length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_path.size() + 1);
  } catch (...) {
    return false;
  }
  return true;
}

}  // namespace harlune::xpc
