// The send path: encode, queue, and write without blocking.

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
  enqueue(frame, 0, nullptr);
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
  enqueue(frame, token, &reply);
}

void Connection::send_barrier(dispatch_block_t barrier) noexcept {
  bool queued = false;
  bool flush = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    // A barrier waits for the messages ahead of it. With none queued on a
    // running link it still goes through the queue: the transport thread
    // then runs it, and the sender (often the audio thread, right after a
    // send) pays for no wake-up of a dispatch worker.
    const bool running = link_ == Link::connected && activated_ && suspensions_ == 0;
    if (link_ != Link::ended && !cancelled_ && (head_ != nullptr || running)) {
      // A barrier right behind another one waits for the same messages. When
      // the two are interchangeable (the usual "message sent" notice after
      // each send), the marker already queued runs once more instead: a
      // stalled peer then costs no memory per dropped message.
      if (tail_ != nullptr && tail_->barrier != nullptr && blocks_interchangeable(tail_->barrier, barrier) &&
          tail_->runs < UINT32_MAX) {
        ++tail_->runs;
        return;
      }
      if (OutgoingFrame* frame = make_barrier_frame(barrier)) {
        // Markers count against the byte limit like messages, so the limit
        // bounds everything the queue holds; a barrier is never dropped.
        if (tail_ != nullptr) {
          tail_->next = frame;
        } else {
          head_ = frame;
        }
        tail_ = frame;
        queued_bytes_ += frame->cost;
        queued = true;
        flush = writable_locked();
      }
    }
  }
  if (flush) {
    IoLoop::shared().request(this);
  }
  if (queued) {
    return;
  }
  run_barrier(Block_copy(barrier));
}

uint64_t Connection::queued_bytes() noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  return queued_bytes_;
}

void Connection::hand_barrier_to_pump(OutgoingFrame* frame) noexcept {
  for (uint32_t run = 1; run < frame->runs; ++run) {
    run_barrier(Block_copy(frame->barrier));
  }
  run_barrier(frame->barrier);
  frame->barrier = nullptr;
}

void Connection::enqueue(OutgoingFrame* frame, uint64_t token, PendingReply* reply) noexcept {
  Object* refusal = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (link_ == Link::ended || cancelled_) {
      refusal = connection_invalid_error();
    } else if (queued_messages_ >= XPC_CONNECTION_QUEUE_LIMIT_MESSAGES ||
               (queued_messages_ > 0 && queued_bytes_ + frame->cost > XPC_CONNECTION_QUEUE_LIMIT_BYTES)) {
      // A message larger than the byte limit still goes when it is alone.
      dropped_.fetch_add(1, std::memory_order_relaxed);
      refusal = connection_interrupted_error();
    } else {
      if (reply != nullptr) {
        try {
          pending_.emplace(token, *reply);
        } catch (...) {
          refusal = connection_interrupted_error();
        }
      }
      if (refusal == nullptr) {
        if (tail_ != nullptr) {
          tail_->next = frame;
        } else {
          head_ = frame;
        }
        tail_ = frame;
        ++queued_messages_;
        queued_bytes_ += frame->cost;
      }
    }
  }
  if (refusal != nullptr) {
    destroy_frame(frame);
    if (reply != nullptr) {
      answer(*reply, refusal);
    }
    return;
  }
  start_sending();
}

void Connection::start_sending() noexcept {
  bool link = false;
  bool write = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!activated_ || suspensions_ > 0 || head_ == nullptr) {
      return;
    }
    if (link_ == Link::idle) {
      link_ = Link::connecting;
      link = true;
    } else {
      write = writable_locked();
    }
  }
  if (link) {
    IoLoop::shared().post(this, kConnect);
  } else if (write) {
    // The transport thread writes; a sender never does.
    IoLoop::shared().request(this);
  }
}

bool Connection::writable_locked() const noexcept {
  return head_ != nullptr && link_ == Link::connected && !write_blocked_ && activated_ && suspensions_ == 0;
}

void Connection::io_ready() noexcept {
  kick_writer();
}

void Connection::kick_writer() noexcept {
  Flush result = Flush::idle;
  {
    // Only the transport thread writes; the lock keeps cancel() from
    // freeing the frames under a write in progress.
    std::lock_guard<std::mutex> write_lock(write_mutex_);
    result = flush();
  }
  if (result == Flush::blocked) {
    // Full or failing socket: wait for it to drain (and, if it failed,
    // read the end of the link).
    io_command(kArmWrite);
  }
}

void Connection::pop_leading_barriers_locked() noexcept {
  while (head_ != nullptr && head_->barrier != nullptr) {
    OutgoingFrame* frame = head_;
    head_ = frame->next;
    if (head_ == nullptr) {
      tail_ = nullptr;
    }
    queued_bytes_ -= frame->cost;
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
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (fd_ < 0 || link_ != Link::connected || !activated_ || suspensions_ > 0 || write_blocked_) {
        return Flush::idle;
      }
      pop_leading_barriers_locked();
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
        vectors[vector_count].iov_base = frame->bytes + frame->written;
        vectors[vector_count].iov_len = frame->size - frame->written;
        batch_bytes += vectors[vector_count].iov_len;
        ++vector_count;
      }
      if (vector_count == 0) {
        return Flush::idle;
      }
    }
    const ssize_t written = write_with_descriptors(fd_, vectors, vector_count, descriptors, descriptor_count);
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      std::lock_guard<std::mutex> lock(mutex_);
      write_blocked_ = true;
      return Flush::blocked;
    }
    OutgoingFrame* finished = nullptr;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      for (int i = 0; i < attached_count; ++i) {
        attached[i]->descriptors_sent = true;
      }
      std::size_t left = static_cast<std::size_t>(written);
      while (head_ != nullptr && left > 0) {
        if (head_->barrier != nullptr) {
          pop_leading_barriers_locked();
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
        --queued_messages_;
        queued_bytes_ -= frame->cost;
        frame->next = finished;
        finished = frame;
      }
      pop_leading_barriers_locked();
    }
    while (finished != nullptr) {
      OutgoingFrame* next = finished->next;
      destroy_frame(finished);
      finished = next;
    }
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

void Connection::settle(OutgoingFrame* frames, std::unordered_map<uint64_t, PendingReply>& pending,
                        Object* error) noexcept {
  for (auto& entry : pending) {
    answer(entry.second, error);
  }
  pending.clear();
  while (frames != nullptr) {
    OutgoingFrame* next = frames->next;
    if (frames->barrier != nullptr) {
      hand_barrier_to_pump(frames);
    }
    destroy_frame(frames);
    frames = next;
  }
}

}  // namespace harlune::xpc
