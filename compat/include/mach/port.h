/*
 * mach/port.h: port names, rights and the constants that name them.
 *
 * On Linux a port is an entry in a table private to the process (see
 * <mach/mach_port.h>); names are small nonzero integers and mean nothing to
 * another process. Header-only; no state.
 */
#ifndef HARLUNE_COMPAT_MACH_PORT_H
#define HARLUNE_COMPAT_MACH_PORT_H

#include <stdint.h>

typedef uint32_t natural_t;
typedef int32_t integer_t;
typedef natural_t mach_port_name_t;
typedef mach_port_name_t mach_port_t;
typedef natural_t mach_port_right_t;
typedef mach_port_t task_t;
typedef mach_port_t thread_t;
typedef mach_port_t thread_act_t;
typedef mach_port_t ipc_space_t;
typedef mach_port_t exception_handler_t;

#define MACH_PORT_NULL ((mach_port_t)0)
#define MACH_PORT_DEAD ((mach_port_t)~0u)
#define MACH_PORT_VALID(name) ((name) != MACH_PORT_NULL && (name) != MACH_PORT_DEAD)

#define MACH_PORT_RIGHT_SEND ((mach_port_right_t)0)
#define MACH_PORT_RIGHT_RECEIVE ((mach_port_right_t)1)
#define MACH_PORT_RIGHT_SEND_ONCE ((mach_port_right_t)2)

#endif
