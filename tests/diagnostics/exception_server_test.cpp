// The exception message server's answers for known, unknown and malformed
// requests, and the handler thread's one exception.
#include "diagnostics/LDiagnostics.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

namespace {

constexpr mach_port_t kReplyPort = 0x1234;
constexpr mach_port_t kExceptionPort = 0x4321;

// A well-formed request for routine nId (2405 to 2407) with two codes and
// nStateWords words of state, as the receiver sees it.
std::vector<uint8_t> MakeRequest(int nId, uint32_t nStateWords = 0) {
    const bool bIdentity = nId != 2406;
    const bool bState = nId != 2405;
    std::vector<uint8_t> ar(sizeof(mach_msg_header_t));
    auto put32 = [&](uint32_t v) {
        const auto* p = reinterpret_cast<const uint8_t*>(&v);
        ar.insert(ar.end(), p, p + 4);
    };
    if (bIdentity) {
        put32(2);
        for (mach_port_t nName : {mach_thread_self(), mach_task_self()}) {
            mach_msg_port_descriptor_t d;
            memset(&d, 0, sizeof d);
            d.name = nName;
            d.disposition = MACH_MSG_TYPE_PORT_SEND;
            d.type = MACH_MSG_PORT_DESCRIPTOR;
            const auto* p = reinterpret_cast<const uint8_t*>(&d);
            ar.insert(ar.end(), p, p + sizeof d);
        }
    }
    const auto* pNdr = reinterpret_cast<const uint8_t*>(&NDR_record);
    ar.insert(ar.end(), pNdr, pNdr + sizeof NDR_record);
    put32(EXC_BAD_ACCESS);
    put32(2);
    for (int64_t nCode : {int64_t{KERN_INVALID_ADDRESS}, int64_t{0x10}}) {
        const auto* p = reinterpret_cast<const uint8_t*>(&nCode);
        ar.insert(ar.end(), p, p + 8);
    }
    if (bState) {
        put32(THREAD_STATE_NONE);
        put32(nStateWords);
        for (uint32_t i = 0; i < nStateWords; ++i) put32(i);
    }
    mach_msg_header_t head = {};
    head.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_PORT_SEND_ONCE, MACH_MSG_TYPE_PORT_SEND) |
                     (bIdentity ? MACH_MSGH_BITS_COMPLEX : 0);
    head.msgh_size = static_cast<mach_msg_size_t>(ar.size());
    head.msgh_remote_port = kReplyPort;
    head.msgh_local_port = kExceptionPort;
    head.msgh_id = nId;
    memcpy(ar.data(), &head, sizeof head);
    ar.resize(kLMachExcRequestSize);
    return ar;
}

mach_msg_header_t* Head(std::vector<uint8_t>& ar) { return reinterpret_cast<mach_msg_header_t*>(ar.data()); }

void Set32(std::vector<uint8_t>& ar, size_t nOffset, uint32_t n) { memcpy(ar.data() + nOffset, &n, 4); }

struct ServerCase {
    const char* szCase;
    int nId;
    uint32_t nStateWords;
    std::function<void(std::vector<uint8_t>&)> fnSpoil; // null: well formed
    bool bExpectedResult;
    kern_return_t nExpectedCode;
};

TEST(ExceptionServer, AnswersEveryRequest) {
    const ServerCase arCases[] = {
        {"raise", 2405, 0, nullptr, true, KERN_FAILURE},
        {"raise_state", 2406, 0, nullptr, true, KERN_FAILURE},
        {"raise_state with state", 2406, 224, nullptr, true, KERN_FAILURE},
        {"raise_state_identity", 2407, 3, nullptr, true, KERN_FAILURE},
        {"id below", 2404, 0, nullptr, false, MIG_BAD_ID},
        {"id above", 2408, 0, nullptr, false, MIG_BAD_ID},
        {"raise without complex bit", 2405, 0,
         [](auto& ar) { Head(ar)->msgh_bits &= ~MACH_MSGH_BITS_COMPLEX; }, true, MIG_BAD_ARGUMENTS},
        {"raise with one descriptor", 2405, 0, [](auto& ar) { Set32(ar, 24, 1); }, true, MIG_BAD_ARGUMENTS},
        {"raise with a non-port descriptor", 2405, 0, [](auto& ar) { ar[39] = 1; }, true, MIG_TYPE_ERROR},
        {"raise with three codes", 2405, 0, [](auto& ar) { Set32(ar, 64, 3); }, true, MIG_BAD_ARGUMENTS},
        {"raise too short", 2405, 0, [](auto& ar) { Head(ar)->msgh_size = 64; }, true, MIG_BAD_ARGUMENTS},
        {"raise size disagrees with count", 2405, 0, [](auto& ar) { Set32(ar, 64, 1); }, true,
         MIG_BAD_ARGUMENTS},
        {"raise_state with complex bit", 2406, 0,
         [](auto& ar) { Head(ar)->msgh_bits |= MACH_MSGH_BITS_COMPLEX; }, true, MIG_BAD_ARGUMENTS},
        {"raise_state with too much state", 2406, 0, [](auto& ar) { Set32(ar, 60, 225); }, true,
         MIG_BAD_ARGUMENTS},
        {"raise_state too long", 2406, 224, [](auto& ar) { Head(ar)->msgh_size += 4; }, true, MIG_BAD_ARGUMENTS},
    };
    for (const ServerCase& c : arCases) {
        std::vector<uint8_t> arRequest = MakeRequest(c.nId, c.nStateWords);
        if (c.fnSpoil) c.fnSpoil(arRequest);
        std::vector<uint8_t> arReply(kLMachExcReplySize, 0xEE);
        const boolean_t bResult = mach_exc_server(Head(arRequest), Head(arReply));
        const auto* pReply = reinterpret_cast<const mig_reply_error_t*>(arReply.data());
        EXPECT_EQ(bResult != 0, c.bExpectedResult) << c.szCase;
        EXPECT_EQ(pReply->RetCode, c.nExpectedCode) << c.szCase;
        EXPECT_EQ(pReply->Head.msgh_size, 36u) << c.szCase;
        EXPECT_EQ(pReply->Head.msgh_id, c.nId + 100) << c.szCase;
        EXPECT_EQ(pReply->Head.msgh_remote_port, kReplyPort) << c.szCase;
        EXPECT_EQ(pReply->Head.msgh_local_port, MACH_PORT_NULL) << c.szCase;
        EXPECT_EQ(pReply->Head.msgh_bits, static_cast<mach_msg_bits_t>(MACH_MSG_TYPE_PORT_SEND_ONCE)) << c.szCase;
        EXPECT_EQ(mach_exc_server_routine(Head(arRequest)) != nullptr, c.nId >= 2405 && c.nId <= 2407) << c.szCase;
    }
}

// A port this test owns, released at the end.
struct OwnPort {
    mach_port_t nName = MACH_PORT_NULL;
    OwnPort() { mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &nName); }
    ~OwnPort() { mach_port_mod_refs(mach_task_self(), nName, MACH_PORT_RIGHT_RECEIVE, -1); }
};

// Sends a request of id nId to the installer's port with a reply port of
// ours, joins the handler thread and reports whether a reply came and its code.
bool ServeOne(LExceptionHandlerInstaller& installer, int nId, kern_return_t* pnCode) {
    OwnPort reply;
    std::vector<uint8_t> arRequest = MakeRequest(nId == 2404 ? 2405 : nId);
    Head(arRequest)->msgh_id = nId;
    Head(arRequest)->msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, MACH_MSG_TYPE_MAKE_SEND_ONCE) |
                                 MACH_MSGH_BITS_COMPLEX;
    Head(arRequest)->msgh_remote_port = installer.nExceptionPort;
    Head(arRequest)->msgh_local_port = reply.nName;
    if (mach_msg(Head(arRequest), MACH_SEND_MSG, Head(arRequest)->msgh_size, 0, MACH_PORT_NULL, 0, 0) !=
        MACH_MSG_SUCCESS) {
        return false;
    }
    pthread_join(installer.hThread, nullptr);
    installer.bThreadStarted = false; // joined: the teardown must not cancel it
    std::vector<uint8_t> arReply(kLMachExcReplySize + 64);
    if (mach_msg(Head(arReply), MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, static_cast<mach_msg_size_t>(arReply.size()),
                 reply.nName, 0, 0) != MACH_MSG_SUCCESS) {
        return false;
    }
    *pnCode = reinterpret_cast<mig_reply_error_t*>(arReply.data())->RetCode;
    return Head(arReply)->msgh_id == nId + 100;
}

TEST(ExceptionHandlerThread, AnswersOneExceptionNotHandled) {
    LExceptionHandlerInstaller installer;
    ASSERT_TRUE(MACH_PORT_VALID(installer.nExceptionPort));
    ASSERT_TRUE(installer.bThreadStarted);
    kern_return_t nCode = 0;
    EXPECT_TRUE(ServeOne(installer, 2405, &nCode));
    EXPECT_EQ(nCode, KERN_FAILURE);
}

TEST(ExceptionHandlerThread, UnknownIdGetsNoReply) {
    for (int nId : {2404, 2408}) {
        LExceptionHandlerInstaller installer;
        kern_return_t nCode = 0;
        EXPECT_FALSE(ServeOne(installer, nId, &nCode)) << nId;
    }
}

TEST(ExceptionHandlerThread, TeardownReleasesThePort) {
    auto* pInstaller = new LExceptionHandlerInstaller;
    const mach_port_t nPort = pInstaller->nExceptionPort;
    kern_return_t nCode = 0;
    ASSERT_TRUE(ServeOne(*pInstaller, 2405, &nCode)); // the thread has ended
    pInstaller->~LExceptionHandlerInstaller();
    EXPECT_EQ(pInstaller->nExceptionPort, MACH_PORT_NULL);
    // The send right is gone; the receive right stays (the port is not
    // destroyed), so the name still takes no second deallocation.
    EXPECT_EQ(mach_port_deallocate(mach_task_self(), nPort), KERN_INVALID_RIGHT);
    ::operator delete(pInstaller);
}

TEST(ExceptionHandlerThread, NullArgumentEndsAtOnce) {
    EXPECT_EQ(LExceptionHandlerInstaller::LMachExceptionHandlerThread(nullptr), nullptr);
}

} // namespace
