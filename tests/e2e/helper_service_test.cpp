// The helper service object in this process: waiting for a service that
// never answers gives up within the time asked, and the probe's late
// answer touches nothing that waiting has freed (the address sanitizer
// build runs this too).
#include "tests/e2e/LEndToEndFixture.h"
#include "helperlink/VADHelperProtocol.h"
#include "tools/harlune/HelperService.h"

#include <xpc/xpc.h>

#include <thread>

namespace harlune::test {
namespace {

using HelperServiceTest = LEndToEndFixture;

TEST_F(HelperServiceTest, ProbeOfAServiceThatNeverAnswersTimesOutCleanly) {
    // Something holds the service's name and takes requests, but answers
    // none until it is cancelled.
    xpc_connection_t squatter =
        xpc_connection_create_mach_service(HelperServiceName, nullptr, XPC_CONNECTION_MACH_SERVICE_LISTENER);
    auto arPeers = std::make_shared<std::vector<xpc_connection_t>>();
    auto pMtx = std::make_shared<std::mutex>();
    xpc_connection_set_event_handler(squatter, ^(xpc_object_t event) {
      if (xpc_get_type(event) == XPC_TYPE_CONNECTION) {
          auto peer = static_cast<xpc_connection_t>(xpc_retain(event));
          xpc_connection_set_event_handler(peer, ^(xpc_object_t) {
          });
          xpc_connection_resume(peer);
          std::lock_guard<std::mutex> lock(*pMtx);
          arPeers->push_back(peer);
      }
    });
    xpc_connection_resume(squatter);

    tools::LHelperService service(nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(service.WaitUntilReachable(std::chrono::milliseconds(300)));
    // Within the time asked (and a loaded machine's scheduling), not the
    // probe's own two seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    // The cancelled probes' reply handlers run now, after the wait is over.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    {
        std::lock_guard<std::mutex> lock(*pMtx);
        for (xpc_connection_t peer : *arPeers) {
            xpc_connection_cancel(peer);
            xpc_release(peer);
        }
        arPeers->clear();
    }
    xpc_connection_cancel(squatter);
    xpc_release(squatter);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

} // namespace
} // namespace harlune::test
