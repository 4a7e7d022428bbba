/*
 * xpc/endpoint.h: endpoints, the capability to connect to a listener.
 *
 * An endpoint is made from a listener (named or anonymous) and can be put
 * into a message like any value; the process that receives it may connect to
 * the listener with xpc_connection_create_from_endpoint, any number of
 * times, for as long as the listener lives (until it is cancelled or its
 * last reference is gone). Connecting once the listener has gone ends the
 * new connection with XPC_ERROR_CONNECTION_INVALID. An endpoint is an
 * immutable object; it may be shared between threads.
 *
 * Linux: an endpoint holds one end of a socket pair whose other end the
 * listener reads; it travels as a descriptor and names nothing in the file
 * system.
 */
#ifndef HARLUNE_COMPAT_XPC_ENDPOINT_H
#define HARLUNE_COMPAT_XPC_ENDPOINT_H

#include <xpc/base.h>

XPC_BEGIN_DECLS

/* A new endpoint of `connection`, which must be a listener; NULL otherwise
 * or when the system is out of descriptors. */
XPC_EXPORT xpc_endpoint_t xpc_endpoint_create(xpc_connection_t connection) XPC_NOTHROW;

XPC_END_DECLS

#endif
