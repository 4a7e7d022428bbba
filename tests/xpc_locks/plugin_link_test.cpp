// The plug-in's IO-cycle question (is a recording application connected?)
// is answered while another thread replaces the application connection,
// even when that replacement is stopped at any of its allocations and
// platform calls.
#include "helperlink/LVADPluginXPCClient.h"
#include "tests/xpc/LXPCFixture.h"
#include "tests/xpc_locks/LSlowWorkProbe.h"

namespace harlune::test {
namespace {

using PluginLinkLockTest = LXPCFixture;

// Hands the plug-in an endpoint the way the helper service does.
void OfferEndpoint(LVADPluginXPCClient* pPlugin, xpc_object_t endpoint) {
    const LXPCData value("SEND_ENDPOINT", kLXPCDataTypeValue,
                         static_cast<long>(reinterpret_cast<std::intptr_t>(endpoint)));
    pPlugin->EvMessageReceived(0, 0, &value, 1);
}

TEST_F(PluginLinkLockTest, ReplacingTheApplicationConnectionLeavesTheIOQuestionFree) {
    LRecordingNotify appNotify;
    LDestroyClientsAtScopeEnd cleanup;
    const int nApp = NewClient(&appNotify);
    xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(nApp, "Plugin", 1);
    ASSERT_NE(endpoint, nullptr);
    LVADPluginXPCClient* pPlugin = LVADPluginXPCClient::GetInstance();
    ASSERT_NE(pPlugin, nullptr);
    // No helper service runs here: the plug-in asks for the endpoint in
    // vain, and the test hands one over itself.
    pPlugin->Connect();
    OfferEndpoint(pPlugin, endpoint);
    ASSERT_TRUE(pPlugin->IsAppConnected());
    {
        LSlowWorkProbe probe([pPlugin] { pPlugin->IsAppConnected(); });
        // A second offer drops the connection and makes a new one.
        probe.RunArmed([&] { OfferEndpoint(pPlugin, endpoint); });
        EXPECT_EQ(probe.Stalls(), 0u) << "the IO thread's look-up waited behind the replacement";
        if (probe.Stalls() == 0) {
            EXPECT_GT(probe.Rounds(), 0u);
        }
    }
    EXPECT_TRUE(pPlugin->IsAppConnected());
    xpc_release(endpoint);
}

} // namespace
} // namespace harlune::test
