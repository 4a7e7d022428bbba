// The encoder: turns a message dictionary into an outgoing frame (see
// WIRE.md). Data of DataObject::kSealedThreshold bytes or more travels as a
// sealed memory file; a body that would still exceed the inline limit goes
// out of line whole.
//
// Thread safety: reads the dictionary, which must not change meanwhile.
// Allocates the frame (one allocation for an ordinary message).

#pragma once

#include "dictionary_impl.h"
#include "outgoing_frame.h"

namespace harlune::xpc {

enum class EncodeStatus {
  ok,
  // Holds a connection, an error or nesting deeper than the wire allows.
  unencodable,
  // Over the message size, value or descriptor limit.
  too_large,
  no_memory,
};

// `token` is the reply token of a request (with `wants_reply`) or of the
// request a reply answers (kind kReply); 0 otherwise.
OutgoingFrame* encode_frame(const Dictionary& message, uint8_t kind, bool wants_reply, uint64_t token,
                            EncodeStatus& status) noexcept;

}  // namespace harlune::xpc
