// Any request a port could deliver gets a well-formed 36-byte answer and
// never makes the server read or write outside its buffers.
#include "diagnostics/LMachExcServer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize < sizeof(mach_msg_header_t)) return 0;
    // As delivered by mach_msg: exactly msgh_size bytes (the header's size
    // field is set by the transport) in a buffer of the receive limit.
    const size_t nMessage = std::min(nSize, kLMachExcRequestSize - sizeof(mach_msg_trailer_t)) & ~size_t{3};
    std::vector<uint8_t> arRequest(pData, pData + nMessage);
    auto* pRequest = reinterpret_cast<mach_msg_header_t*>(arRequest.data());
    pRequest->msgh_size = static_cast<mach_msg_size_t>(nMessage);
    std::vector<uint8_t> arReply(kLMachExcReplySize);
    const boolean_t bKnown = mach_exc_server(pRequest, reinterpret_cast<mach_msg_header_t*>(arReply.data()));
    const auto* pReply = reinterpret_cast<const mig_reply_error_t*>(arReply.data());
    const bool bIdKnown = pRequest->msgh_id >= 2405 && pRequest->msgh_id <= 2407;
    if ((bKnown != 0) != bIdKnown) abort();
    if (pReply->Head.msgh_size != 36 || pReply->Head.msgh_id != pRequest->msgh_id + 100) abort();
    if (pReply->Head.msgh_remote_port != pRequest->msgh_remote_port) abort();
    switch (pReply->RetCode) {
    case KERN_FAILURE:
    case MIG_BAD_ARGUMENTS:
    case MIG_TYPE_ERROR:
    case MIG_BAD_ID: break;
    default: abort();
    }
    return 0;
}
