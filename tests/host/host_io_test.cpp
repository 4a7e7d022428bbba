// The host's IO thread and its configuration worker, driving the real bundle.
#include "tests/support/LDriverFixture.h"

#include <mach/mach_time.h>

#include <atomic>
#include <thread>
#include <mutex>
#include <vector>

namespace harlune::test {
namespace {

using HostIOTest = LDriverFixture;

TEST_F(HostIOTest, UnpacedRunDoesItsCyclesInOrderWithoutErrors) {
    std::vector<UInt64> arCycles;
    host::LHostIOOptions options;
    options.bPaced = false;
    options.nMaxCycles = 200;
    options.dwFramesPerCycle = 256;
    options.fill = [&](Float32* pfFrames, UInt32 dwFrames, UInt64 qwCycle) {
        ASSERT_EQ(dwFrames, 256u);
        pfFrames[0] = static_cast<Float32>(qwCycle);
        arCycles.push_back(qwCycle);
    };
    ASSERT_EQ(m_pHost->StartIO(options), 0);
    ASSERT_TRUE(m_pHost->IO().WaitUntilDone(std::chrono::seconds(20)));
    m_pHost->StopIO();
    const host::LHostIOStats stats = m_pHost->IO().Stats();
    EXPECT_EQ(stats.nCycles, 200u);
    EXPECT_EQ(stats.nFailedCalls, 0u) << stats.lastError;
    ASSERT_EQ(arCycles.size(), 200u);
    for (std::size_t i = 0; i < arCycles.size(); ++i) {
        EXPECT_EQ(arCycles[i], i);
    }
    // The driver saw the matching StopIO: another stop is refused.
    EXPECT_EQ(m_pEntries->StopIO(m_driver, 3, options.dwClientID),
              static_cast<OSStatus>(kAudioHardwareIllegalOperationError));
}

TEST_F(HostIOTest, PacedRunKeepsToTheDeviceClock) {
    host::LHostIOOptions options;
    options.nMaxCycles = 8; // 8 × 512 frames ≈ 93 ms at 44100 Hz
    const UInt64 qwStart = mach_absolute_time();
    ASSERT_EQ(m_pHost->StartIO(options), 0);
    ASSERT_TRUE(m_pHost->IO().WaitUntilDone(std::chrono::seconds(20)));
    const UInt64 qwElapsed = mach_absolute_time() - qwStart;
    m_pHost->StopIO();
    EXPECT_EQ(m_pHost->IO().Stats().nCycles, 8u);
    // The eighth cycle starts 7 cycles after the first: never earlier.
    EXPECT_GE(qwElapsed, static_cast<UInt64>(7 * 512 * 1e9 / 44100.0));
}

TEST_F(HostIOTest, StartingTwiceIsRefusedAndStoppingIdleIsHarmless) {
    m_pHost->StopIO();
    host::LHostIOOptions options;
    options.bPaced = false;
    ASSERT_EQ(m_pHost->StartIO(options), 0);
    EXPECT_EQ(m_pHost->StartIO(options), static_cast<OSStatus>(kAudioHardwareIllegalOperationError));
    m_pHost->StopIO();
    m_pHost->StopIO();
    options.dwFramesPerCycle = 0;
    EXPECT_EQ(m_pHost->StartIO(options), static_cast<OSStatus>(kAudioHardwareIllegalOperationError));
}

TEST_F(HostIOTest, RequestedConfigurationChangeIsPerformedAroundRunningIO) {
    host::LHostIOOptions options;
    options.bPaced = false;
    std::atomic<UInt64> nCycles{0};
    options.fill = [&](Float32*, UInt32, UInt64) { ++nCycles; };
    ASSERT_EQ(m_pHost->StartIO(options), 0);

    AudioServerPlugInHostRef pHost = m_pHost->HostInterface();
    ASSERT_EQ(pHost->RequestDeviceConfigurationChange(pHost, 3, 48000, nullptr), 0);
    ASSERT_EQ(pHost->RequestDeviceConfigurationChange(pHost, 3, 96000, nullptr), 0);
    ASSERT_TRUE(m_pHost->WaitForConfigurationChanges(2, std::chrono::seconds(20)));
    const auto changes = m_pHost->ConfigurationChanges();
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[0].qwChangeAction, 48000u);
    EXPECT_EQ(changes[0].status, 0);
    EXPECT_EQ(changes[1].qwChangeAction, 96000u);
    EXPECT_EQ(changes[1].status, static_cast<OSStatus>(kAudioHardwareBadObjectError));

    // IO came back after the change.
    EXPECT_TRUE(m_pHost->IO().IsRunning());
    const UInt64 nBefore = nCycles.load();
    for (int i = 0; i < 2000 && nCycles.load() == nBefore; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_GT(nCycles.load(), nBefore);
    m_pHost->StopIO();
    // Stop and start were matched one for one: the device is idle now.
    EXPECT_EQ(m_pEntries->StopIO(m_driver, 3, 1), static_cast<OSStatus>(kAudioHardwareIllegalOperationError));
}

TEST_F(HostIOTest, LateCallsAfterTheHostIsGoneFindNoHost) {
    AudioServerPlugInHostRef pHost = m_pHost->HostInterface();
    m_pHost.reset();
    const AudioObjectPropertyAddress address = Address(kAudioObjectPropertyName);
    CFPropertyListRef value = kCFBooleanTrue;
    EXPECT_EQ(pHost->PropertiesChanged(pHost, 2, 1, &address), static_cast<OSStatus>(kAudioHardwareNotRunningError));
    EXPECT_EQ(pHost->CopyFromStorage(pHost, CFSTR("box acquired"), &value),
              static_cast<OSStatus>(kAudioHardwareNotRunningError));
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(pHost->RequestDeviceConfigurationChange(pHost, 3, 48000, nullptr),
              static_cast<OSStatus>(kAudioHardwareNotRunningError));
}

} // namespace
} // namespace harlune::test
