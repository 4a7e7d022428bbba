/*
 * dispatch/dispatch.h: the whole dispatch interface: objects, time, queues,
 * groups, semaphores and one-time initialisation. See each header for the
 * abstraction, thread safety, lifetime and the differences from Apple's
 * platform.
 */
#ifndef HARLUNE_COMPAT_DISPATCH_DISPATCH_H
#define HARLUNE_COMPAT_DISPATCH_DISPATCH_H

#include <dispatch/base.h>
#include <dispatch/object.h>
#include <dispatch/time.h>
#include <dispatch/queue.h>
#include <dispatch/group.h>
#include <dispatch/semaphore.h>
#include <dispatch/once.h>

#endif
