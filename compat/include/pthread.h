/*
 * pthread.h: the system's POSIX threads header plus the one non-portable
 * call of Apple's that the product uses.
 *
 * pthread_main_np() returns 1 on the process's main thread (the thread whose
 * kernel id is the process id: the one that ran main) and 0 on any other.
 * In a forked child the forking thread becomes the main thread, as on
 * Apple's platform. Async-signal-safe; no state.
 */
#ifndef HARLUNE_COMPAT_PTHREAD_H
#define HARLUNE_COMPAT_PTHREAD_H

#include_next <pthread.h>

#ifdef __cplusplus
extern "C" {
#endif

__attribute__((visibility("default"))) int pthread_main_np(void);

#ifdef __cplusplus
}
#endif

#endif
