// The send path: senders encode and append; the transport thread takes
// the frames in, writes them without blocking and runs the barriers.

#include "connection_impl.h"

#include "api_misuse.h"
#include "block_identity.h"
#include "error_objects.h"
#include "wire_encoder.h"

#include <Block.h>
#include <sys/uio.h>

#include <cerrno>
#include <new>

namespace harlune::xpc {
namespace {

constexpr int kMaxVectors = 64;
constexpr std::size_t kMaxBatchBytes = 256 * 1024;

struct ReplyDelivery {
  xpc_handler_t handler;
  Object* result;
};

void run_delivery(void* context) {
  auto* delivery = static_cast<ReplyDelivery*>(context);
  delivery->handler(to_handle(delivery->result));
  Block_release(delivery->handler);
  delivery->result->release();
  delete delivery;
}

void report_unencodable(EncodeStatus status) {
  if (status == EncodeStatus::unencodable) {
    HARLUNE_XPC_MISUSE("a message holding a connection or an error, or nested too deeply");
  }
}

}  // namespace

void Connection::send(const Dictionary& message) noexcept {
  const uint64_t answers = message.in_reply_to();
  EncodeStatus status = EncodeStatus::ok;
  OutgoingFrame* frame = encode_frame(message, answers != 0 ? wire::kReply : wire::kMessage, false, answers, status);
  if (frame == nullptr) {
    report_unencodable(status);
    return;
  }
  Object* refusal = nullptr;
  if (push(frame, &refusal) != Push::queued) {
    destroy_frame(frame);
    return;
  }
  IoLoop::shared().request(this);
}

void Connection::send_with_reply(const Dictionary& message, dispatch_queue_t queue, xpc_handler_t handler) noexcept {
  PendingReply reply{Block_copy(handler), queue};
  if (queue != nullptr) {
    dispatch_retain(queue);
  }
  const uint64_t token = next_token_.fetch_add(1, std::memory_order_relaxed);
  EncodeStatus status = EncodeStatus::ok;
  OutgoingFrame* frame = encode_frame(message, wire::kMessage, true, token, status);
  if (frame == nullptr) {
    report_unencodable(status);
    answer(reply, connection_interrupted_error());
    return;
  }
  frame->reply_token = token;
  // Registered before the frame can be written, so the reply always finds
  // it; whoever removes it from pending_ answers it.
  bool registered = true;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    try {
      pending_.emplace(token, reply);
    } catch (...) {
      registered = false;
    }
  }
  Object* refusal = connection_interrupted_error();
  if (!registered || push(frame, &refusal) != Push::queued) {
    destroy_frame(frame);
    bool waiting = !registered;
    if (registered) {
      std::lock_guard<std::mutex> lock(mutex_);
      waiting = pending_.erase(token) > 0;
    }
    if (waiting) {
      answer(reply, refusal);
    }
    return;
  }
  IoLoop::shared().request(this);
}

void Connection::send_barrier(dispatch_block_t barrier) noexcept {
  // A barrier waits for the messages ahead of it, so it goes through the
  // queue even when that is empty: the transport thread then runs it, and
  // the sender (often the audio thread, right after a send) pays for no
  // wake-up of a dispatch worker.
  if (OutgoingFrame* frame = make_barrier_frame(barrier)) {
    Object* refusal = nullptr;
    switch (push(frame, &refusal)) {
      case Push::queued:
        // Usually right behind a send: the transport thread, woken for that
        // (or napping after it), takes the barrier without another wake.
        IoLoop::shared().request(this, false);
        return;
      case Push::merged:
        destroy_frame(frame);
        return;
      case Push::refused:
        destroy_frame(frame);
        break;
    }
  }
  run_barrier(Block_copy(barrier));
}

Connection::Push Connection::push(OutgoingFrame* frame, Object** refusal) noexcept {
  std::lock_guard<PiMutex> lock(queue_mutex_);
  if (closed_) {
    *refusal = connection_invalid_error();
    return Push::refused;
  }
  if (frame->barrier != nullptr) {
    // A barrier right behind another one waits for the same messages. When
    // the two are interchangeable (the usual "message sent" notice after
    // each send), the marker already queued runs once more instead: a
    // stalled peer then costs no memory per dropped message.
    if (in_tail_ != nullptr && in_tail_->barrier != nullptr && in_tail_->runs < UINT32_MAX &&
        blocks_interchangeable(in_tail_->barrier, frame->barrier)) {
      ++in_tail_->runs;
      return Push::merged;
    }
  } else {
    const uint32_t messages = queued_messages_.load(std::memory_order_relaxed);
    const uint64_t bytes = queued_bytes_.load(std::memory_order_relaxed);
    // A message larger than the byte limit still goes when it is alone.
    if (messages >= XPC_CONNECTION_QUEUE_LIMIT_MESSAGES ||
        (messages > 0 && bytes + frame->cost > XPC_CONNECTION_QUEUE_LIMIT_BYTES)) {
      dropped_.fetch_add(1, std::memory_order_relaxed);
      *refusal = connection_interrupted_error();
      return Push::refused;
    }
    queued_messages_.fetch_add(1, std::memory_order_relaxed);
  }
  // Markers count against the byte limit like messages, so the limit
  // bounds everything the lists hold; a barrier is never dropped.
  queued_bytes_.fetch_add(frame->cost, std::memory_order_relaxed);
  frame->next = nullptr;
  if (in_tail_ != nullptr) {
    in_tail_->next = frame;
  } else {
    in_head_ = frame;
  }
  in_tail_ = frame;
  return Push::queued;
}

OutgoingFrame* Connection::take_incoming() noexcept {
  std::lock_guard<PiMutex> lock(queue_mutex_);
  OutgoingFrame* frames = in_head_;
  in_head_ = in_tail_ = nullptr;
  return frames;
}

void Connection::close_incoming() noexcept {
  std::lock_guard<PiMutex> lock(queue_mutex_);
  closed_ = true;
}

void Connection::count_out(const OutgoingFrame* frame) noexcept {
  queued_bytes_.fetch_sub(frame->cost, std::memory_order_relaxed);
  if (frame->barrier == nullptr) {
    queued_messages_.fetch_sub(1, std::memory_order_relaxed);
  }
}

void Connection::absorb_incoming() noexcept {
  OutgoingFrame* frames = take_incoming();
  if (frames == nullptr) {
    return;
  }
  while (frames != nullptr) {
    OutgoingFrame* frame = frames;
    frames = frame->next;
    frame->next = nullptr;
    // A barrier right behind another one waits for the same messages. When
    // the two are interchangeable (the usual "message sent" notice after
    // each send), the marker already queued runs once more instead: a
    // stalled peer then costs no memory per dropped message.
    if (frame->barrier != nullptr && tail_ != nullptr && tail_->barrier != nullptr &&
        UINT32_MAX - tail_->runs >= frame->runs && blocks_interchangeable(tail_->barrier, frame->barrier)) {
      tail_->runs += frame->runs;
      count_out(frame);
      destroy_frame(frame);
      continue;
    }
    if (tail_ != nullptr) {
      tail_->next = frame;
    } else {
      head_ = frame;
    }
    tail_ = frame;
  }
  if (tail_ != nullptr && tail_->barrier == nullptr) {
    // Taken before the barrier that usually follows a send was queued.
    IoLoop::shared().expect_follow_up();
  }
}

void Connection::io_ready() noexcept {
  absorb_incoming();
  advance();
}

void Connection::advance() noexcept {
  bool running = false;
  bool link = false;
  bool connected = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (link_ == Link::ended) {
      return;  // The pending close settles the queue.
    }
    running = activated_ && suspensions_ == 0;
    if (running && link_ == Link::idle && head_ != nullptr) {
      link_ = Link::connecting;
      link = true;
    }
    connected = link_ == Link::connected;
  }
  // Barriers with no message ahead run whatever the state (a suspended
  // connection's pump holds them until it is resumed).
  pop_leading_barriers();
  if (!running) {
    return;
  }
  if (link) {
    // Through the command queue, so a listener started by a command posted
    // before this send is listening by then.
    IoLoop::shared().post(this, kConnect);
    return;
  }
  if (connected && !write_blocked_ && head_ != nullptr && flush() == Flush::blocked) {
    // Full or failing socket: wait for it to drain (or read the end of
    // the link).
    write_armed_ = true;
    update_interest();
  }
}

void Connection::hand_barrier_to_pump(OutgoingFrame* frame) noexcept {
  for (uint32_t run = 1; run < frame->runs; ++run) {
    run_barrier(Block_copy(frame->barrier));
  }
  run_barrier(frame->barrier);
  frame->barrier = nullptr;
}

void Connection::pop_leading_barriers() noexcept {
  while (head_ != nullptr && head_->barrier != nullptr) {
    OutgoingFrame* frame = head_;
    head_ = frame->next;
    if (head_ == nullptr) {
      tail_ = nullptr;
    }
    count_out(frame);
    hand_barrier_to_pump(frame);
    destroy_frame(frame);
  }
}

Connection::Flush Connection::flush() noexcept {
  for (;;) {
    iovec vectors[kMaxVectors];
    int descriptors[kMaxDescriptorsPerWrite];
    OutgoingFrame* attached[kMaxVectors];
    int vector_count = 0;
    int attached_count = 0;
    std::size_t descriptor_count = 0;
    std::size_t batch_bytes = 0;
    pop_leading_barriers();
    for (OutgoingFrame* frame = head_; frame != nullptr && vector_count < kMaxVectors && batch_bytes < kMaxBatchBytes;
         frame = frame->next) {
      if (frame->barrier != nullptr) {
        continue;
      }
      if (!frame->descriptors_sent && frame->descriptor_count > 0) {
        // A frame's descriptors ride on the write holding its first byte.
        if (descriptor_count + frame->descriptor_count > kMaxDescriptorsPerWrite) {
          break;
        }
        for (uint16_t i = 0; i < frame->descriptor_count; ++i) {
          descriptors[descriptor_count++] = frame->descriptors[i];
        }
        attached[attached_count++] = frame;
      }
      if (frame->reply_token != 0) {
        IoLoop::shared().keep_awake();  // Its reply usually follows soon.
      }
      vectors[vector_count].iov_base = frame->bytes + frame->written;
      vectors[vector_count].iov_len = frame->size - frame->written;
      batch_bytes += vectors[vector_count].iov_len;
      ++vector_count;
    }
    if (vector_count == 0) {
      return Flush::idle;
    }
    const ssize_t written = write_with_descriptors(fd_, vectors, vector_count, descriptors, descriptor_count);
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      write_blocked_ = true;
      return Flush::blocked;
    }
    for (int i = 0; i < attached_count; ++i) {
      attached[i]->descriptors_sent = true;
    }
    std::size_t left = static_cast<std::size_t>(written);
    while (head_ != nullptr && left > 0) {
      if (head_->barrier != nullptr) {
        pop_leading_barriers();
        continue;
      }
      OutgoingFrame* frame = head_;
      const std::size_t take = std::min<std::size_t>(left, frame->size - frame->written);
      frame->written += static_cast<uint32_t>(take);
      left -= take;
      if (frame->written < frame->size) {
        break;
      }
      head_ = frame->next;
      if (head_ == nullptr) {
        tail_ = nullptr;
      }
      count_out(frame);
      destroy_frame(frame);
    }
    pop_leading_barriers();
  }
}

void Connection::answer(PendingReply& reply, Object* result) noexcept {
  if (reply.queue != nullptr) {
    auto* delivery = new (std::nothrow) ReplyDelivery{reply.handler, result};
    if (delivery != nullptr) {
      dispatch_async_f(reply.queue, delivery, &run_delivery);
      dispatch_release(reply.queue);
      return;
    }
    dispatch_release(reply.queue);
  }
  run_reply(reply.handler, result);
}

void Connection::settle_pending(std::unordered_map<uint64_t, PendingReply>& pending, Object* error) noexcept {
  for (auto& entry : pending) {
    answer(entry.second, error);
  }
  pending.clear();
}

void Connection::settle_frames(OutgoingFrame* frames, Object* error) noexcept {
  while (frames != nullptr) {
    OutgoingFrame* next = frames->next;
    count_out(frames);
    if (frames->barrier != nullptr) {
      hand_barrier_to_pump(frames);
    } else if (frames->reply_token != 0) {
      PendingReply reply{};
      bool found = false;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        auto waiting = pending_.find(frames->reply_token);
        if (waiting != pending_.end()) {
          reply = waiting->second;
          pending_.erase(waiting);
          found = true;
        }
      }
      if (found) {
        answer(reply, error);
      }
    }
    destroy_frame(frames);
    frames = next;
  }
}

void Connection::settle_queues(Object* error) noexcept {
  OutgoingFrame* queued = head_;
  head_ = tail_ = nullptr;
  write_blocked_ = false;
  settle_frames(queued, error);
  settle_frames(take_incoming(), error);
}

}  // namespace harlune::xpc
