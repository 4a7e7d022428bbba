// Connection look-ups, the audio IO path's only locks in the messaging
// framework, stay free while other threads make, replace and drop
// connections and clients: each operation below runs with every one of its
// allocations and platform calls stopped until another thread's look-ups
// have gone through.
#include "tests/xpc/LXPCFixture.h"
#include "tests/xpc_locks/LSlowWorkProbe.h"

namespace harlune::test {
namespace {

// A listener client with an endpoint, and a sender client with two
// connections to it ("Keep", which stays, and "Gone").
struct LScene {
    int nListener = 0;
    int nSender = 0;
    xpc_object_t endpoint = nullptr;
    LRecordingNotify extraNotify; // for a client an operation makes
};

struct LOperationCase {
    const char* szName;
    void (*pfnRun)(LScene&);
    bool bProbed; // certain to make probed calls: the probe must have run rounds
};

const LOperationCase kOperations[] = {
    {"Connect", [](LScene& s) { EXPECT_TRUE(LXPCClientManager::Connect(s.nSender, "com.example.nobody", 0, true)); },
     true},
    {"ConnectEndPoint",
     [](LScene& s) { EXPECT_TRUE(LXPCClientManager::ConnectEndPoint(s.nSender, "Second", 1, s.endpoint)); }, true},
    {"DuplicateRefused",
     [](LScene& s) { EXPECT_FALSE(LXPCClientManager::ConnectEndPoint(s.nSender, "KEEP", 1, s.endpoint)); }, false},
    {"CreateEndPoint",
     [](LScene& s) {
         xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(s.nSender, "Own", 1);
         EXPECT_NE(endpoint, nullptr);
         if (endpoint != nullptr) {
             xpc_release(endpoint);
         }
     },
     true},
    {"Disconnect",
     [](LScene& s) {
         LXPCClientManager::Disconnect(s.nSender, "Gone", 1);
         EXPECT_FALSE(LXPCClientManager::IsConnectionValid(s.nSender, "Gone", 1));
     },
     true},
    {"DisconnectAll",
     [](LScene& s) {
         LXPCClientManager::GetClient(s.nListener)->DisconnectAll();
         EXPECT_FALSE(LXPCClientManager::IsConnectionValid(s.nListener, "AnonymousConnection", 0));
     },
     true},
    {"SuspendAndResume",
     [](LScene& s) {
         LXPCClientManager::Suspend(s.nSender, "Keep", 1);
         LXPCClientManager::Resume(s.nSender, "Keep", 1);
     },
     true},
    {"CreateClient", [](LScene& s) { EXPECT_NE(LXPCClientManager::Create(&s.extraNotify), 0); }, true},
    {"DestroyClient", [](LScene& s) { LXPCClientManager::Destroy(s.nSender); }, true},
    {"DestroyAllClients", [](LScene&) { LXPCClientManager::DestroyAll(); }, true},
};

void PrintTo(const LOperationCase& c, std::ostream* pStream) { *pStream << c.szName; }

class XPCLookupProgressTest : public LXPCFixture, public ::testing::WithParamInterface<LOperationCase> {
protected:
    LRecordingNotify m_listenerNotify, m_senderNotify;
};

TEST_P(XPCLookupProgressTest, LookUpsGoThroughWhileTheOperationIsStoppedAnywhere) {
    LScene s;
    LDestroyClientsAtScopeEnd cleanup;
    s.nListener = NewClient(&m_listenerNotify);
    s.nSender = NewClient(&m_senderNotify);
    s.endpoint = LXPCClientManager::CreateEndPoint(s.nListener, "Peer", 1);
    ASSERT_NE(s.endpoint, nullptr);
    ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(s.nSender, "Keep", 1, s.endpoint));
    ASSERT_TRUE(LXPCClientManager::ConnectEndPoint(s.nSender, "Gone", 1, s.endpoint));
    // What the IO path does per cycle: find the client, find the connection
    // (once to test it, once to send; the send finds nothing here, so it
    // stops before the transport).
    {
        LSlowWorkProbe probe([&s] {
            LXPCClientManager::IsConnectionValid(s.nSender, "Keep", 1);
            LXPCClientManager::IsConnectionValid(s.nListener, "AnonymousConnection", 0);
            LList<LXPCDataListable> list;
            LXPCClientManager::SendMessage(s.nSender, "Absent", 9, One(list, "PING", 1), false);
        });
        probe.RunArmed([&] { GetParam().pfnRun(s); });
        EXPECT_EQ(probe.Stalls(), 0u) << "a look-up waited for a lock held across slow work";
        if (GetParam().bProbed && probe.Stalls() == 0) {
            EXPECT_GT(probe.Rounds(), 0u);
        }
    }
    xpc_release(s.endpoint);
}

INSTANTIATE_TEST_SUITE_P(Operations, XPCLookupProgressTest, ::testing::ValuesIn(kOperations),
                         [](const ::testing::TestParamInfo<LOperationCase>& info) { return info.param.szName; });

} // namespace
} // namespace harlune::test
