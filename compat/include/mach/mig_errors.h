/*
 * mach/mig_errors.h: the return codes of MIG servers and the short error
 * reply they send. Header-only.
 */
#ifndef HARLUNE_COMPAT_MACH_MIG_ERRORS_H
#define HARLUNE_COMPAT_MACH_MIG_ERRORS_H

#include <mach/message.h>
#include <mach/ndr.h>

#define MIG_TYPE_ERROR -300
#define MIG_REPLY_MISMATCH -301
#define MIG_REMOTE_ERROR -302
#define MIG_BAD_ID -303
#define MIG_BAD_ARGUMENTS -304
#define MIG_NO_REPLY -305

#pragma pack(push, 4)
typedef struct {
    mach_msg_header_t Head;
    NDR_record_t NDR;
    kern_return_t RetCode;
} mig_reply_error_t;
#pragma pack(pop)

typedef void (*mig_routine_t)(mach_msg_header_t *InHeadP, mach_msg_header_t *OutHeadP);

#endif
