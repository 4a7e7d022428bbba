// The receive path, on the loop thread: read in chunks, split into frames,
// decode, deliver.

#include "connection_impl.h"

#include "wire_decoder.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace harlune::xpc {
namespace {

constexpr int kReadRounds = 8;

}  // namespace

void Connection::reset_receive_state() noexcept {
  for (int fd : received_descriptors_) {
    close(fd);
  }
  received_descriptors_.clear();
  std::vector<uint8_t>().swap(receive_buffer_);
  receive_start_ = receive_end_ = 0;
}

Connection::Read Connection::read_ready(bool to_end) noexcept {
  for (int round = 0; round < kReadRounds || to_end; ++round) {
    if (reading_paused_) {
      return Read::paused;
    }
    if (fd_ < 0) {
      return Read::ended;
    }
    try {
      if (receive_buffer_.size() < kReadChunk) {
        receive_buffer_.resize(kReadChunk);
      }
    } catch (...) {
      return Read::more;  // Out of memory: leave the bytes in the socket.
    }
    if (receive_buffer_.size() - receive_end_ < kReadChunk / 4 && receive_start_ > 0) {
      std::memmove(receive_buffer_.data(), receive_buffer_.data() + receive_start_, receive_end_ - receive_start_);
      receive_end_ -= receive_start_;
      receive_start_ = 0;
    }
    const std::size_t space = receive_buffer_.size() - receive_end_;
    bool truncated = false;
    const ssize_t count =
        read_with_descriptors(fd_, receive_buffer_.data() + receive_end_, space, received_descriptors_, truncated);
    if (count < 0) {
      if (errno == EINTR) {
        continue;
      }
      if (errno == EAGAIN || errno == EWOULDBLOCK) {
        return Read::drained;
      }
      drop_link(false);
      return Read::ended;
    }
    if (truncated) {
      drop_link(true);
      return Read::ended;
    }
    if (count == 0) {
      drop_link(false);
      return Read::ended;
    }
    receive_end_ += static_cast<std::size_t>(count);
    if (!parse_frames() || received_descriptors_.size() > kMaxPendingDescriptors) {
      drop_link(true);
      return Read::ended;
    }
    if (!to_end && static_cast<std::size_t>(count) < space) {
      return Read::drained;
    }
  }
  return Read::more;
}

bool Connection::parse_frames() noexcept {
  while (receive_end_ - receive_start_ >= wire::kHeaderSize) {
    const uint8_t* start = receive_buffer_.data() + receive_start_;
    wire::FrameHeader header;
    if (!wire::read_header(start, header)) {
      return false;
    }
    const std::size_t size = wire::kHeaderSize + header.body_length;
    if (receive_end_ - receive_start_ < size) {
      if (size > receive_buffer_.size() - receive_start_) {
        // A frame larger than the room left: move it to the front and
        // make room for all of it.
        std::memmove(receive_buffer_.data(), start, receive_end_ - receive_start_);
        receive_end_ -= receive_start_;
        receive_start_ = 0;
        if (size > receive_buffer_.size()) {
          try {
            receive_buffer_.resize(size);
          } catch (...) {
            return false;
          }
        }
      }
      break;
    }
    // Descriptors arrive no later than the first byte of their frame.
    if (received_descriptors_.size() < header.descriptors) {
      return false;
    }
    int descriptors[wire::kMaxDescriptors];
    for (uint16_t i = 0; i < header.descriptors; ++i) {
      descriptors[i] = received_descriptors_.front();
      received_descriptors_.pop_front();
    }
    uint64_t footprint = 0;
    Dictionary* message = decode_body(header, start + wire::kHeaderSize, descriptors, &footprint);
    for (uint16_t i = 0; i < header.descriptors; ++i) {
      if (descriptors[i] >= 0) {
        close(descriptors[i]);
      }
    }
    if (message == nullptr) {
      return false;
    }
    receive_start_ += size;
    if (!deliver(header, message, footprint)) {
      return false;
    }
    if (fd_ < 0) {
      return true;
    }
    if (reading_paused_) {
      // The backlog is full: the frames already read wait here (with
      // their descriptors) until it drains, so it grows by one message at
      // most, however many frames one read brought.
      return true;
    }
  }
  if (receive_start_ == receive_end_) {
    receive_start_ = receive_end_ = 0;
  }
  return true;
}

bool Connection::deliver(const wire::FrameHeader& header, Dictionary* message, uint64_t footprint) noexcept {
  if (header.kind == wire::kMessage) {
    const bool wants_reply = (header.flags & wire::kWantsReply) != 0;
    if (wants_reply) {
      IoLoop::shared().keep_awake();  // Its handler usually answers soon.
    }
    message->set_received(this, wants_reply ? header.token : 0);
    if (!pump_.push_event(message, footprint)) {
      reading_paused_ = true;
      update_interest();
    }
    return true;
  }
  message->set_received(this, 0);
  PendingReply reply{};
  bool found = false;
  bool ended = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto waiting = pending_.find(header.token);
    if (waiting != pending_.end()) {
      reply = waiting->second;
      pending_.erase(waiting);
      found = true;
    }
    ended = link_ == Link::ended;
  }
  if (!found) {
    message->release();
    return ended;  // A reply nobody asked for is a protocol violation.
  }
  answer(reply, message);
  return true;
}

}  // namespace harlune::xpc
