// White-box checks of the driver's state transitions that cannot be reached
// through the interface in reasonable time (counters at their limits) or
// that need a host the test controls (what storage holds at Initialize).
#include "driver/DriverInterface.h"
#include "driver/DriverLifecycle.h"
#include "driver/DriverState.h"
#include "driver/IOEngine.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace harlune::driver {
namespace {

// A host whose storage holds at most one value, under "box acquired".
struct FakeHost {
    AudioServerPlugInHostInterface entries = {};
    CFPropertyListRef stored = nullptr;  // not owned; each copy retains it
    int nCopies = 0;                     // CopyFromStorage calls

    static FakeHost* From(AudioServerPlugInHostRef p) {
        return reinterpret_cast<FakeHost*>(const_cast<AudioServerPlugInHostInterface*>(p));
    }
    FakeHost() {
        entries.CopyFromStorage = [](AudioServerPlugInHostRef p, CFStringRef key, CFPropertyListRef* pOut) {
            FakeHost* pSelf = From(p);
            ++pSelf->nCopies;
            *pOut = nullptr;
            if (pSelf->stored != nullptr && CFEqual(key, CFSTR("box acquired"))) {
                *pOut = CFRetain(pSelf->stored);
            }
            return OSStatus(0);
        };
    }
};

AudioServerPlugInDriverRef Driver() { return DriverState.DriverRef; }

TEST(DriverStateTest, InitializeReadsTheBoxAcquiredStateByItsType) {
    SInt32 nZero = 0, nSeven = 7;
    Float64 fHalf = 0.5;
    struct Case {
        const char* szName;
        CFPropertyListRef value;
        bool bStartState;
        bool bExpected;
    };
    CFNumberRef zero = CFNumberCreate(nullptr, kCFNumberSInt32Type, &nZero);
    CFNumberRef seven = CFNumberCreate(nullptr, kCFNumberSInt32Type, &nSeven);
    CFNumberRef half = CFNumberCreate(nullptr, kCFNumberFloat64Type, &fHalf);
    const Case cases[] = {
        {"nothing stored", nullptr, true, true},
        {"number 0", zero, true, false},
        {"number 7", seven, false, true},
        {"number 0.5 read as an integer", half, true, false},
        {"boolean false", kCFBooleanFalse, true, false},
        {"boolean true", kCFBooleanTrue, false, true},
        {"a string keeps the state", CFSTR("no"), true, true},
        {"a string keeps the state (false)", CFSTR("yes"), false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.szName);
        FakeHost host;
        host.stored = c.value;
        DriverState.BoxAcquired = c.bStartState;
        const CFIndex nRetainsBefore = c.value != nullptr ? CFGetRetainCount(c.value) : 0;
        EXPECT_EQ(LDriverInitialize(Driver(), &host.entries), 0);
        EXPECT_EQ(DriverState.BoxAcquired.load(), c.bExpected);
        EXPECT_EQ(host.nCopies, 2) << "the state, then the name";
        if (c.value != nullptr) {
            EXPECT_EQ(CFGetRetainCount(c.value), nRetainsBefore) << "every copied value is released";
        }
    }
    CFRelease(zero);
    CFRelease(seven);
    CFRelease(half);
}

TEST(DriverStateTest, InitializeNamesTheBoxAndComputesTheClockRatio) {
    FakeHost host;
    EXPECT_EQ(LDriverInitialize(Driver(), &host.entries), 0);
    ASSERT_NE(DriverState.BoxName, nullptr);
    EXPECT_TRUE(CFEqual(DriverState.BoxName, CFSTR("Null Box")));
    EXPECT_EQ(DriverState.Host, &host.entries);
    EXPECT_NEAR(DriverState.HostTicksPerFrame.load(), 22675.736961, 1e-6);
}

TEST(DriverStateTest, InitializeSurvivesAHostWithoutStorage) {
    AudioServerPlugInHostInterface bare = {};
    EXPECT_EQ(LDriverInitialize(Driver(), &bare), 0);
    EXPECT_TRUE(DriverState.BoxAcquired.load());
    EXPECT_EQ(LDriverInitialize(Driver(), nullptr), 0);
}

TEST(DriverStateTest, ReferenceCountSaturatesAtTheTop) {
    DriverState.RefCount = 0xFFFFFFFEu;
    EXPECT_EQ(LDriverAddRef(Driver()), 0xFFFFFFFFu);
    EXPECT_EQ(LDriverAddRef(Driver()), 0xFFFFFFFFu);
    LPVOID pOut = nullptr;
    EXPECT_EQ(LDriverQueryInterface(Driver(), CFUUIDGetUUIDBytes(IUnknownUUID), &pOut), S_OK);
    EXPECT_EQ(DriverState.RefCount, 0xFFFFFFFFu);
    EXPECT_EQ(LDriverRelease(Driver()), 0xFFFFFFFEu);
}

TEST(DriverStateTest, StartIOAtTheCountLimitChangesNothing) {
    DriverState.IORunningCount = 0xFFFFFFFFFFFFFFFFull;
    DriverState.AnchorHostTime = 42;
    EXPECT_EQ(LDriverStartIO(Driver(), 3, 1), static_cast<OSStatus>(kAudioHardwareIllegalOperationError));
    EXPECT_EQ(DriverState.IORunningCount, 0xFFFFFFFFFFFFFFFFull);
    EXPECT_EQ(DriverState.AnchorHostTime, 42u);
    EXPECT_EQ(LDriverStopIO(Driver(), 3, 1), 0);
    EXPECT_EQ(DriverState.IORunningCount, 0xFFFFFFFFFFFFFFFEull);
}

TEST(DriverStateTest, ConfigurationChangeSetsRateAndRatioTogether) {
    FakeHost host;
    ASSERT_EQ(LDriverInitialize(Driver(), &host.entries), 0);
    const Float64 fRatio44100 = DriverState.HostTicksPerFrame.load();
    DriverState.TimeStampCount = 5;
    DriverState.AnchorHostTime = 77;

    EXPECT_EQ(LDriverPerformDeviceConfigurationChange(Driver(), 3, 48000, nullptr), 0);
    EXPECT_EQ(DriverState.SampleRate, 48000.0);
    EXPECT_NEAR(DriverState.HostTicksPerFrame.load(), fRatio44100 * 44100.0 / 48000.0, 1e-9);
    EXPECT_EQ(DriverState.TimeStampCount, 5u) << "the time line is not touched";
    EXPECT_EQ(DriverState.AnchorHostTime, 77u);

    EXPECT_EQ(LDriverPerformDeviceConfigurationChange(Driver(), 3, 96000, nullptr),
              static_cast<OSStatus>(kAudioHardwareBadObjectError));
    EXPECT_EQ(DriverState.SampleRate, 48000.0);
    EXPECT_EQ(LDriverAbortDeviceConfigurationChange(Driver(), 3, 44100, nullptr), 0);
    EXPECT_EQ(DriverState.SampleRate, 48000.0);
}

} // namespace
} // namespace harlune::driver
