// Connection: a connection that carries messages: a client of a named
// service, a client of an endpoint, or a peer a listener received.
//
// Sending. send() encodes on the caller's thread, appends the frame to the
// connection's incoming list and returns: the caller never writes to the
// socket. It then asks the transport thread to run (IoLoop::request(),
// which takes no lock while a transport thread runs, and wakes that thread
// at most once per burst and not at all while it is awake; only a sender
// that finds no transport thread, none having anything to do since the
// last connection closed, takes the loop's lock to start one). The transport thread moves the incoming
// frames to its own send queue and writes them without blocking
// (MSG_DONTWAIT), batching whatever is queued into one sendmsg; when the
// socket is full it waits for it to drain (EPOLLOUT). Barriers are markers
// in the same queue, run once everything before them is written: by the
// transport thread itself when the connection's queue is idle (see
// event_pump.h), so a barrier behind each send costs the sender nothing
// beyond queueing. Markers count against the byte limit, and
// interchangeable barriers in a row share one marker. Past the queue limits
// (see <xpc/connection.h>), counted over both lists, a new message is
// dropped and counted; the audio path prefers that to waiting.
//
// The sender's only lock is queue_mutex_: held for a few pointer and
// counter updates (append, or merge a barrier into the last marker) by
// senders, and by the transport to take the whole incoming list at once
// or to close it; never across a system call, an allocation or a
// callback. It inherits priority, so a real-time sender that finds it held
// waits only for that short section.
//
// Receiving runs on the loop thread: the socket is read in large chunks,
// complete frames are decoded and their dictionaries queued on the pump;
// replies are matched to the waiting handler by token. While the pump's
// backlog (counted in messages and in decoded bytes) is at its high-water
// mark the socket is not read.
//
// Linking. A client connects on the loop thread when the first frame waits
// in its queue after activation (and again after an interruption). The
// link ends when the peer closes, a write fails, the peer sends anything
// malformed, or the connection is cancelled; see drop_link().
//
// Thread safety: public members may be called from any thread; io_event,
// io_command and io_ready run on the loop thread. The receive state is the loop
// thread's alone. Lifetime: see ConnectionBase; the loop holds a reference
// while the socket is registered or a command is pending.

#pragma once

#include "connection_base.h"
#include "dictionary_impl.h"
#include "endpoint_impl.h"
#include "outgoing_frame.h"
#include "pi_mutex.h"
#include "wire_format.h"

#include <deque>
#include <unordered_map>
#include <vector>

namespace harlune::xpc {

class Connection final : public ConnectionBase {
 public:
  enum class Role : uint8_t { named_client, endpoint_client, peer };

  static Connection* make_named_client(const char* name, dispatch_queue_t target) noexcept;
  // Connects through a duplicate of the endpoint's connector.
  static Connection* make_endpoint_client(const EndpointObject& endpoint) noexcept;
  // A peer over the connected socket `fd`, which it takes over (on failure
  // too). Handed to a listener's handler, so it has no caller reference.
  static Connection* make_peer(int fd, const PeerCredentials& credentials) noexcept;

  void send(const Dictionary& message) noexcept;
  // `handler` runs exactly once: on `queue`, or on the pump when null.
  void send_with_reply(const Dictionary& message, dispatch_queue_t queue, xpc_handler_t handler) noexcept;
  void send_barrier(dispatch_block_t barrier) noexcept;
  uint64_t dropped() const noexcept { return dropped_.load(std::memory_order_relaxed); }
  // Decoded bytes of received messages waiting for the event handler.
  uint64_t backlog_bytes() noexcept { return pump_.backlog_bytes(); }
  // Bytes the send queue holds: messages and barrier markers.
  uint64_t queued_bytes() noexcept { return queued_bytes_.load(std::memory_order_relaxed); }

  void io_event(int fd, uint32_t events) noexcept override;
  void io_command(uint32_t command) noexcept override;
  // Takes in what senders pushed and writes it (asked for by senders).
  void io_ready() noexcept override;
  void pump_drained() noexcept override;

 private:
  enum class Link : uint8_t { idle, connecting, connected, ended };
  enum Command : uint32_t { kConnect, kRegister, kClose, kResumeReading };
  enum class Read { drained, more, paused, ended };
  enum class Flush { idle, blocked };
  enum class Attempt { connected, retry, failed };
  struct PendingReply {
    xpc_handler_t handler;
    dispatch_queue_t queue;
  };

  static constexpr unsigned kMaxConnectAttempts = 100;
  static constexpr std::size_t kReadChunk = 64 * 1024;
  // Descriptors come with the write that holds their frame's first byte,
  // and one read returns those of one write at most; once the frames read
  // so far are decoded, more than one write's worth can only be surplus.
  static constexpr std::size_t kMaxPendingDescriptors = kMaxDescriptorsPerWrite;

  Connection(Role role, std::string name, dispatch_queue_t target, int caller_references) noexcept;
  ~Connection() override;

  void activated() noexcept override;
  void resumed() noexcept override;
  void cancelled() noexcept override;

  // Send path (connection_send.cpp).
  enum class Push { queued, merged, refused };
  // Counts `frame` against the limits and appends it to the incoming list,
  // or merges a barrier marker into the one before it (the caller then
  // destroys `frame`); refused when the connection is closed or the queue
  // is full (`*refusal` says which error).
  Push push(OutgoingFrame* frame, Object** refusal) noexcept;
  // Takes the incoming list (oldest first); null when empty.
  OutgoingFrame* take_incoming() noexcept;
  // Refuses every later push (cancelled, or ended for good).
  void close_incoming() noexcept;
  // Loop thread: moves the incoming frames to the send queue, merging
  // interchangeable barriers.
  void absorb_incoming() noexcept;
  // Loop thread: runs leading barriers, links or writes as the state
  // allows.
  void advance() noexcept;
  Flush flush() noexcept;                // Loop thread.
  void pop_leading_barriers() noexcept;  // Loop thread.
  // Queues a barrier marker's block on the pump as often as it runs.
  void hand_barrier_to_pump(OutgoingFrame* frame) noexcept;
  // Runs `reply.handler` once with `result` (reference taken over): on its
  // queue, or on the pump.
  void answer(PendingReply& reply, Object* result) noexcept;
  // What closing a queue leaves: messages are dropped (a request's reply
  // handler gets `error` if it still waits), barriers run.
  void settle_frames(OutgoingFrame* frames, Object* error) noexcept;
  // Answers every waiting reply handler with `error`.
  void settle_pending(std::unordered_map<uint64_t, PendingReply>& pending, Object* error) noexcept;
  // Loop thread: settles the send queue and the incoming stack.
  void settle_queues(Object* error) noexcept;
  void count_out(const OutgoingFrame* frame) noexcept;

  // Link (connection_link.cpp); loop thread.
  void connect_now() noexcept;
  Attempt connect_named(int& fd, PeerCredentials& credentials) noexcept;
  Attempt connect_endpoint(int& fd, PeerCredentials& credentials) noexcept;
  void link_up(int fd, const PeerCredentials& credentials) noexcept;
  // Ends the link: the socket is closed, queued messages dropped, waiting
  // replies answered with the error. A named client that had been
  // connected is only interrupted (unless `malformed`); anything else ends
  // for good.
  void drop_link(bool malformed) noexcept;
  void close_socket() noexcept;
  void update_interest() noexcept;

  // Receive path (connection_receive.cpp); loop thread.
  // Reads what the socket holds; with `to_end`, until it would block.
  Read read_ready(bool to_end) noexcept;
  bool parse_frames() noexcept;
  bool deliver(const wire::FrameHeader& header, Dictionary* message, uint64_t footprint) noexcept;
  void reset_receive_state() noexcept;

  const Role role_;
  Link link_ = Link::idle;  // mutex_; changed on the loop thread or by cancel.
  // Changed only on the loop thread, with mutex_ held.
  int fd_ = -1;
  int connector_ = -1;  // Endpoint clients: a duplicate of the endpoint's.
  bool ever_connected_ = false;  // mutex_

  PiMutex queue_mutex_;
  // Frames appended by senders, oldest first (queue_mutex_).
  OutgoingFrame* in_head_ = nullptr;
  OutgoingFrame* in_tail_ = nullptr;
  // The connection was cancelled or ended for good (queue_mutex_).
  bool closed_ = false;
  // What both lists hold, for the limits: messages, and bytes of messages
  // and markers. Raised by senders under queue_mutex_, lowered by the
  // transport without it (which only makes a limit check conservative).
  std::atomic<uint32_t> queued_messages_{0};
  std::atomic<uint64_t> queued_bytes_{0};
  std::atomic<uint64_t> dropped_{0};
  std::atomic<uint64_t> next_token_{1};
  std::unordered_map<uint64_t, PendingReply> pending_;  // mutex_

  // The send queue, oldest first (loop thread only).
  OutgoingFrame* head_ = nullptr;
  OutgoingFrame* tail_ = nullptr;
  bool write_blocked_ = false;  // Loop thread: waiting for EPOLLOUT.

  // Loop thread only.
  unsigned connect_attempts_ = 0;
  bool registered_ = false;
  bool write_armed_ = false;
  bool reading_paused_ = false;
  std::vector<uint8_t> receive_buffer_;
  std::size_t receive_start_ = 0;
  std::size_t receive_end_ = 0;
  std::deque<int> received_descriptors_;
};

}  // namespace harlune::xpc
