// The mach_exc server: request checks, callout dispatch and replies, laid
// out as the subsystem's generated server lays them out.
#include "diagnostics/LMachExcServer.h"

#include <cstring>
#include <initializer_list>

namespace {

// Offsets into the requests. The routines that carry thread and task have
// a body (descriptor count) and two 12-byte port descriptors after the
// header; every request then has the NDR record, the exception type, the
// code count and the codes; the state routines follow with flavour, state
// count and state. Fields after a variable array move up when it is short.
constexpr size_t kHeader = sizeof(mach_msg_header_t);     // 24
constexpr size_t kIdentityPrefix = kHeader + 4 + 12 + 12;  // 52: body and descriptors
constexpr size_t kFixedAfterPrefix = 8 + 4 + 4;            // NDR, exception, code count
constexpr size_t kMaxCodes = 2;
constexpr size_t kReplyErrorSize = sizeof(mig_reply_error_t); // 36
constexpr size_t kReplyStateHeader = kReplyErrorSize + 8;     // flavour and state count

uint32_t Read32(const mach_msg_header_t* pRequest, size_t nOffset) {
    uint32_t n;
    memcpy(&n, reinterpret_cast<const uint8_t*>(pRequest) + nOffset, sizeof n);
    return n;
}

void SetRetCode(mach_msg_header_t* pReply, kern_return_t nCode) {
    auto* pError = reinterpret_cast<mig_reply_error_t*>(pReply);
    pError->NDR = NDR_record;
    pError->RetCode = nCode;
    pReply->msgh_size = static_cast<mach_msg_size_t>(kReplyErrorSize);
}

// The checks a routine with thread and task makes of its body and port
// descriptors: 0 when they fit, else the MIG code.
kern_return_t CheckIdentity(const mach_msg_header_t* pRequest) {
    if (!(pRequest->msgh_bits & MACH_MSGH_BITS_COMPLEX) || Read32(pRequest, kHeader) != 2) return MIG_BAD_ARGUMENTS;
    for (size_t nDescriptor : {kHeader + 4, kHeader + 16}) {
        mach_msg_port_descriptor_t d;
        memcpy(&d, reinterpret_cast<const uint8_t*>(pRequest) + nDescriptor, sizeof d);
        if (d.type != MACH_MSG_PORT_DESCRIPTOR || d.disposition != MACH_MSG_TYPE_PORT_SEND) return MIG_TYPE_ERROR;
    }
    return 0;
}

// The parsed common part of a request.
struct Request {
    mach_port_t nThread = MACH_PORT_NULL;
    mach_port_t nTask = MACH_PORT_NULL;
    exception_type_t nException = 0;
    mach_msg_type_number_t nCodeCount = 0;
    mach_exception_data_type_t arCodes[kMaxCodes] = {};
    int nFlavor = 0;
    mach_msg_type_number_t nStateCount = 0;
    natural_t arState[THREAD_STATE_MAX] = {};
};

// Checks the request's size and layout for a routine with (bIdentity) or
// without thread and task, and with (bState) or without a state, and reads
// it. 0 when it fits, else the MIG code.
kern_return_t ParseRequest(const mach_msg_header_t* pRequest, bool bIdentity, bool bState, Request* pOut) {
    const size_t nPrefix = bIdentity ? kIdentityPrefix : kHeader;
    const size_t nStateFixed = bState ? 8 : 0;
    const size_t nMin = nPrefix + kFixedAfterPrefix + nStateFixed;
    const size_t nMax = nMin + kMaxCodes * 8 + (bState ? THREAD_STATE_MAX * 4 : 0);
    const size_t nSize = pRequest->msgh_size;
    if (bIdentity) {
        if (nSize < nMin || nSize > nMax) return MIG_BAD_ARGUMENTS;
        if (kern_return_t nCheck = CheckIdentity(pRequest)) return nCheck;
    } else if ((pRequest->msgh_bits & MACH_MSGH_BITS_COMPLEX) || nSize < nMin || nSize > nMax) {
        return MIG_BAD_ARGUMENTS;
    }
    const auto* pBytes = reinterpret_cast<const uint8_t*>(pRequest);
    if (bIdentity) {
        pOut->nThread = Read32(pRequest, kHeader + 4);
        pOut->nTask = Read32(pRequest, kHeader + 16);
    }
    pOut->nException = static_cast<exception_type_t>(Read32(pRequest, nPrefix + 8));
    pOut->nCodeCount = Read32(pRequest, nPrefix + 12);
    if (pOut->nCodeCount > kMaxCodes) return MIG_BAD_ARGUMENTS;
    const size_t nCodesEnd = nPrefix + kFixedAfterPrefix + pOut->nCodeCount * 8;
    if (nSize < nCodesEnd + nStateFixed) return MIG_BAD_ARGUMENTS;
    memcpy(pOut->arCodes, pBytes + nPrefix + kFixedAfterPrefix, pOut->nCodeCount * 8);
    if (!bState) return nSize == nCodesEnd ? 0 : MIG_BAD_ARGUMENTS;
    pOut->nFlavor = static_cast<int>(Read32(pRequest, nCodesEnd));
    pOut->nStateCount = Read32(pRequest, nCodesEnd + 4);
    if (pOut->nStateCount > THREAD_STATE_MAX) return MIG_BAD_ARGUMENTS;
    if (nSize != nCodesEnd + 8 + pOut->nStateCount * 4) return MIG_BAD_ARGUMENTS;
    memcpy(pOut->arState, pBytes + nCodesEnd + 8, pOut->nStateCount * 4);
    return 0;
}

// A state routine's successful reply: flavour, state count and state after
// the return code.
void SetStateReply(mach_msg_header_t* pReply, int nFlavor, const natural_t* arState, mach_msg_type_number_t nCount) {
    SetRetCode(pReply, KERN_SUCCESS);
    auto* pBytes = reinterpret_cast<uint8_t*>(pReply);
    memcpy(pBytes + kReplyErrorSize, &nFlavor, 4);
    memcpy(pBytes + kReplyErrorSize + 4, &nCount, 4);
    memcpy(pBytes + kReplyStateHeader, arState, nCount * 4);
    pReply->msgh_size = static_cast<mach_msg_size_t>(kReplyStateHeader + nCount * 4);
}

void RaiseRoutine(mach_msg_header_t* pRequest, mach_msg_header_t* pReply) {
    Request request;
    if (kern_return_t nCheck = ParseRequest(pRequest, true, false, &request)) return SetRetCode(pReply, nCheck);
    SetRetCode(pReply, catch_mach_exception_raise(pRequest->msgh_local_port, request.nThread, request.nTask,
                                                  request.nException, request.arCodes, request.nCodeCount));
}

void RaiseStateRoutine(mach_msg_header_t* pRequest, mach_msg_header_t* pReply) {
    Request request;
    if (kern_return_t nCheck = ParseRequest(pRequest, false, true, &request)) return SetRetCode(pReply, nCheck);
    natural_t arNewState[kLMachExcReplyStateMax];
    mach_msg_type_number_t nNewCount = kLMachExcReplyStateMax;
    const kern_return_t nResult = catch_mach_exception_raise_state(
        pRequest->msgh_local_port, request.nException, request.arCodes, request.nCodeCount, &request.nFlavor,
        request.arState, request.nStateCount, arNewState, &nNewCount);
    if (nResult != KERN_SUCCESS) return SetRetCode(pReply, nResult);
    if (nNewCount > kLMachExcReplyStateMax) return SetRetCode(pReply, MIG_BAD_ARGUMENTS);
    SetStateReply(pReply, request.nFlavor, arNewState, nNewCount);
}

void RaiseStateIdentityRoutine(mach_msg_header_t* pRequest, mach_msg_header_t* pReply) {
    Request request;
    if (kern_return_t nCheck = ParseRequest(pRequest, true, true, &request)) return SetRetCode(pReply, nCheck);
    natural_t arNewState[kLMachExcReplyStateMax];
    mach_msg_type_number_t nNewCount = kLMachExcReplyStateMax;
    const kern_return_t nResult = catch_mach_exception_raise_state_identity(
        pRequest->msgh_local_port, request.nThread, request.nTask, request.nException, request.arCodes,
        request.nCodeCount, &request.nFlavor, request.arState, request.nStateCount, arNewState, &nNewCount);
    if (nResult != KERN_SUCCESS) return SetRetCode(pReply, nResult);
    if (nNewCount > kLMachExcReplyStateMax) return SetRetCode(pReply, MIG_BAD_ARGUMENTS);
    SetStateReply(pReply, request.nFlavor, arNewState, nNewCount);
}

} // namespace

extern "C" mig_routine_t mach_exc_server_routine(mach_msg_header_t* pRequest) {
    if (pRequest == nullptr) return nullptr;
    switch (pRequest->msgh_id) {
    case 2405: return RaiseRoutine;
    case 2406: return RaiseStateRoutine;
    case 2407: return RaiseStateIdentityRoutine;
    default: return nullptr;
    }
}

extern "C" boolean_t mach_exc_server(mach_msg_header_t* pRequest, mach_msg_header_t* pReply) {
    if (pRequest == nullptr || pReply == nullptr) return FALSE;
    pReply->msgh_bits = MACH_MSGH_BITS(MACH_MSGH_BITS_REMOTE(pRequest->msgh_bits), 0);
    pReply->msgh_remote_port = pRequest->msgh_remote_port;
    pReply->msgh_size = static_cast<mach_msg_size_t>(kReplyErrorSize);
    pReply->msgh_local_port = MACH_PORT_NULL;
    pReply->msgh_id = pRequest->msgh_id + 100;
    pReply->msgh_voucher_port = MACH_PORT_NULL;
    mig_routine_t pfnRoutine = mach_exc_server_routine(pRequest);
    if (pfnRoutine == nullptr) {
        SetRetCode(pReply, MIG_BAD_ID);
        return FALSE;
    }
    pfnRoutine(pRequest, pReply);
    return TRUE;
}

extern "C" kern_return_t catch_mach_exception_raise(mach_port_t, mach_port_t, mach_port_t, exception_type_t,
                                                    mach_exception_data_t, mach_msg_type_number_t) {
    return KERN_FAILURE;
}

extern "C" kern_return_t catch_mach_exception_raise_state(mach_port_t, exception_type_t,
                                                          const mach_exception_data_type_t*, mach_msg_type_number_t,
                                                          int*, const natural_t*, mach_msg_type_number_t, natural_t*,
                                                          mach_msg_type_number_t*) {
    return KERN_FAILURE;
}

extern "C" kern_return_t catch_mach_exception_raise_state_identity(mach_port_t, mach_port_t, mach_port_t,
                                                                   exception_type_t, mach_exception_data_t,
                                                                   mach_msg_type_number_t, int*, natural_t*,
                                                                   mach_msg_type_number_t, natural_t*,
                                                                   mach_msg_type_number_t*) {
    return KERN_FAILURE;
}
