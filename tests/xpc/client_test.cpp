// Clients, connections and the message base over real connections in one
// process: a listener client publishes an endpoint, a sender connects to it.
#include "tests/xpc/LXPCFixture.h"

#include <atomic>
#include <thread>

namespace harlune::test {
namespace {

using K = LSeenEvent;

class XPCClientTest : public LXPCFixture {
protected:
    // A listener client and a sender client connected through an endpoint.
    void Pair() {
        m_nListener = NewClient(&m_listenerNotify);
        m_nSender = NewClient(&m_senderNotify);
        m_endpoint = LXPCClientManager::CreateEndPoint(m_nListener, "Peer", 5);
        ASSERT_NE(m_endpoint, nullptr);
        ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(m_nSender, "Listener", 1, m_endpoint));
    }
    void TearDown() override {
        LXPCFixture::TearDown();
        if (m_endpoint != nullptr) {
            xpc_release(m_endpoint);
        }
    }
    void Send(int id, const char* szName, unsigned long index, const char* szKey, long nValue, bool bWithReply) {
        LList<LXPCDataListable> list;
        LXPCClientManager::SendMessage(id, szName, index, One(list, szKey, nValue), bWithReply);
    }

    LRecordingNotify m_listenerNotify, m_senderNotify;
    int m_nListener = 0, m_nSender = 0;
    xpc_object_t m_endpoint = nullptr;
};

TEST_F(XPCClientTest, OneWayMessageArrivesAndIsFollowedByOneSentNotice) {
    Pair();
    Send(m_nSender, "Listener", 1, "PING", 7, false);
    ASSERT_TRUE(m_listenerNotify.WaitFor(K::Message, 1));
    ASSERT_TRUE(m_senderNotify.WaitFor(K::Sent, 1));
    const auto messages = m_listenerNotify.Events(K::Message);
    ASSERT_EQ(messages[0].arValues.size(), 1u);
    EXPECT_EQ(messages[0].arValues[0].szKey, "PING");
    EXPECT_EQ(messages[0].arValues[0].nValue, 7);
    EXPECT_EQ(messages[0].arValues[0].eType, kLXPCDataTypeInt64);
    // Give stray events a moment to show up; none may.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(m_senderNotify.Count(K::Sent), 1u);
    EXPECT_EQ(m_senderNotify.Count(K::Reply), 0u);
}

TEST_F(XPCClientTest, RequestGetsExactlyOneReplyAndTheReplyOneSentNotice) {
    Pair();
    m_listenerNotify.onMessage = [this](long connection, long message) {
        LList<LXPCDataListable> list;
        LXPCClient* pClient = LXPCClientManager::GetClient(m_nListener);
        pClient->SendReply(connection, message, One(list, "PONG", 8));
        // A second reply to the same request is not possible.
        pClient->SendReply(connection, message, list);
    };
    Send(m_nSender, "Listener", 1, "PING", 7, true);
    ASSERT_TRUE(m_senderNotify.WaitFor(K::Reply, 1));
    ASSERT_TRUE(m_listenerNotify.WaitFor(K::Sent, 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto replies = m_senderNotify.Events(K::Reply);
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(replies[0].arValues[0].szKey, "PONG");
    EXPECT_EQ(replies[0].arValues[0].nValue, 8);
    EXPECT_EQ(m_senderNotify.Count(K::Sent), 0u) << "a send with reply has no sent notice";
    EXPECT_EQ(m_listenerNotify.Count(K::Sent), 1u);
}

TEST_F(XPCClientTest, ConnectionNamesIgnoreCaseAndDuplicatesAreRefused) {
    Pair();
    EXPECT_FALSE(LXPCClientManager::ConnectEndPoint(m_nSender, "Listener", 1, m_endpoint));
    EXPECT_FALSE(LXPCClientManager::ConnectEndPoint(m_nSender, "LISTENER", 1, m_endpoint));
    EXPECT_TRUE(LXPCClientManager::ConnectEndPoint(m_nSender, "listener", 2, m_endpoint));
    EXPECT_TRUE(LXPCClientManager::IsConnectionValid(m_nSender, "LiStEnEr", 2));
    // The listener's own record stands under its fixed name.
    EXPECT_TRUE(LXPCClientManager::IsConnectionValid(m_nListener, "AnonymousConnection", 0));
    EXPECT_FALSE(LXPCClientManager::IsConnectionValid(m_nListener, "Peer", 0));
    EXPECT_EQ(LXPCClientManager::CreateEndPoint(m_nListener, "AnonymousConnection", 0), nullptr);
    EXPECT_FALSE(LXPCClientManager::Connect(m_nListener, "AnonymousConnection", 0, true));
    // Anything but an endpoint is never handed to the connection call.
    xpc_object_t notAnEndpoint = xpc_string_create("endpoint");
    EXPECT_FALSE(LXPCClientManager::ConnectEndPoint(m_nSender, "Other", 1, notAnEndpoint));
    EXPECT_FALSE(LXPCClientManager::IsConnectionValid(m_nSender, "Other", 1));
    xpc_release(notAnEndpoint);
    // Disconnect frees the name for a new connection.
    LXPCClientManager::Disconnect(m_nSender, "Listener", 1);
    EXPECT_FALSE(LXPCClientManager::IsConnectionValid(m_nSender, "Listener", 1));
    EXPECT_TRUE(LXPCClientManager::ConnectEndPoint(m_nSender, "Listener", 1, m_endpoint));
    LXPCClientManager::Disconnect(m_nSender, "Nothing", 9);
}

TEST_F(XPCClientTest, PeersOfOneListenerAreKeptNewestFirst) {
    Pair();
    Send(m_nSender, "Listener", 1, "PING", 1, false);
    ASSERT_TRUE(m_listenerNotify.WaitFor(K::Message, 1));
    LRecordingNotify secondNotify;
    LDestroyClientsAtScopeEnd cleanup;
    const int nSecond = NewClient(&secondNotify);
    ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(nSecond, "Listener", 1, m_endpoint));
    Send(nSecond, "Listener", 1, "PING", 2, false);
    ASSERT_TRUE(m_listenerNotify.WaitFor(K::Message, 2));
    EXPECT_TRUE(LXPCClientManager::IsConnectionValid(m_nListener, "Peer", 5));
    // A send by the peers' name goes to the one that came last.
    Send(m_nListener, "peer", 5, "PONG", 3, false);
    ASSERT_TRUE(secondNotify.WaitFor(K::Message, 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(m_senderNotify.Count(K::Message), 0u);
}

TEST_F(XPCClientTest, MessagesThatDecodeToNothingReachNoCallback) {
    Pair();
    Send(m_nSender, "Listener", 1, "NOT_A_KEY", 1, false);
    LList<LXPCDataListable> empty;
    LXPCClientManager::SendMessage(m_nSender, "Listener", 1, empty, false);
    Send(m_nSender, "Listener", 1, "PING", 9, false);
    ASSERT_TRUE(m_listenerNotify.WaitFor(K::Message, 1));
    ASSERT_TRUE(m_senderNotify.WaitFor(K::Sent, 3)) << "each one-way send still ends in a sent notice";
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto messages = m_listenerNotify.Events(K::Message);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].arValues[0].nValue, 9);
}

TEST_F(XPCClientTest, ArrayAndListFormsAndTheManagersOrder) {
    LRecordingNotify listNotify(false);
    LDestroyClientsAtScopeEnd cleanup;
    const int nListener = NewClient(&listNotify);
    const int nSender = NewClient(&m_senderNotify);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(nListener, "Peer", 1);
    ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(nSender, "L", 1, endpoint));
    // Manager order: of two values with one name, the earlier in the
    // caller's list stays; values arrive in key-table order.
    LList<LXPCDataListable> list;
    One(list, "PING", 2);
    One(list, "LEVEL", -1, 0, 0.25);
    One(list, "PING", 1); // head: first in the caller's list
    LXPCClientManager::SendMessage(nSender, "L", 1, list, false);
    ASSERT_TRUE(listNotify.WaitFor(K::Message, 1));
    const auto values = listNotify.Events(K::Message)[0].arValues;
    ASSERT_EQ(values.size(), 2u);
    EXPECT_EQ(values[0].szKey, "PING");
    EXPECT_EQ(values[0].nValue, 1);
    EXPECT_EQ(values[1].szKey, "LEVEL");
    EXPECT_EQ(values[1].dValue, 0.25);
    // The client's array overload: the first array element of a name stays.
    const LXPCData array[] = {LXPCData("PING", kLXPCDataTypeNone, 10), LXPCData("PING", kLXPCDataTypeNone, 20)};
    LXPCClientManager::GetClient(nSender)->SendMessage("L", 1, array, 2, false);
    ASSERT_TRUE(listNotify.WaitFor(K::Message, 2));
    EXPECT_EQ(listNotify.Events(K::Message)[1].arValues[0].nValue, 10);
    xpc_release(endpoint);
}

TEST_F(XPCClientTest, DisabledNotifyDropsEventsButNotSentNotices) {
    Pair();
    m_listenerNotify.bEnabled = false;
    Send(m_nSender, "Listener", 1, "PING", 1, false);
    ASSERT_TRUE(m_senderNotify.WaitFor(K::Sent, 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(m_listenerNotify.Count(K::Message), 0u);
}

TEST_F(XPCClientTest, LocalCancelIsSilentAndPeerLossIsAnError) {
    Pair();
    Send(m_nSender, "Listener", 1, "PING", 1, false);
    ASSERT_TRUE(m_listenerNotify.WaitFor(K::Message, 1));
    // The sender drops its connection: the listener's peer record hears of
    // it as an error; the sender itself hears nothing.
    LXPCClientManager::Disconnect(m_nSender, "Listener", 1);
    ASSERT_TRUE(m_listenerNotify.WaitFor(K::Error, 1));
    EXPECT_EQ(m_listenerNotify.Events(K::Error)[0].eError, kLXPCErrorConnectionInvalid);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(m_senderNotify.Count(K::Error), 0u);
    // Errors leave the record in place.
    EXPECT_TRUE(LXPCClientManager::IsConnectionValid(m_nListener, "Peer", 5));
}

TEST_F(XPCClientTest, SuspendHoldsEventsUntilResume) {
    Pair();
    Send(m_nSender, "Listener", 1, "PING", 0, false);
    ASSERT_TRUE(m_listenerNotify.WaitFor(K::Message, 1));
    LXPCClientManager::Suspend(m_nListener, "Peer", 5);
    LXPCClientManager::Suspend(m_nListener, "Peer", 5); // counted once
    Send(m_nSender, "Listener", 1, "PING", 1, false);
    ASSERT_TRUE(m_senderNotify.WaitFor(K::Sent, 2));
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(m_listenerNotify.Count(K::Message), 1u);
    LXPCClientManager::Resume(m_nListener, "Peer", 5);
    EXPECT_TRUE(m_listenerNotify.WaitFor(K::Message, 2));
}

TEST_F(XPCClientTest, NamedServiceThatDoesNotExistIsConnectedButFailsLater) {
    const int id = NewClient(&m_senderNotify);
    EXPECT_TRUE(LXPCClientManager::Connect(id, "com.example.nobody", 0, true));
    EXPECT_TRUE(LXPCClientManager::IsConnectionValid(id, "com.example.nobody", 0));
    Send(id, "com.example.nobody", 0, "PING", 1, true);
    ASSERT_TRUE(m_senderNotify.WaitFor(K::Error, 1));
    for (const LSeenEvent& e : m_senderNotify.Events(K::Error)) {
        EXPECT_EQ(e.eError, kLXPCErrorConnectionInvalid);
    }
    EXPECT_TRUE(LXPCClientManager::IsConnectionValid(id, "com.example.nobody", 0)) << "errors keep the record";
}

} // namespace
} // namespace harlune::test
