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

Dictionary* decode_body(const wire::FrameHeader& header, const uint8_t* body, int* descriptors) noexcept;

}  // namespace harlune::xpc
