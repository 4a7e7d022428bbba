// The client manager: ids, look-ups, destruction, and destruction racing
// operations on other threads.
#include "tests/xpc/LXPCFixture.h"

#include <atomic>
#include <thread>

namespace harlune::test {
namespace {

using K = LSeenEvent;
using XPCManagerTest = LXPCFixture;

TEST_F(XPCManagerTest, IdsGrowAndStartAgainOnlyAfterDestroyAll) {
    LRecordingNotify notify;
    LDestroyClientsAtScopeEnd cleanup;
    EXPECT_EQ(LXPCClientManager::Create(&notify), 1);
    EXPECT_EQ(LXPCClientManager::Create(&notify), 2);
    LXPCClientManager::Destroy(1);
    EXPECT_EQ(LXPCClientManager::GetClient(1), nullptr);
    EXPECT_NE(LXPCClientManager::GetClient(2), nullptr);
    EXPECT_EQ(LXPCClientManager::Create(&notify), 3);
    LXPCClientManager::Destroy(99); // unknown: nothing changes
    EXPECT_EQ(LXPCClientManager::nClientCount, 3u);
    LXPCClientManager::DestroyAll();
    EXPECT_EQ(LXPCClientManager::GetClient(2), nullptr);
    EXPECT_EQ(LXPCClientManager::Create(&notify), 1);
}

TEST_F(XPCManagerTest, ForwardersWithoutAClientDoNothing) {
    EXPECT_EQ(LXPCClientManager::GetClient(0), nullptr);
    for (int id : {0, 5}) {
        EXPECT_FALSE(LXPCClientManager::Connect(id, "x", 0, true));
        xpc_object_t endpoint = nullptr;
        EXPECT_FALSE(LXPCClientManager::ConnectEndPoint(id, "x", 0, endpoint));
        EXPECT_EQ(LXPCClientManager::CreateEndPoint(id, "x", 0), nullptr);
        EXPECT_FALSE(LXPCClientManager::IsConnectionValid(id, "x", 0));
        LXPCClientManager::Disconnect(id, "x", 0);
        LXPCClientManager::Suspend(id, "x", 0);
        LXPCClientManager::Resume(id, "x", 0);
        LXPCClientManager::AddKeys(id, kTestKeys, true);
        LList<LXPCDataListable> list;
        LXPCClientManager::SendMessage(id, "x", 0, One(list, "PING", 1), false);
    }
}

TEST_F(XPCManagerTest, DestroyDisablesTheNotifyAndStopsItsEvents) {
    LRecordingNotify listenerNotify, senderNotify;
    LDestroyClientsAtScopeEnd cleanup;
    const int nListener = NewClient(&listenerNotify);
    const int nSender = NewClient(&senderNotify);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(nListener, "Peer", 1);
    ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(nSender, "L", 1, endpoint));
    LList<LXPCDataListable> list;
    LXPCClientManager::SendMessage(nSender, "L", 1, One(list, "PING", 1), false);
    ASSERT_TRUE(listenerNotify.WaitFor(K::Message, 1));
    LXPCClientManager::Destroy(nListener);
    EXPECT_FALSE(listenerNotify.bEnabled);
    const std::size_t nEvents = listenerNotify.Events().size();
    LXPCClientManager::SendMessage(nSender, "L", 1, list, false);
    ASSERT_TRUE(senderNotify.WaitFor(K::Sent, 2));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(listenerNotify.Events().size(), nEvents) << "nothing reaches a destroyed client's notify";
    xpc_release(endpoint);
}

TEST_F(XPCManagerTest, DestroyRacingSendsOnOtherThreads) {
    // Several threads send through one id while it is destroyed and made
    // again; no send may touch a freed client (the thread sanitizer and the
    // address sanitizer builds run this too).
    LRecordingNotify listenerNotify;
    LDestroyClientsAtScopeEnd cleanup;
    const int nListener = NewClient(&listenerNotify);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(nListener, "Peer", 1);
    ASSERT_NE(endpoint, nullptr);
    std::atomic<int> nSenderId{0};
    std::atomic<bool> bStop{false};
    std::vector<LRecordingNotify*> arNotifies;
    std::vector<std::thread> arThreads;
    for (int t = 0; t < 3; ++t) {
        arThreads.emplace_back([&] {
            const char bytes[64] = {0};
            while (!bStop.load()) {
                LList<LXPCDataListable> list;
                list.Add(new LXPCDataListable(
                    LXPCData("BYTES", kLXPCDataTypeNone, static_cast<long>(reinterpret_cast<std::intptr_t>(bytes)), 64)));
                LXPCClientManager::SendMessage(nSenderId.load(), "L", 1, list, false);
                LXPCClientManager::IsConnectionValid(nSenderId.load(), "L", 1);
            }
        });
    }
    for (int round = 0; round < 30; ++round) {
        auto* pNotify = new LRecordingNotify();
        arNotifies.push_back(pNotify);
        const int id = NewClient(pNotify);
        LXPCClientManager::ConnectEndPoint(id, "L", 1, endpoint);
        nSenderId = id;
        if (round == 0) {
            // A connection destroyed 2 ms after it was made may lose what it
            // queued (cancelling does not flush); the first one lives until
            // the listener has seen a message, so the sends are known to reach
            // it. The later rounds race the destruction as intended.
            EXPECT_TRUE(listenerNotify.WaitFor(K::Message, 1));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        LXPCClientManager::Destroy(id);
    }
    bStop = true;
    for (std::thread& t : arThreads) {
        t.join();
    }
    LXPCClientManager::DestroyAll();
    // Every notify outlived its client; after the destruction none is called.
    for (LRecordingNotify* p : arNotifies) {
        EXPECT_FALSE(p->bEnabled);
        delete p;
    }
    EXPECT_GT(listenerNotify.Count(K::Message), 0u);
    xpc_release(endpoint);
}

} // namespace
} // namespace harlune::test
