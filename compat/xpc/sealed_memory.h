// SealedMemory: a read-only mapping of a sealed memory file, the form in
// which large data is kept and travels between processes without passing
// through the socket.
//
// A sealed file cannot be written, grown or shrunk by anyone, so a mapping
// of it stays valid and unchanged whatever the process that made it does.
// Thread safety: a SealedMemory is a plain value; the functions are
// thread-safe. Lifetime: the owner calls unmap() once.

#pragma once

#include <cstddef>

namespace harlune::xpc {

struct SealedMemory {
  int fd = -1;
  const void* address = nullptr;
  std::size_t length = 0;

  // Copies `length` (> 0) bytes into a new sealed memory file and maps it.
  // False (and nothing held) when the system refuses.
  bool create_copy(const void* bytes, std::size_t length) noexcept;

  // Takes `fd`, received from a peer, after checking that it is a memory
  // file sealed against writing, growing and shrinking and holding at least
  // `length` (> 0) bytes, and maps it. False when it is not; `fd` then
  // stays the caller's.
  bool adopt(int fd, std::size_t length) noexcept;

  // Unmaps and closes.
  void unmap() noexcept;
};

}  // namespace harlune::xpc
