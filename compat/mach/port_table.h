/*
 * The process-local port table behind mach_port_* and mach_msg, and the
 * one fault slot through which the exception bridge's signal handler hands
 * a request to a receiving thread and waits for its reply.
 *
 * Port entries live in a static array and are never freed, so a lookup from
 * a signal handler can read an entry's atomics without a lock; everything
 * else (the message queue, rights changes) is under the entry's mutex.
 */
#ifndef HARLUNE_COMPAT_MACH_PORT_TABLE_H
#define HARLUNE_COMPAT_MACH_PORT_TABLE_H

#include <mach/message.h>

#include <cstddef>
#include <cstdint>

namespace harlune::mach {

/* The name a fault request carries as its reply port; a reply sent to it
 * completes the fault slot. Never a table name. */
inline constexpr mach_port_t kFaultReplyPort = 0xFFFFFF01u;

/* Largest request the fault slot holds. */
inline constexpr size_t kFaultRequestMax = 256;

/* True when name is a live port. */
bool PortIsLive(mach_port_t name);

/* Async-signal-safe: true when name is a live port with at least one
 * thread blocked in (or entering) a receive on it. */
bool PortHasReceiver(mach_port_t name);

/* Async-signal-safe. Hands the request (nSize bytes, already laid out as
 * the receiver will see it) to a thread receiving on port and waits for the
 * reply. Returns the reply's return code, or KERN_FAILURE when the slot is
 * busy, nobody is receiving, or no reply comes in time. */
kern_return_t DeliverFault(mach_port_t port, const void *pRequest, size_t nSize);

/* Prepares what DeliverFault needs (its wake-up descriptor); called from
 * task_set_exception_ports, never from a signal handler. False on failure. */
bool PrepareFaultSlot();

} // namespace harlune::mach

#endif
