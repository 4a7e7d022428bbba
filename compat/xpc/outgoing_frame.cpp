// Outgoing frames: allocation and disposal.

#include "outgoing_frame.h"

#include "block_identity.h"

#include <Block.h>

#include <cstdlib>
#include <new>

namespace harlune::xpc {

OutgoingFrame* make_message_frame(uint32_t size, uint16_t descriptors) noexcept {
  const std::size_t total = sizeof(OutgoingFrame) + descriptors * (sizeof(Object*) + sizeof(int)) + size;
  void* memory = std::malloc(total);
  if (memory == nullptr) {
    return nullptr;
  }
  auto* frame = new (memory) OutgoingFrame();
  auto* cursor = static_cast<uint8_t*>(memory) + sizeof(OutgoingFrame);
  frame->owners = reinterpret_cast<Object**>(cursor);
  cursor += descriptors * sizeof(Object*);
  frame->descriptors = reinterpret_cast<int*>(cursor);
  cursor += descriptors * sizeof(int);
  frame->bytes = cursor;
  frame->size = size;
  frame->descriptor_count = descriptors;
  frame->cost = size;
  for (uint16_t i = 0; i < descriptors; ++i) {
    frame->owners[i] = nullptr;
    frame->descriptors[i] = -1;
  }
  return frame;
}

OutgoingFrame* make_barrier_frame(dispatch_block_t block) noexcept {
  void* memory = std::malloc(sizeof(OutgoingFrame));
  if (memory == nullptr) {
    return nullptr;
  }
  auto* frame = new (memory) OutgoingFrame();
  frame->barrier = Block_copy(block);
  frame->cost = sizeof(OutgoingFrame) + block_size(frame->barrier);
  return frame;
}

void destroy_frame(OutgoingFrame* frame) noexcept {
  if (frame == nullptr) {
    return;
  }
  for (uint16_t i = 0; i < frame->descriptor_count; ++i) {
    if (frame->owners[i] != nullptr) {
      frame->owners[i]->release();
    }
  }
  if (frame->barrier != nullptr) {
    Block_release(frame->barrier);
  }
  frame->~OutgoingFrame();
  std::free(frame);
}

}  // namespace harlune::xpc
