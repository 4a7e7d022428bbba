// sendmsg/recvmsg with SCM_RIGHTS, SO_PEERCRED.

#include "socket_io.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace harlune::xpc {

bool read_peer_credentials(int fd, PeerCredentials& credentials) noexcept {
  ucred peer{};
  socklen_t length = sizeof peer;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || length != sizeof peer) {
    return false;
  }
  credentials.pid = peer.pid;
  credentials.uid = peer.uid;
  credentials.gid = peer.gid;
  return true;
}

bool same_user(const PeerCredentials& credentials) noexcept {
  return credentials.uid == geteuid();
}

ssize_t write_with_descriptors(int fd, const iovec* vectors, int vector_count, const int* descriptors,
                               std::size_t count) noexcept {
  msghdr message{};
  message.msg_iov = const_cast<iovec*>(vectors);
  message.msg_iovlen = static_cast<std::size_t>(vector_count);
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * kMaxDescriptorsPerWrite)];
  if (count > 0) {
    message.msg_control = control;
    message.msg_controllen = CMSG_SPACE(sizeof(int) * count);
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int) * count);
    std::memcpy(CMSG_DATA(header), descriptors, sizeof(int) * count);
  }
  return sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
}

ssize_t read_with_descriptors(int fd, void* buffer, std::size_t length, std::deque<int>& descriptors,
                              bool& truncated) noexcept {
  iovec vector{buffer, length};
  msghdr message{};
  message.msg_iov = &vector;
  message.msg_iovlen = 1;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * kMaxDescriptorsPerWrite)];
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t received = recvmsg(fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (received < 0) {
    return received;
  }
  truncated = (message.msg_flags & MSG_CTRUNC) != 0;
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
    if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) {
      truncated = true;  // Nothing else is ever sent; treat it as garbage.
      continue;
    }
    const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int received_fd;
      std::memcpy(&received_fd, CMSG_DATA(header) + i * sizeof(int), sizeof(int));
      try {
        descriptors.push_back(received_fd);
      } catch (...) {
        close(received_fd);
        truncated = true;
      }
    }
  }
  return received;
}

bool is_unix_socket(int fd, int type) noexcept {
  int value = 0;
  socklen_t length = sizeof value;
  if (getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &value, &length) != 0 || value != AF_UNIX) {
    return false;
  }
  length = sizeof value;
  return getsockopt(fd, SOL_SOCKET, SO_TYPE, &value, &length) == 0 && value == type;
}

}  // namespace harlune::xpc
