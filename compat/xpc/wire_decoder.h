// The decoder: turns the body of a received frame, with the descriptors
// that came with it, back into a dictionary (see WIRE.md). It trusts
// nothing: every length, tag, index, descriptor and nesting level is
// checked, and anything malformed yields null without leaking.
//
// Thread safety: no shared state. Descriptors: the decoder takes those it
// puts into objects and sets their slots to -1; on success every slot has
// been taken (a descriptor left over is malformed); on failure the caller
// closes whatever slots are still >= 0.

#pragma once

#include "dictionary_impl.h"
#include "wire_format.h"

namespace harlune::xpc {

// What a decoded value costs beyond its bytes (object, entry, allocator),
// roughly: part of a message's footprint.
inline constexpr uint64_t kDecodedValueOverhead = 96;

// `footprint`, when given, receives what the message takes in memory once
// decoded, roughly: its bytes (body and sealed data) and a per-value
// overhead. Receive backlogs are bounded by it.
Dictionary* decode_body(const wire::FrameHeader& header, const uint8_t* body, int* descriptors,
                        uint64_t* footprint = nullptr) noexcept;

}  // namespace harlune::xpc
