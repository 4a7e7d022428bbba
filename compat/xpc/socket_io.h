// Socket helpers of the transport: writing and reading with descriptors
// attached, and the credentials of the process at the other end.
//
// Thread safety: plain functions over descriptors the caller owns.

#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
#include <deque>

namespace harlune::xpc {

// Descriptors the kernel passes with one sendmsg at most (SCM_MAX_FD).
inline constexpr std::size_t kMaxDescriptorsPerWrite = 253;

struct PeerCredentials {
  pid_t pid = 0;
  uid_t uid = 0;
  gid_t gid = 0;
};

// The credentials recorded for the other end of a Unix-domain socket (for a
// socket pair, those of the process that made it). False when unknown.
bool read_peer_credentials(int fd, PeerCredentials& credentials) noexcept;
// True when the other end runs as this process's effective user.
bool same_user(const PeerCredentials& credentials) noexcept;

// sendmsg without blocking or SIGPIPE, with `count` descriptors attached.
// Returns what sendmsg returns.
ssize_t write_with_descriptors(int fd, const iovec* vectors, int vector_count, const int* descriptors,
                               std::size_t count) noexcept;

// recvmsg without blocking; received descriptors (close-on-exec) are
// appended to `descriptors`. `truncated` is set when the kernel dropped
// descriptors or ancillary data. Returns what recvmsg returns.
ssize_t read_with_descriptors(int fd, void* buffer, std::size_t length, std::deque<int>& descriptors,
                              bool& truncated) noexcept;

// True when `fd` is a Unix-domain socket of `type` (SOCK_STREAM, ...).
bool is_unix_socket(int fd, int type) noexcept;

}  // namespace harlune::xpc
