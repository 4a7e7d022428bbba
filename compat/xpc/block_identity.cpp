// Comparing blocks by their code and captured values.

#include "block_identity.h"

#include <cstring>

namespace harlune::xpc {
namespace {

struct BlockDescriptor {
  unsigned long reserved;
  unsigned long size;  // The whole block literal, captures included.
};

struct BlockLayout {
  void* isa;
  int flags;  // Holds the reference count of heap blocks: never compared.
  int reserved;
  void (*invoke)(void*, ...);
  BlockDescriptor* descriptor;
};

const BlockLayout* layout_of(dispatch_block_t block) noexcept {
  return reinterpret_cast<const BlockLayout*>(block);
}

}  // namespace

bool blocks_interchangeable(dispatch_block_t a, dispatch_block_t b) noexcept {
  if (a == b) {
    return true;
  }
  if (a == nullptr || b == nullptr) {
    return false;
  }
  const BlockLayout* left = layout_of(a);
  const BlockLayout* right = layout_of(b);
  if (left->isa != right->isa || left->invoke != right->invoke || left->descriptor != right->descriptor ||
      left->descriptor == nullptr || left->descriptor->size < sizeof(BlockLayout)) {
    return false;
  }
  const std::size_t captured = left->descriptor->size - sizeof(BlockLayout);
  return std::memcmp(left + 1, right + 1, captured) == 0;
}

std::size_t block_size(dispatch_block_t block) noexcept {
  const BlockLayout* layout = layout_of(block);
  return layout != nullptr && layout->descriptor != nullptr ? layout->descriptor->size : 0;
}

}  // namespace harlune::xpc
