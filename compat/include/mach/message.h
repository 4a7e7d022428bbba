/*
 * mach/message.h: Mach messages: the header, descriptors, trailer, options
 * and result codes of mach_msg.
 *
 * On Linux, messages travel only between threads of one process (ports are
 * process-local, see <mach/mach_port.h>). The layout is Apple's, so code
 * that builds and parses messages byte by byte works unchanged. Header-only.
 */
#ifndef HARLUNE_COMPAT_MACH_MESSAGE_H
#define HARLUNE_COMPAT_MACH_MESSAGE_H

#include <stdint.h>
#include <mach/kern_return.h>
#include <mach/port.h>

typedef uint32_t mach_msg_bits_t;
typedef natural_t mach_msg_size_t;
typedef integer_t mach_msg_id_t;
typedef integer_t mach_msg_option_t;
typedef natural_t mach_msg_timeout_t;
typedef kern_return_t mach_msg_return_t;
typedef natural_t mach_msg_type_name_t;
typedef natural_t mach_msg_type_number_t;
typedef natural_t mach_msg_descriptor_type_t;
typedef unsigned int mach_msg_trailer_type_t;
typedef unsigned int mach_msg_trailer_size_t;

typedef struct {
    mach_msg_bits_t msgh_bits;
    mach_msg_size_t msgh_size;
    mach_port_t msgh_remote_port;
    mach_port_t msgh_local_port;
    mach_port_name_t msgh_voucher_port;
    mach_msg_id_t msgh_id;
} mach_msg_header_t;

typedef struct {
    mach_msg_size_t msgh_descriptor_count;
} mach_msg_body_t;

#pragma pack(push, 4)
typedef struct {
    mach_port_t name;
    mach_msg_size_t pad1;
    unsigned int pad2 : 16;
    mach_msg_type_name_t disposition : 8;
    mach_msg_descriptor_type_t type : 8;
} mach_msg_port_descriptor_t;
#pragma pack(pop)

/* Every received message is followed by this trailer (type 0, size 8). */
typedef struct {
    mach_msg_trailer_type_t msgh_trailer_type;
    mach_msg_trailer_size_t msgh_trailer_size;
} mach_msg_trailer_t;

#define MACH_MSG_TRAILER_FORMAT_0 0
#define MACH_MSG_PORT_DESCRIPTOR 0

#define MACH_MSGH_BITS_ZERO 0x00000000u
#define MACH_MSGH_BITS_REMOTE_MASK 0x0000001fu
#define MACH_MSGH_BITS_LOCAL_MASK 0x00001f00u
#define MACH_MSGH_BITS_COMPLEX 0x80000000u
#define MACH_MSGH_BITS(remote, local) ((remote) | ((local) << 8))
#define MACH_MSGH_BITS_REMOTE(bits) ((bits) & MACH_MSGH_BITS_REMOTE_MASK)
#define MACH_MSGH_BITS_LOCAL(bits) (((bits) & MACH_MSGH_BITS_LOCAL_MASK) >> 8)

#define MACH_MSG_TYPE_MOVE_RECEIVE 16
#define MACH_MSG_TYPE_MOVE_SEND 17
#define MACH_MSG_TYPE_MOVE_SEND_ONCE 18
#define MACH_MSG_TYPE_COPY_SEND 19
#define MACH_MSG_TYPE_MAKE_SEND 20
#define MACH_MSG_TYPE_MAKE_SEND_ONCE 21
#define MACH_MSG_TYPE_PORT_RECEIVE MACH_MSG_TYPE_MOVE_RECEIVE
#define MACH_MSG_TYPE_PORT_SEND MACH_MSG_TYPE_MOVE_SEND
#define MACH_MSG_TYPE_PORT_SEND_ONCE MACH_MSG_TYPE_MOVE_SEND_ONCE

#define MACH_MSG_OPTION_NONE 0x00000000
#define MACH_SEND_MSG 0x00000001
#define MACH_RCV_MSG 0x00000002
#define MACH_SEND_TIMEOUT 0x00000010
#define MACH_RCV_TIMEOUT 0x00000100
#define MACH_RCV_INTERRUPT 0x00000400
#define MACH_MSG_TIMEOUT_NONE ((mach_msg_timeout_t)0)

#define MACH_MSG_SUCCESS 0x00000000
#define MACH_SEND_INVALID_DATA 0x10000002
#define MACH_SEND_INVALID_DEST 0x10000003
#define MACH_SEND_TIMED_OUT 0x10000004
#define MACH_SEND_MSG_TOO_SMALL 0x10000008
#define MACH_SEND_INVALID_HEADER 0x10000010
#define MACH_SEND_NO_BUFFER 0x1000000d
#define MACH_RCV_INVALID_NAME 0x10004002
#define MACH_RCV_TIMED_OUT 0x10004003
#define MACH_RCV_TOO_LARGE 0x10004004
#define MACH_RCV_INTERRUPTED 0x10004005
#define MACH_RCV_PORT_DIED 0x10004009
#define MACH_RCV_INVALID_DATA 0x10004008

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Sends and/or receives one message, as Apple's mach_msg does:
 *  - MACH_SEND_MSG sends msg (send_size bytes, a multiple of 4 and at least
 *    a header; msgh_size is set from it) to msgh_remote_port, which must
 *    name a live port of this process. The message is copied; the call does
 *    not wait for a receiver. The receiver sees remote and local ports
 *    swapped (msgh_remote_port = the sender's reply port) and the
 *    dispositions turned into the rights it now holds.
 *  - MACH_RCV_MSG then receives the next message of rcv_name (which must
 *    hold the receive right) into msg, with the 8-byte trailer after it;
 *    rcv_size must hold both (else MACH_RCV_TOO_LARGE, and the message is
 *    dropped). It waits without limit unless MACH_RCV_TIMEOUT is given;
 *    with MACH_RCV_INTERRUPT a signal ends the wait with
 *    MACH_RCV_INTERRUPTED. When the receive right is destroyed during the
 *    wait the result is MACH_RCV_PORT_DIED.
 * A blocked receive is a thread-cancellation point. notify is ignored.
 * Not for signal handlers.
 */
__attribute__((visibility("default"))) mach_msg_return_t mach_msg(mach_msg_header_t *msg, mach_msg_option_t option,
                                                                   mach_msg_size_t send_size,
                                                                   mach_msg_size_t rcv_size, mach_port_name_t rcv_name,
                                                                   mach_msg_timeout_t timeout, mach_port_name_t notify);

#ifdef __cplusplus
}
#endif

#endif
