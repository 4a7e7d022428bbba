/*
 * mach/mach_port.h: making, sharing and releasing ports.
 *
 * On Linux a port lives in a fixed table private to the process, of
 * HARLUNE_MACH_PORT_MAX entries. A port has at most one receive right and
 * any number of send-right references, all under the one name that
 * mach_port_allocate gave. The entry is released when the receive right and
 * the last send reference are both gone; its name is then never valid again
 * (names carry a generation). All calls are thread-safe; none is
 * async-signal-safe.
 */
#ifndef HARLUNE_COMPAT_MACH_MACH_PORT_H
#define HARLUNE_COMPAT_MACH_MACH_PORT_H

#include <mach/kern_return.h>
#include <mach/message.h>
#include <mach/port.h>

#define HARLUNE_MACH_PORT_MAX 256

#define KERN_INVALID_NAME 15
#define KERN_INVALID_RIGHT 17
#define KERN_INVALID_VALUE 18
#define KERN_UREFS_OVERFLOW 19
#define KERN_RESOURCE_SHORTAGE 6
#define KERN_NO_SPACE 3
#define KERN_INVALID_CAPABILITY 20
#define KERN_NAME_EXISTS 13
#define KERN_INVALID_TASK 16

#ifdef __cplusplus
extern "C" {
#endif

/* Only MACH_PORT_RIGHT_RECEIVE is supported (KERN_INVALID_VALUE otherwise).
 * KERN_NO_SPACE when the table is full. */
__attribute__((visibility("default"))) kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right,
                                                                         mach_port_name_t *name);
/* Adds a send reference: name and poly must be the same port, right
 * MACH_MSG_TYPE_MAKE_SEND (which needs the receive right) or
 * MACH_MSG_TYPE_COPY_SEND (which needs a send reference). */
__attribute__((visibility("default"))) kern_return_t mach_port_insert_right(ipc_space_t task, mach_port_name_t name,
                                                                             mach_port_t poly,
                                                                             mach_msg_type_name_t right);
/* Drops one send reference. A thread name (mach_thread_self) holds none
 * here and gives KERN_SUCCESS. KERN_INVALID_RIGHT when the port has no send
 * reference; KERN_INVALID_NAME for an unknown name. */
__attribute__((visibility("default"))) kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name);
/* Changes the references of one right: MACH_PORT_RIGHT_RECEIVE with -1
 * destroys the receive right (waiting receivers get MACH_RCV_PORT_DIED,
 * queued messages are dropped); MACH_PORT_RIGHT_SEND adds or drops send
 * references. */
__attribute__((visibility("default"))) kern_return_t mach_port_mod_refs(ipc_space_t task, mach_port_name_t name,
                                                                         mach_port_right_t right, int delta);

#ifdef __cplusplus
}
#endif

#endif
