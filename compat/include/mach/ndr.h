/*
 * mach/ndr.h: the data-representation record that MIG messages carry.
 * Header-only; NDR_record describes this machine (little-endian, IEEE).
 */
#ifndef HARLUNE_COMPAT_MACH_NDR_H
#define HARLUNE_COMPAT_MACH_NDR_H

typedef struct {
    unsigned char mig_vers;
    unsigned char if_vers;
    unsigned char reserved1;
    unsigned char mig_encoding;
    unsigned char int_rep;
    unsigned char char_rep;
    unsigned char float_rep;
    unsigned char reserved2;
} NDR_record_t;

static const NDR_record_t NDR_record = {0, 0, 0, 0, 1, 0, 0, 0};

#endif
