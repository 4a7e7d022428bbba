// Lifetimes across threads: once Destroy returns, nothing reaches the
// notify even while other threads still hold the client; a listener that
// cannot be published is freed; sending on a listener's record leaves
// nothing behind.
#include "tests/xpc/LXPCFixture.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

namespace harlune::test {
namespace {

using K = LSeenEvent;
using XPCLifetimeTest = LXPCFixture;

// A notify that its owner retires instead of freeing, and that counts every
// callback arriving after that: each would have been a use after free.
class LRetiringNotify : public LXPCClientEventNotify {
public:
    LRetiringNotify() : LXPCClientEventNotify(true, true) {}
    void EvConnectionError(long, LXPCErrorType) override { Note(); }
    void EvMessageSent(long) override { Note(); }
    void EvMessageReceived(long, long, const LXPCData*, unsigned long) override { Note(); }
    void EvReplyReceived(long, const LXPCData*, unsigned long) override { Note(); }

    std::atomic<bool> bRetired{false};
    std::atomic<int> nCalls{0};
    std::atomic<int> nLateCalls{0};

private:
    void Note() {
        ++nCalls;
        if (bRetired.load()) {
            ++nLateCalls;
        }
        // Widen the window in which a callback is inside the notify.
        std::this_thread::yield();
    }
};

long CountOpenDescriptors() {
    long n = 0;
    for (int fd = 0; fd < 4096; ++fd) {
        n += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
    }
    return n;
}

TEST_F(XPCLifetimeTest, NothingReachesTheNotifyOnceDestroyReturns) {
    LRecordingNotify listenerNotify;
    LDestroyClientsAtScopeEnd cleanup;
    const int nListener = NewClient(&listenerNotify);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(nListener, "Peer", 1);
    ASSERT_NE(endpoint, nullptr);
    for (int round = 0; round < 20; ++round) {
        LRetiringNotify notify;
        const int id = LXPCClientManager::Create(&notify);
        LXPCClientManager::AddKeys(id, kTestKeys, false);
        ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(id, "L", 1, endpoint));
        std::atomic<bool> bStop{false};
        std::vector<std::thread> arSenders;
        for (int t = 0; t < 2; ++t) {
            // Each send pins the client; its barrier calls EvMessageSent.
            arSenders.emplace_back([&] {
                while (!bStop.load()) {
                    LList<LXPCDataListable> list;
                    LXPCClientManager::SendMessage(id, "L", 1, One(list, "PING", 1), false);
                }
            });
        }
        while (notify.nCalls.load() < 20) {
            std::this_thread::yield();
        }
        LXPCClientManager::Destroy(id);
        notify.bRetired = true; // from here on the notify counts as freed
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        bStop = true;
        for (std::thread& t : arSenders) {
            t.join();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ASSERT_EQ(notify.nLateCalls.load(), 0) << "round " << round;
        EXPECT_FALSE(notify.bEnabled);
    }
    xpc_release(endpoint);
}

TEST_F(XPCLifetimeTest, EndpointThatCannotBeMadeLeavesNoListenerBehind) {
    LRecordingNotify notify;
    LDestroyClientsAtScopeEnd cleanup;
    const int id = NewClient(&notify);
    // A running listener keeps the transport's thread alive, so that
    // thread needs no descriptor while the limit is tight.
    xpc_object_t warm = LXPCClientManager::CreateEndPoint(id, "Warm", 0);
    ASSERT_NE(warm, nullptr);
    xpc_release(warm);
    const long nBefore = CountOpenDescriptors();
    // Leave exactly two free descriptor numbers: the listener gets its pair,
    // the endpoint's duplicate finds none.
    rlimit saved{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlim_t nLimit = 0;
    for (int nFree = 0; nFree < 2; ++nLimit) {
        nFree += fcntl(static_cast<int>(nLimit), F_GETFD) == -1 ? 1 : 0;
    }
    rlimit tight = saved;
    tight.rlim_cur = nLimit;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(id, "Tight", 0);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
    ASSERT_EQ(endpoint, nullptr);
    // The transport's thread closes them, so give it a moment.
    for (int i = 0; i < 500 && CountOpenDescriptors() != nBefore; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(CountOpenDescriptors(), nBefore) << "the listener's sockets are closed";
}

TEST_F(XPCLifetimeTest, SendingOnTheListenersRecordStillEndsInOneSentNotice) {
    LRecordingNotify notify;
    LDestroyClientsAtScopeEnd cleanup;
    const int id = NewClient(&notify);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(id, "Peer", 0);
    ASSERT_NE(endpoint, nullptr);
    LList<LXPCDataListable> list;
    One(list, "PING", 1);
    // A listener carries no messages; the barrier that the one-way send
    // leaves (with its references) must still run, and a request must still
    // be answered, with an error.
    LXPCClientManager::SendMessage(id, "AnonymousConnection", 0, list, false);
    LXPCClientManager::SendMessage(id, "AnonymousConnection", 0, list, true);
    EXPECT_TRUE(notify.WaitFor(K::Sent, 1));
    EXPECT_TRUE(notify.WaitFor(K::Error, 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(notify.Count(K::Sent), 1u);
    EXPECT_EQ(notify.Count(K::Error), 1u);
    xpc_release(endpoint);
}

} // namespace
} // namespace harlune::test
