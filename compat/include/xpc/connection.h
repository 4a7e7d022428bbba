/*
 * xpc/connection.h: connections: clients of named services and of
 * endpoints, listeners, and the peers a listener receives.
 *
 * Kinds.
 *   - A named-service client: xpc_connection_create_mach_service(name, q, 0)
 *     or xpc_connection_create(name, q). It connects on its first send after
 *     it was resumed. When its peer goes away it gets
 *     XPC_ERROR_CONNECTION_INTERRUPTED and stays usable: the next send
 *     connects again.
 *   - A listener: xpc_connection_create_mach_service(name, q,
 *     XPC_CONNECTION_MACH_SERVICE_LISTENER) publishes `name`;
 *     xpc_connection_create(NULL, q) makes an anonymous listener, reachable
 *     only through endpoints (see <xpc/endpoint.h>). Its event handler gets
 *     each new peer as an object of type XPC_TYPE_CONNECTION, suspended: set
 *     its handler and resume it to take it, or leave it alone and it is
 *     closed once the handler returns.
 *   - An endpoint client: xpc_connection_create_from_endpoint. It connects on
 *     its first send after it was resumed.
 * Every connection is created suspended (a suspend count of one); nothing is
 * sent or delivered until xpc_connection_resume brings the count to zero.
 * Suspensions are counted: n suspends need n resumes. A suspended connection
 * neither writes its queued messages nor runs its callbacks (reply handlers
 * and barriers without a queue of their own included); it keeps reading
 * until a backlog of incoming messages builds up (256 messages or 32 MiB
 * of decoded messages).
 *
 * Callbacks. The event handler, the reply handlers given no queue and the
 * barriers of one connection run on its target queue (by default a serial
 * queue of the connection's own), one at a time and never two at once, even
 * when the target queue is concurrent. A reply handler given a queue runs
 * there. Setting the handler, suspending and cancelling take effect between
 * two callbacks. The object a handler is handed belongs to the library
 * until the handler returns.
 *
 * Errors and the end of a connection.
 *   - A named-service client whose service does not exist gets
 *     XPC_ERROR_CONNECTION_INVALID, and that is final. Once it has been
 *     connected, losing its peer (or failing to connect again) gives
 *     XPC_ERROR_CONNECTION_INTERRUPTED instead and the connection lives on.
 *   - An endpoint client, a listener's peer and a listener that cannot
 *     publish its name end with XPC_ERROR_CONNECTION_INVALID when the peer
 *     goes away or cannot be reached.
 *   - When a connection is interrupted or ends, messages queued and not yet
 *     written are dropped, every reply handler still waiting runs once with
 *     the same error, and barriers waiting for the dropped messages run.
 *   - After xpc_connection_cancel the same happens with
 *     XPC_ERROR_CONNECTION_INVALID, and the event handler gets exactly one
 *     final XPC_ERROR_CONNECTION_INVALID (after a resume, if suspended), then
 *     never runs again. Later sends are dropped; a later reply handler gets
 *     XPC_ERROR_CONNECTION_INVALID; a later barrier runs at once. A
 *     connection cancelled before it was ever resumed runs these on a
 *     global queue, since its own queue never starts.
 *   - A listener sends nothing: a message sent to it is dropped, a reply
 *     handler gets XPC_ERROR_CONNECTION_INVALID and a barrier runs at once.
 *   - A peer that sends a malformed message, one over the size limit or with
 *     too many descriptors, is cut off: its connection gets
 *     XPC_ERROR_CONNECTION_INVALID.
 *
 * Sending never waits for the peer. Each connection queues at most
 * XPC_CONNECTION_QUEUE_LIMIT_BYTES of encoded messages (out-of-line data
 * counted at its full size) or XPC_CONNECTION_QUEUE_LIMIT_MESSAGES messages
 * not yet written; a message beyond either limit is dropped and counted
 * (see harlune_xpc_connection_get_dropped_count), and a dropped message
 * that wanted a reply has its reply handler run with
 * XPC_ERROR_CONNECTION_INTERRUPTED. A single message larger than the byte
 * limit is still accepted into an empty queue. Barriers are never dropped;
 * what a waiting barrier holds counts against the byte limit, and copies
 * of one block literal with the same captured values sent one after
 * another (a notice after every send, while messages are being dropped)
 * share one entry, so a stalled peer does not make the queue grow.
 *
 * Lifetime. A connection lives while the caller holds a reference, and
 * also, once resumed, until its final event has been delivered. A listener's
 * peers keep no reference to the listener.
 *
 * Transport (Linux). Named services are Unix-domain sockets in the service
 * folder: $HARLUNE_XPC_SERVICE_DIR if set, else $XDG_RUNTIME_DIR/harlune-xpc,
 * else /tmp/harlune-xpc-UID. The folder is created with mode 0700 when
 * missing and refused unless it is a real folder owned by the user with
 * mode 0700; a refused folder makes every named connection and listener end
 * with XPC_ERROR_CONNECTION_INVALID. Only processes of the same effective
 * user are accepted at either end. The wire format is described in the
 * source tree beside the implementation (WIRE.md).
 *
 * Differences from Apple's platform:
 *   - Service names are not registered anywhere: a listener publishes a
 *     name, and a client of a name nobody publishes gets
 *     XPC_ERROR_CONNECTION_INVALID (nothing starts services on demand). A
 *     name is 1 to 64 letters, digits, '.', '-' and '_', not starting with
 *     '.', and folder and name together must fit a socket address.
 *   - The send queue is bounded and drops past its limits (see above).
 *   - XPC_CONNECTION_MACH_SERVICE_PRIVILEGED is accepted and ignored.
 *   - A connection that was never resumed may be released without a trap.
 *   - Misuse that traps on Apple's platform (resuming more often than
 *     suspending, releasing the last reference to a suspended connection,
 *     putting a connection or an error into a message) aborts only in builds
 *     without NDEBUG; otherwise it is ignored (the message is dropped).
 */
#ifndef HARLUNE_COMPAT_XPC_CONNECTION_H
#define HARLUNE_COMPAT_XPC_CONNECTION_H

#include <xpc/base.h>
#include <dispatch/dispatch.h>

#define XPC_CONNECTION_MACH_SERVICE_LISTENER (1 << 0)
#define XPC_CONNECTION_MACH_SERVICE_PRIVILEGED (1 << 1)

/* The per-connection send queue limits (see above). */
#define XPC_CONNECTION_QUEUE_LIMIT_BYTES (8u * 1024u * 1024u)
#define XPC_CONNECTION_QUEUE_LIMIT_MESSAGES 4096u

XPC_BEGIN_DECLS

/* A client of the named service `name`, or with a NULL name an anonymous
 * listener. `targetq` NULL means the connection's own serial queue. */
XPC_EXPORT xpc_connection_t xpc_connection_create(const char *name, dispatch_queue_t targetq) XPC_NOTHROW;
/* A client of `name`, or its listener with XPC_CONNECTION_MACH_SERVICE_LISTENER.
 * NULL for a NULL name. */
XPC_EXPORT xpc_connection_t xpc_connection_create_mach_service(const char *name, dispatch_queue_t targetq,
                                                               uint64_t flags) XPC_NOTHROW;
/* A client of the listener behind `endpoint`; NULL when `endpoint` is not
 * one. The endpoint is not consumed. */
XPC_EXPORT xpc_connection_t xpc_connection_create_from_endpoint(xpc_endpoint_t endpoint) XPC_NOTHROW;

/* NULL restores the connection's own serial queue. Takes effect for the
 * callbacks scheduled after the call. */
XPC_EXPORT void xpc_connection_set_target_queue(xpc_connection_t connection, dispatch_queue_t targetq) XPC_NOTHROW;
XPC_EXPORT void xpc_connection_suspend(xpc_connection_t connection) XPC_NOTHROW;
XPC_EXPORT void xpc_connection_resume(xpc_connection_t connection) XPC_NOTHROW;
/* Ends the initial suspension, like the first xpc_connection_resume; does
 * nothing on a connection already activated. */
XPC_EXPORT void xpc_connection_activate(xpc_connection_t connection) XPC_NOTHROW;
XPC_EXPORT void xpc_connection_cancel(xpc_connection_t connection) XPC_NOTHROW;

/* Queues `message` (a dictionary) and returns at once. The message is
 * encoded during the call, so the caller may change or release it after. */
XPC_EXPORT void xpc_connection_send_message(xpc_connection_t connection, xpc_object_t message) XPC_NOTHROW;

/* The service name of a named client or listener; NULL for any other
 * connection. */
XPC_EXPORT const char *xpc_connection_get_name(xpc_connection_t connection) XPC_NOTHROW;
/* The credentials of the process at the other end, once connected; 0
 * before. */
XPC_EXPORT pid_t xpc_connection_get_pid(xpc_connection_t connection) XPC_NOTHROW;
XPC_EXPORT uid_t xpc_connection_get_euid(xpc_connection_t connection) XPC_NOTHROW;
XPC_EXPORT gid_t xpc_connection_get_egid(xpc_connection_t connection) XPC_NOTHROW;

/* Linux stand-in only: how many messages this connection dropped at its
 * send queue limit. */
XPC_EXPORT uint64_t harlune_xpc_connection_get_dropped_count(xpc_connection_t connection) XPC_NOTHROW;
/* Linux stand-in only: the bytes this connection's send queue holds now
 * (messages not yet written and barriers waiting for them). */
XPC_EXPORT uint64_t harlune_xpc_connection_get_queued_bytes(xpc_connection_t connection) XPC_NOTHROW;
/* Linux stand-in only: what the received messages waiting for this
 * connection's event handler hold in memory, roughly (their bytes and a
 * per-value overhead). Reading stops while it is over 32 MiB (or 256
 * messages wait), so it stays below that plus one message. */
XPC_EXPORT uint64_t harlune_xpc_connection_get_backlog_bytes(xpc_connection_t connection) XPC_NOTHROW;

#ifdef __BLOCKS__
/* The handler for messages (dictionaries), errors and, on a listener, new
 * peers. The block is copied. It is released after the final event. */
XPC_EXPORT void xpc_connection_set_event_handler(xpc_connection_t connection, xpc_handler_t handler) XPC_NOTHROW;

/* As xpc_connection_send_message, and runs `handler` exactly once with the
 * reply dictionary or an error object: on `replyq`, or with NULL on the
 * connection's target queue in turn with its other callbacks. */
XPC_EXPORT void xpc_connection_send_message_with_reply(xpc_connection_t connection, xpc_object_t message,
                                                       dispatch_queue_t replyq, xpc_handler_t handler) XPC_NOTHROW;

/* Sends and waits for the reply or error, which the caller releases. Must
 * not be called from the connection's own target queue. */
XPC_EXPORT xpc_object_t xpc_connection_send_message_with_reply_sync(xpc_connection_t connection,
                                                                    xpc_object_t message) XPC_NOTHROW;

/* Runs `barrier` on the target queue once every message queued before it
 * has been written to the transport, dropped, or discarded; at once on a
 * cancelled or ended connection. Returns at once. */
XPC_EXPORT void xpc_connection_send_barrier(xpc_connection_t connection, dispatch_block_t barrier) XPC_NOTHROW;
#endif

XPC_END_DECLS

#endif
