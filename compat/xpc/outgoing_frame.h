// OutgoingFrame: one entry of a connection's send queue: an encoded message
// (its bytes and the descriptors that travel with it) or a barrier marker.
//
// A message frame is one allocation: the record, then the descriptor
// arrays, then the bytes. Its descriptors are borrowed from the objects
// they belong to (data, descriptor and endpoint objects), which the frame
// retains, so making a frame duplicates no descriptor. Thread safety: a
// frame is owned by one queue at a time and touched under that queue's
// rules. Lifetime: destroy_frame() frees it; a barrier's block is released
// there unless it was taken out to run.

#pragma once

#include "object_impl.h"

#include <dispatch/dispatch.h>

#include <cstdint>

namespace harlune::xpc {

struct OutgoingFrame {
  OutgoingFrame* next = nullptr;
  // Set on a barrier marker, which has no bytes.
  dispatch_block_t barrier = nullptr;
  // How many times the barrier runs: interchangeable barriers queued one
  // after another share one marker (see block_identity.h).
  uint32_t runs = 1;
  uint8_t* bytes = nullptr;
  uint32_t size = 0;
  // Bytes already handed to the socket.
  uint32_t written = 0;
  // What the frame counts against the queue's byte limit.
  uint64_t cost = 0;
  // A request's token: its reply handler waits under it (0: none).
  uint64_t reply_token = 0;
  int* descriptors = nullptr;
  Object** owners = nullptr;
  uint16_t descriptor_count = 0;
  // The descriptors went out with an earlier write.
  bool descriptors_sent = false;
};

// A message frame of `size` bytes and `descriptors` descriptor slots, all
// to be filled by the caller; null when out of memory.
OutgoingFrame* make_message_frame(uint32_t size, uint16_t descriptors) noexcept;
// A barrier marker holding a copy of `block`, costing what the marker and
// the copy take; null when out of memory.
OutgoingFrame* make_barrier_frame(dispatch_block_t block) noexcept;
// Releases the owners (and a barrier's block) and frees the frame.
void destroy_frame(OutgoingFrame* frame) noexcept;

}  // namespace harlune::xpc
