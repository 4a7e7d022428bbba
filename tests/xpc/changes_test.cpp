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
// A listener client with an endpoint, and a sender client without
// connections yet.
class XPCChangesTest : public LXPCFixture {
protected:
    void Pair() {
        m_nListener = NewClient(&m_listenerNotify);
        m_nSender = NewClient(&m_senderNotify);
        m_endpoint = LXPCClientManager::CreateEndPoint(m_nListener, "Peer", 1);
        ASSERT_NE(m_endpoint, nullptr);
    }
    void TearDown() override {
        LXPCFixture::TearDown();
        if (m_endpoint != nullptr) {
            xpc_release(m_endpoint);
        }
    }

    LRecordingNotify m_listenerNotify, m_senderNotify;
    int m_nListener = 0, m_nSender = 0;
    xpc_object_t m_endpoint = nullptr;
};

TEST_F(XPCChangesTest, RacingMakersOfOneNameGetExactlyOneConnection) {
    ASSERT_NO_FATAL_FAILURE(Pair());
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
                const bool bMade = t % 2 == 0 ? LXPCClientManager::ConnectEndPoint(m_nSender, "Same", 1, m_endpoint)
                                              : LXPCClientManager::Connect(m_nSender, "same", 1, true);
                nMade += bMade ? 1 : 0;
            });
        }
        for (std::thread& t : arThreads) {
            t.join();
        }
        ASSERT_EQ(nMade.load(), 1) << "round " << round;
        ASSERT_EQ(LXPCClientManager::GetClient(m_nSender)->lConnections.Count(), 1u);
        LXPCClientManager::Disconnect(m_nSender, "Same", 1);
        ASSERT_FALSE(LXPCClientManager::IsConnectionValid(m_nSender, "Same", 1));
    }
}

TEST_F(XPCChangesTest, ReplacingAConnectionUnderRunningSendersIsSilentAndKeepsDelivering) {
    ASSERT_NO_FATAL_FAILURE(Pair());
    ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(m_nSender, "App", 1, m_endpoint));
    std::atomic<bool> bStop{false};
    std::vector<std::thread> arSenders;
    for (int t = 0; t < 2; ++t) {
        // As the IO thread does: ask, then send on what the look-up finds.
        arSenders.emplace_back([&] {
            while (!bStop.load()) {
                if (LXPCClientManager::IsConnectionValid(m_nSender, "App", 1)) {
                    LList<LXPCDataListable> list;
                    LXPCClientManager::SendMessage(m_nSender, "App", 1, One(list, "PING", 1), false);
                }
            }
        });
    }
    for (int round = 0; round < 40; ++round) {
        LXPCClientManager::Disconnect(m_nSender, "App", 1);
        ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(m_nSender, "App", 1, m_endpoint)) << "round " << round;
        if (round % 4 == 0) {
            LXPCClientManager::Suspend(m_nSender, "App", 1);
            LXPCClientManager::Resume(m_nSender, "App", 1);
        }
    }
    // The last connection carries messages: wait for one sent after it was made.
    const std::size_t nBefore = m_listenerNotify.Count(K::Message);
    EXPECT_TRUE(m_listenerNotify.WaitFor(K::Message, nBefore + 1));
    bStop = true;
    for (std::thread& t : arSenders) {
        t.join();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    // Every replaced connection was silenced before it was cancelled.
    EXPECT_EQ(m_senderNotify.Count(K::Error), 0u);
    EXPECT_EQ(LXPCClientManager::GetClient(m_nSender)->lConnections.Count(), 1u);
}

} // namespace
} // namespace harlune::test
