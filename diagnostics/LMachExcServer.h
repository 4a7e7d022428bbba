// LMachExcServer.h: the server side of the mach_exc subsystem (exception
// requests with 64-bit codes), written out by hand to the subsystem's
// message layout, and the three callouts it calls.
//
// Routines and message ids: 2405 mach_exception_raise, 2406
// mach_exception_raise_state, 2407 mach_exception_raise_state_identity;
// replies carry the request id + 100. The callouts of this library answer
// every exception KERN_FAILURE ("not handled") and do nothing else, so the
// platform's further handling of the fault goes on unchanged.
//
// Thread safety: the functions keep no state; the buffers belong to the
// caller.
#ifndef HARLUNE_DIAGNOSTICS_LMACHEXCSERVER_H
#define HARLUNE_DIAGNOSTICS_LMACHEXCSERVER_H

#include <cstddef>

#include <mach/mach.h>

// Size of the buffer a request is received into (the largest request, 988
// bytes, and the largest trailer the platform appends), and of the reply
// buffer.
inline constexpr size_t kLMachExcRequestSize = 1052;
inline constexpr size_t kLMachExcReplySize = 280;
// Most state words a state routine's reply can carry in kLMachExcReplySize
// bytes; the callouts are told this capacity.
inline constexpr mach_msg_type_number_t kLMachExcReplyStateMax = (kLMachExcReplySize - 44) / 4;

// Fills the reply header from the request (remote disposition of the
// request with no local port, remote port = the request's reply port, size
// 36, id + 100) and, for a known id, checks the request and calls its
// callout; the callout's result (or MIG_BAD_ARGUMENTS / MIG_TYPE_ERROR for a
// request that does not fit its routine) becomes the reply's return code.
// An unknown id gets MIG_BAD_ID and false. pReply must hold
// kLMachExcReplySize bytes; the request must hold its msgh_size bytes.
extern "C" boolean_t mach_exc_server(mach_msg_header_t* pRequest, mach_msg_header_t* pReply);

// The routine for the request's id, or null for an id outside 2405-2407.
extern "C" mig_routine_t mach_exc_server_routine(mach_msg_header_t* pRequest);

// The callouts: each returns KERN_FAILURE and does nothing else.
extern "C" kern_return_t catch_mach_exception_raise(mach_port_t nExceptionPort, mach_port_t nThread,
                                                    mach_port_t nTask, exception_type_t nException,
                                                    mach_exception_data_t arCodes,
                                                    mach_msg_type_number_t nCodeCount);
extern "C" kern_return_t catch_mach_exception_raise_state(
    mach_port_t nExceptionPort, exception_type_t nException, const mach_exception_data_type_t* arCodes,
    mach_msg_type_number_t nCodeCount, int* pnFlavor, const natural_t* arOldState,
    mach_msg_type_number_t nOldStateCount, natural_t* arNewState, mach_msg_type_number_t* pnNewStateCount);
extern "C" kern_return_t catch_mach_exception_raise_state_identity(
    mach_port_t nExceptionPort, mach_port_t nThread, mach_port_t nTask, exception_type_t nException,
    mach_exception_data_t arCodes, mach_msg_type_number_t nCodeCount, int* pnFlavor, natural_t* arOldState,
    mach_msg_type_number_t nOldStateCount, natural_t* arNewState, mach_msg_type_number_t* pnNewStateCount);

#endif
