// Fuzz target for the xpc wire decoder: one frame, as a connection would
// read it, with a few real descriptors standing in for those that came
// with it.
//
// Input: byte 0 describes the descriptors: bits 0-1 give how many (0 to 3),
// and bits 2-3, 4-5, 6-7 the kind of each (0 pipe, 1 sealed memory file of
// 64 bytes, 2 connector socket, 3 stream socket). The rest is the frame:
// its 24-byte header, then the body. The decoder must refuse or accept it
// without crashing, leaking or reading out of bounds; whatever it accepts
// must encode again.

#include "compat/xpc/sealed_memory.h"
#include "compat/xpc/wire_decoder.h"
#include "compat/xpc/wire_encoder.h"
#include "compat/xpc/wire_format.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

using namespace harlune::xpc;

int make_descriptor(unsigned kind) {
  switch (kind) {
    case 0: {
      int ends[2];
      if (pipe2(ends, O_CLOEXEC) != 0) {
        return -1;
      }
      close(ends[1]);
      return ends[0];
    }
    case 1: {
      static const uint8_t bytes[64] = {1, 2, 3};
      SealedMemory memory;
      if (!memory.create_copy(bytes, sizeof bytes)) {
        return -1;
      }
      const int fd = fcntl(memory.fd, F_DUPFD_CLOEXEC, 0);
      memory.unmap();
      return fd;
    }
    default: {
      int pair[2];
      if (socketpair(AF_UNIX, (kind == 2 ? SOCK_SEQPACKET : SOCK_STREAM) | SOCK_CLOEXEC, 0, pair) != 0) {
        return -1;
      }
      close(pair[1]);
      return pair[0];
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 + wire::kHeaderSize) {
    return 0;
  }
  wire::FrameHeader header;
  if (!wire::read_header(data + 1, header)) {
    return 0;
  }
  const uint8_t* body = data + 1 + wire::kHeaderSize;
  const size_t available = size - 1 - wire::kHeaderSize;
  if (available < header.body_length) {
    return 0;
  }
  std::vector<int> descriptors(header.descriptors, -1);
  const unsigned made = data[0] & 3u;
  for (unsigned i = 0; i < made && i < descriptors.size(); ++i) {
    descriptors[i] = make_descriptor((data[0] >> (2 + 2 * i)) & 3u);
  }
  // The decoder reads only within body_length; copy exactly that much so
  // the sanitizer catches any read beyond it.
  std::vector<uint8_t> exact(body, body + header.body_length);
  Dictionary* message = decode_body(header, exact.data(), descriptors.data());
  for (int fd : descriptors) {
    if (fd >= 0) {
      close(fd);
    }
  }
  if (message != nullptr) {
    EncodeStatus status = EncodeStatus::ok;
    OutgoingFrame* frame = encode_frame(*message, header.kind, (header.flags & wire::kWantsReply) != 0,
                                        header.token, status);
    if (frame == nullptr && status != EncodeStatus::no_memory) {
      std::abort();  // Whatever was accepted must be sendable again.
    }
    destroy_frame(frame);
    message->release();
  }
  return 0;
}
