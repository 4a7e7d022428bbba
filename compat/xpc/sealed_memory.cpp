// Sealed memory files: memfd_create, write, seal, map read-only.

#include "sealed_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace harlune::xpc {
namespace {

constexpr int kRequiredSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

bool map_read_only(int fd, std::size_t length, const void** address) {
  void* mapping = mmap(nullptr, length, PROT_READ, MAP_SHARED, fd, 0);
  if (mapping == MAP_FAILED) {
    return false;
  }
  *address = mapping;
  return true;
}

}  // namespace

bool SealedMemory::create_copy(const void* bytes, std::size_t size) noexcept {
  if (size == 0) {
    return false;
  }
  const int file = memfd_create("xpc-data", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (file < 0) {
    return false;
  }
  // Written through write(), never through a writable mapping, so that the
  // write seal can be applied afterwards.
  const char* next = static_cast<const char*>(bytes);
  std::size_t left = size;
  while (left > 0) {
    const ssize_t written = write(file, next, left);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      close(file);
      return false;
    }
    next += written;
    left -= static_cast<std::size_t>(written);
  }
  const void* mapping = nullptr;
  if (fcntl(file, F_ADD_SEALS, kRequiredSeals | F_SEAL_SEAL) != 0 || !map_read_only(file, size, &mapping)) {
    close(file);
    return false;
  }
  fd = file;
  address = mapping;
  length = size;
  return true;
}

bool SealedMemory::adopt(int file, std::size_t size) noexcept {
  if (size == 0) {
    return false;
  }
  const int seals = fcntl(file, F_GET_SEALS);
  if (seals < 0 || (seals & kRequiredSeals) != kRequiredSeals) {
    return false;
  }
  struct stat status {};
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0 ||
      static_cast<unsigned long long>(status.st_size) < size) {
    return false;
  }
  const void* mapping = nullptr;
  if (!map_read_only(file, size, &mapping)) {
    return false;
  }
  fd = file;
  address = mapping;
  length = size;
  return true;
}

void SealedMemory::unmap() noexcept {
  if (address != nullptr) {
    munmap(const_cast<void*>(address), length);
  }
  if (fd >= 0) {
    close(fd);
  }
  fd = -1;
  address = nullptr;
  length = 0;
}

}  // namespace harlune::xpc
