// Process-local Mach ports and messages: rights, names, send and receive,
// timeouts, interruption, a destroyed port, and the thread and main-thread
// names.
#include <mach/mach.h>
#include <pthread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

struct Port {
    mach_port_t nName = MACH_PORT_NULL;
    Port() { EXPECT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &nName), KERN_SUCCESS); }
    ~Port() { mach_port_mod_refs(mach_task_self(), nName, MACH_PORT_RIGHT_RECEIVE, -1); }
};

struct Message {
    mach_msg_header_t head;
    uint32_t nPayload;
};

mach_msg_return_t SendTo(mach_port_t nDest, uint32_t nPayload, mach_port_t nReply = MACH_PORT_NULL, int nId = 7) {
    Message m = {};
    m.head.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, nReply ? MACH_MSG_TYPE_MAKE_SEND_ONCE : 0);
    m.head.msgh_remote_port = nDest;
    m.head.msgh_local_port = nReply;
    m.head.msgh_id = nId;
    m.nPayload = nPayload;
    return mach_msg(&m.head, MACH_SEND_MSG, sizeof m, 0, MACH_PORT_NULL, 0, MACH_PORT_NULL);
}

struct Received {
    Message m;
    mach_msg_trailer_t trailer;
};

mach_msg_return_t ReceiveFrom(mach_port_t nPort, Received* pOut, mach_msg_option_t nOptions = MACH_RCV_TIMEOUT,
                              mach_msg_timeout_t nTimeout = 0, mach_msg_size_t nSize = sizeof(Received)) {
    memset(pOut, 0, sizeof *pOut);
    return mach_msg(&pOut->m.head, MACH_RCV_MSG | nOptions, 0, nSize, nPort, nTimeout, MACH_PORT_NULL);
}

TEST(MachPort, RightsAndNames) {
    const mach_port_t nTask = mach_task_self();
    Port port;
    mach_port_t nOther = MACH_PORT_NULL;
    struct Case {
        const char* szCase;
        kern_return_t nResult;
        kern_return_t nExpected;
    } arCases[] = {
        {"send right needs one first", mach_port_deallocate(nTask, port.nName), KERN_INVALID_RIGHT},
        {"make send", mach_port_insert_right(nTask, port.nName, port.nName, MACH_MSG_TYPE_MAKE_SEND), KERN_SUCCESS},
        {"copy send", mach_port_insert_right(nTask, port.nName, port.nName, MACH_MSG_TYPE_COPY_SEND), KERN_SUCCESS},
        {"names must agree", mach_port_insert_right(nTask, port.nName, port.nName + 1, MACH_MSG_TYPE_MAKE_SEND),
         KERN_INVALID_VALUE},
        {"drop one", mach_port_deallocate(nTask, port.nName), KERN_SUCCESS},
        {"drop two", mach_port_deallocate(nTask, port.nName), KERN_SUCCESS},
        {"no third", mach_port_deallocate(nTask, port.nName), KERN_INVALID_RIGHT},
        {"unknown name", mach_port_deallocate(nTask, 0x80000FFFu), KERN_INVALID_NAME},
        {"a thread name holds nothing", mach_port_deallocate(nTask, mach_thread_self()), KERN_SUCCESS},
        {"another task", mach_port_allocate(nTask + 1, MACH_PORT_RIGHT_RECEIVE, &nOther), KERN_INVALID_TASK},
        {"only receive rights are made", mach_port_allocate(nTask, MACH_PORT_RIGHT_SEND, &nOther),
         KERN_INVALID_VALUE},
        {"null out", mach_port_allocate(nTask, MACH_PORT_RIGHT_RECEIVE, nullptr), KERN_INVALID_ARGUMENT},
    };
    for (const Case& c : arCases) EXPECT_EQ(c.nResult, c.nExpected) << c.szCase;
}

TEST(MachPort, NamesOfDestroyedPortsStayInvalid) {
    mach_port_t nName = MACH_PORT_NULL;
    ASSERT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &nName), KERN_SUCCESS);
    ASSERT_EQ(mach_port_mod_refs(mach_task_self(), nName, MACH_PORT_RIGHT_RECEIVE, -1), KERN_SUCCESS);
    Port reused; // most likely the same entry, under a new name
    EXPECT_NE(reused.nName, nName);
    EXPECT_EQ(SendTo(nName, 1), MACH_SEND_INVALID_DEST);
    Received r;
    EXPECT_EQ(ReceiveFrom(nName, &r), MACH_RCV_INVALID_NAME);
}

TEST(MachMsg, SendAndReceiveInOrder) {
    Port port, reply;
    for (uint32_t i = 0; i < 3; ++i) ASSERT_EQ(SendTo(port.nName, i, reply.nName, 100 + i), MACH_MSG_SUCCESS);
    for (uint32_t i = 0; i < 3; ++i) {
        Received r;
        ASSERT_EQ(ReceiveFrom(port.nName, &r), MACH_MSG_SUCCESS);
        EXPECT_EQ(r.m.nPayload, i);
        EXPECT_EQ(r.m.head.msgh_id, static_cast<mach_msg_id_t>(100 + i));
        EXPECT_EQ(r.m.head.msgh_size, sizeof(Message));
        // Seen from the receiver: the reply port is remote, the port local,
        // and the rights are the ones it now holds.
        EXPECT_EQ(r.m.head.msgh_remote_port, reply.nName);
        EXPECT_EQ(r.m.head.msgh_local_port, port.nName);
        EXPECT_EQ(MACH_MSGH_BITS_REMOTE(r.m.head.msgh_bits), static_cast<mach_msg_bits_t>(MACH_MSG_TYPE_PORT_SEND_ONCE));
        EXPECT_EQ(MACH_MSGH_BITS_LOCAL(r.m.head.msgh_bits), static_cast<mach_msg_bits_t>(MACH_MSG_TYPE_PORT_SEND));
        EXPECT_EQ(r.trailer.msgh_trailer_size, sizeof(mach_msg_trailer_t));
    }
    Received r;
    EXPECT_EQ(ReceiveFrom(port.nName, &r), MACH_RCV_TIMED_OUT);
}

TEST(MachMsg, BadArguments) {
    Port port;
    Message m = {};
    m.head.msgh_remote_port = port.nName;
    Received r;
    struct Case {
        const char* szCase;
        mach_msg_return_t nResult;
        mach_msg_return_t nExpected;
    } arCases[] = {
        {"shorter than a header", mach_msg(&m.head, MACH_SEND_MSG, 8, 0, 0, 0, 0), MACH_SEND_MSG_TOO_SMALL},
        {"not a multiple of 4", mach_msg(&m.head, MACH_SEND_MSG, 26, 0, 0, 0, 0), MACH_SEND_MSG_TOO_SMALL},
        {"null message", mach_msg(nullptr, MACH_SEND_MSG, 24, 0, 0, 0, 0), MACH_SEND_INVALID_HEADER},
        {"no destination", SendTo(MACH_PORT_NULL, 1), MACH_SEND_INVALID_DEST},
        {"send for the later receive", SendTo(port.nName, 5), MACH_MSG_SUCCESS},
        {"buffer without room for the trailer", ReceiveFrom(port.nName, &r, MACH_RCV_TIMEOUT, 0, sizeof(Message)),
         MACH_RCV_TOO_LARGE},
        {"the too-large message was dropped", ReceiveFrom(port.nName, &r), MACH_RCV_TIMED_OUT},
    };
    for (const Case& c : arCases) EXPECT_EQ(c.nResult, c.nExpected) << c.szCase;
}

TEST(MachMsg, BlockedReceiveWakesForASendFromAnotherThread) {
    Port port;
    std::thread sender([&] {
        usleep(20000);
        SendTo(port.nName, 42);
    });
    Received r;
    EXPECT_EQ(ReceiveFrom(port.nName, &r, 0), MACH_MSG_SUCCESS);
    EXPECT_EQ(r.m.nPayload, 42u);
    sender.join();
}

TEST(MachMsg, ManyReceiversEachGetOneMessage) {
    Port port;
    constexpr int kThreads = 4;
    std::atomic<uint32_t> nSum{0};
    std::vector<std::thread> arThreads;
    for (int i = 0; i < kThreads; ++i) {
        arThreads.emplace_back([&] {
            Received r;
            if (ReceiveFrom(port.nName, &r, 0) == MACH_MSG_SUCCESS) nSum += r.m.nPayload;
        });
    }
    for (uint32_t i = 1; i <= kThreads; ++i) SendTo(port.nName, i);
    for (auto& t : arThreads) t.join();
    EXPECT_EQ(nSum.load(), 10u);
}

TEST(MachMsg, DestroyingThePortEndsAWaitingReceive) {
    mach_port_t nName = MACH_PORT_NULL;
    ASSERT_EQ(mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &nName), KERN_SUCCESS);
    mach_msg_return_t nResult = MACH_MSG_SUCCESS;
    std::thread receiver([&] {
        Received r;
        nResult = ReceiveFrom(nName, &r, 0);
    });
    usleep(20000);
    ASSERT_EQ(mach_port_mod_refs(mach_task_self(), nName, MACH_PORT_RIGHT_RECEIVE, -1), KERN_SUCCESS);
    receiver.join();
    EXPECT_EQ(nResult, MACH_RCV_PORT_DIED);
}

void IgnoreSignal(int) {}

TEST(MachMsg, InterruptibleReceiveEndsOnASignal) {
    Port port;
    struct sigaction action = {}, previous = {};
    action.sa_handler = IgnoreSignal; // no SA_RESTART
    sigaction(SIGUSR1, &action, &previous);
    mach_msg_return_t nResult = MACH_MSG_SUCCESS;
    std::atomic<bool> bDone{false};
    std::thread receiver([&] {
        Received r;
        nResult = ReceiveFrom(port.nName, &r, MACH_RCV_INTERRUPT);
        bDone = true;
    });
    // The signal may come before the receive blocks; send until it ends.
    for (int i = 0; i < 500 && !bDone; ++i) {
        pthread_kill(receiver.native_handle(), SIGUSR1);
        usleep(2000);
    }
    receiver.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_EQ(nResult, MACH_RCV_INTERRUPTED);
}

TEST(MachMsg, CancelledReceiverLeavesThePortWithoutReceivers) {
    Port port;
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void* p) -> void* {
                      Received r;
                      ReceiveFrom(*static_cast<mach_port_t*>(p), &r, 0);
                      return nullptr;
                  },
                  &port.nName),
              0);
    usleep(20000);
    pthread_cancel(thread);
    void* pResult = nullptr;
    pthread_join(thread, &pResult);
    EXPECT_EQ(pResult, PTHREAD_CANCELED);
    // The port still works for the next receiver.
    ASSERT_EQ(SendTo(port.nName, 9), MACH_MSG_SUCCESS);
    Received r;
    EXPECT_EQ(ReceiveFrom(port.nName, &r), MACH_MSG_SUCCESS);
}

TEST(MachThread, SelfAndMain) {
    EXPECT_EQ(mach_thread_self(), static_cast<mach_port_t>(getpid()));
    EXPECT_EQ(pthread_main_np(), 1);
    mach_port_t nOther = 0;
    int nMain = -1;
    std::thread([&] {
        nOther = mach_thread_self();
        nMain = pthread_main_np();
    }).join();
    EXPECT_NE(nOther, mach_thread_self());
    EXPECT_EQ(nMain, 0);
}

TEST(TaskExceptionPorts, RejectsWhatItCannotBridge) {
    Port port;
    const mach_port_t nTask = mach_task_self();
    const exception_mask_t nMask = EXC_MASK_BAD_ACCESS;
    EXPECT_EQ(task_set_exception_ports(nTask + 1, nMask, port.nName, EXCEPTION_DEFAULT | MACH_EXCEPTION_CODES, 13),
              KERN_INVALID_ARGUMENT);
    EXPECT_EQ(task_set_exception_ports(nTask, nMask, port.nName, EXCEPTION_DEFAULT, 13), KERN_INVALID_ARGUMENT);
    EXPECT_EQ(task_set_exception_ports(nTask, nMask, port.nName, 7 | MACH_EXCEPTION_CODES, 13), KERN_INVALID_ARGUMENT);
    EXPECT_EQ(task_set_exception_ports(nTask, nMask, 0x80000FFFu, EXCEPTION_DEFAULT | MACH_EXCEPTION_CODES, 13),
              KERN_INVALID_ARGUMENT);
    // Other kinds are accepted (and never raised); a null port unsets.
    EXPECT_EQ(task_set_exception_ports(nTask, EXC_MASK_BREAKPOINT, MACH_PORT_NULL,
                                       EXCEPTION_DEFAULT | MACH_EXCEPTION_CODES, 13),
              KERN_SUCCESS);
}

} // namespace
