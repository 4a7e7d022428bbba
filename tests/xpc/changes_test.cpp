// Connection changes racing each other and the look-ups and sends of other
// threads (the plug-in's reconnections against its IO thread): the rule
// that one name holds one connection stays exact, and a replaced
// connection neither crashes a sender nor reports its own cancellation.
#include "tests/xpc/LXPCFixture.h"

#include <atomic>
#include <thread>
#include <vector>

namespace harlune::test {
namespace {

using K = LSeenEvent;
using XPCChangesTest = LXPCFixture;

TEST_F(XPCChangesTest, RacingMakersOfOneNameGetExactlyOneConnection) {
    LRecordingNotify listenerNotify, senderNotify;
    LDestroyClientsAtScopeEnd cleanup;
    const int nListener = NewClient(&listenerNotify);
    const int nSender = NewClient(&senderNotify);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(nListener, "Peer", 1);
    ASSERT_NE(endpoint, nullptr);
    constexpr int kThreads = 4;
    for (int round = 0; round < 25; ++round) {
        std::atomic<int> nReady{0};
        std::atomic<int> nMade{0};
        std::vector<std::thread> arThreads;
        for (int t = 0; t < kThreads; ++t) {
            arThreads.emplace_back([&, t] {
                ++nReady;
                while (nReady.load() < kThreads) {
                    std::this_thread::yield();
                }
                // Both ways of making a named connection obey the one rule.
                const bool bMade = t % 2 == 0 ? LXPCClientManager::ConnectEndPoint(nSender, "Same", 1, endpoint)
                                              : LXPCClientManager::Connect(nSender, "same", 1, true);
                nMade += bMade ? 1 : 0;
            });
        }
        for (std::thread& t : arThreads) {
            t.join();
        }
        ASSERT_EQ(nMade.load(), 1) << "round " << round;
        ASSERT_EQ(LXPCClientManager::GetClient(nSender)->lConnections.Count(), 1u);
        LXPCClientManager::Disconnect(nSender, "Same", 1);
        ASSERT_FALSE(LXPCClientManager::IsConnectionValid(nSender, "Same", 1));
    }
    xpc_release(endpoint);
}

TEST_F(XPCChangesTest, ReplacingAConnectionUnderRunningSendersIsSilentAndKeepsDelivering) {
    LRecordingNotify listenerNotify, senderNotify;
    LDestroyClientsAtScopeEnd cleanup;
    const int nListener = NewClient(&listenerNotify);
    const int nSender = NewClient(&senderNotify);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(nListener, "Peer", 1);
    ASSERT_NE(endpoint, nullptr);
    ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(nSender, "App", 1, endpoint));
    std::atomic<bool> bStop{false};
    std::vector<std::thread> arSenders;
    for (int t = 0; t < 2; ++t) {
        // As the IO thread does: ask, then send on what the look-up finds.
        arSenders.emplace_back([&] {
            while (!bStop.load()) {
                if (LXPCClientManager::IsConnectionValid(nSender, "App", 1)) {
                    LList<LXPCDataListable> list;
                    LXPCClientManager::SendMessage(nSender, "App", 1, One(list, "PING", 1), false);
                }
            }
        });
    }
    for (int round = 0; round < 40; ++round) {
        LXPCClientManager::Disconnect(nSender, "App", 1);
        ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(nSender, "App", 1, endpoint)) << "round " << round;
        if (round % 4 == 0) {
            LXPCClientManager::Suspend(nSender, "App", 1);
            LXPCClientManager::Resume(nSender, "App", 1);
        }
    }
    // The last connection carries messages: wait for one sent after it was made.
    const std::size_t nBefore = listenerNotify.Count(K::Message);
    EXPECT_TRUE(listenerNotify.WaitFor(K::Message, nBefore + 1));
    bStop = true;
    for (std::thread& t : arSenders) {
        t.join();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    // Every replaced connection was silenced before it was cancelled.
    EXPECT_EQ(senderNotify.Count(K::Error), 0u);
    EXPECT_EQ(LXPCClientManager::GetClient(nSender)->lConnections.Count(), 1u);
    xpc_release(endpoint);
}

} // namespace
} // namespace harlune::test
