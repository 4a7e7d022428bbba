/*
 * mach/exception_types.h: exception kinds, masks, behaviours and codes.
 * Header-only.
 */
#ifndef HARLUNE_COMPAT_MACH_EXCEPTION_TYPES_H
#define HARLUNE_COMPAT_MACH_EXCEPTION_TYPES_H

#include <stdint.h>
#include <mach/port.h>
#include <mach/thread_status.h>

typedef int exception_type_t;
typedef uint32_t exception_mask_t;
typedef int exception_behavior_t;
typedef int64_t mach_exception_data_type_t;
typedef mach_exception_data_type_t *mach_exception_data_t;
typedef int32_t exception_data_type_t;
typedef exception_data_type_t *exception_data_t;

#define EXC_BAD_ACCESS 1
#define EXC_BAD_INSTRUCTION 2
#define EXC_ARITHMETIC 3
#define EXC_EMULATION 4
#define EXC_SOFTWARE 5
#define EXC_BREAKPOINT 6
#define EXC_SYSCALL 7
#define EXC_MACH_SYSCALL 8
#define EXC_RPC_ALERT 9
#define EXC_CRASH 10
#define EXC_RESOURCE 11
#define EXC_GUARD 12
#define EXC_CORPSE_NOTIFY 13

#define EXC_MASK_BAD_ACCESS (1u << EXC_BAD_ACCESS)
#define EXC_MASK_BAD_INSTRUCTION (1u << EXC_BAD_INSTRUCTION)
#define EXC_MASK_ARITHMETIC (1u << EXC_ARITHMETIC)
#define EXC_MASK_EMULATION (1u << EXC_EMULATION)
#define EXC_MASK_SOFTWARE (1u << EXC_SOFTWARE)
#define EXC_MASK_BREAKPOINT (1u << EXC_BREAKPOINT)
#define EXC_MASK_SYSCALL (1u << EXC_SYSCALL)
#define EXC_MASK_MACH_SYSCALL (1u << EXC_MACH_SYSCALL)
#define EXC_MASK_RPC_ALERT (1u << EXC_RPC_ALERT)
#define EXC_MASK_CRASH (1u << EXC_CRASH)
#define EXC_MASK_RESOURCE (1u << EXC_RESOURCE)
#define EXC_MASK_GUARD (1u << EXC_GUARD)
#define EXC_MASK_CORPSE_NOTIFY (1u << EXC_CORPSE_NOTIFY)

#define EXCEPTION_DEFAULT 1
#define EXCEPTION_STATE 2
#define EXCEPTION_STATE_IDENTITY 3
#define MACH_EXCEPTION_CODES 0x80000000

/* First code of EXC_BAD_ACCESS: what kind of bad access (the second code
 * is the address). */
#define KERN_INVALID_ADDRESS 1
#define KERN_PROTECTION_FAILURE 2
#define KERN_MEMORY_ERROR 10
/* First code of EXC_BAD_INSTRUCTION and EXC_ARITHMETIC on x86. */
#define EXC_I386_INVOP 1
#define EXC_I386_DIV 1
#define EXC_I386_INTO 2
#define EXC_I386_NOEXT 3
#define EXC_I386_EXTOVR 4
#define EXC_I386_EXTERR 5
#define EXC_I386_EMERR 6
#define EXC_I386_SSEEXTERR 8

#endif
