/*
 * mach/boolean.h: Mach's boolean type. Header-only.
 */
#ifndef HARLUNE_COMPAT_MACH_BOOLEAN_H
#define HARLUNE_COMPAT_MACH_BOOLEAN_H

typedef int boolean_t;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#endif
