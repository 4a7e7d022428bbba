// The lifecycle entries through the bundle's interface table.
#include "tests/support/LDriverFixture.h"

#include <CoreFoundation/CoreFoundation.h>

#include <functional>

namespace harlune::test {
namespace {

class LifecycleTest : public LDriverFixture {
protected:
    // The driver's reference count, read by taking and giving back one reference.
    ULONG RefCount() {
        m_pEntries->AddRef(m_driver);
        return m_pEntries->Release(m_driver);
    }
};

using LFactory = void* (*)(CFAllocatorRef, CFUUIDRef);

LFactory Factory() {
    CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("com.zentalworks.driver.HarluneVirtualAudioDevice"));
    if (bundle == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<LFactory>(CFBundleGetFunctionPointerForName(bundle, CFSTR("LVirtualAudioDevice_Create")));
}

TEST_F(LifecycleTest, FactoryHandsOutTheOneDriverForThePlugInTypeOnly) {
    LFactory pfnFactory = Factory();
    ASSERT_NE(pfnFactory, nullptr);
    EXPECT_EQ(pfnFactory(nullptr, kAudioServerPlugInTypeUUID), m_driver);
    EXPECT_EQ(pfnFactory(kCFAllocatorDefault, kAudioServerPlugInTypeUUID), m_driver);
    EXPECT_EQ(pfnFactory(nullptr, kAudioServerPlugInDriverInterfaceUUID), nullptr);
    EXPECT_EQ(pfnFactory(nullptr, IUnknownUUID), nullptr);
    EXPECT_EQ(pfnFactory(nullptr, nullptr), nullptr);
}

TEST_F(LifecycleTest, FactoryDoesNotCount) {
    LFactory pfnFactory = Factory();
    ASSERT_NE(pfnFactory, nullptr);
    const ULONG nBefore = m_pEntries->AddRef(m_driver);
    pfnFactory(nullptr, kAudioServerPlugInTypeUUID);
    EXPECT_EQ(m_pEntries->AddRef(m_driver), nBefore + 1);
}

TEST_F(LifecycleTest, QueryInterfaceCountsKnownInterfacesAndRefusesOthers) {
    struct Case {
        const char* szName;
        CFUUIDRef uuid;
        HRESULT hExpected;
        bool bCounts;
    };
    const CFUUIDBytes other = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,
                               0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10};
    CFUUIDRef otherUUID = CFUUIDCreateFromUUIDBytes(nullptr, other);
    const Case cases[] = {
        {"IUnknown", IUnknownUUID, S_OK, true},
        {"driver interface", kAudioServerPlugInDriverInterfaceUUID, S_OK, true},
        {"plug-in type", kAudioServerPlugInTypeUUID, E_NOINTERFACE, false},
        {"unrelated", otherUUID, E_NOINTERFACE, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.szName);
        const ULONG nBefore = RefCount();
        LPVOID pOut = reinterpret_cast<LPVOID>(0x1234);
        EXPECT_EQ(m_pEntries->QueryInterface(m_driver, CFUUIDGetUUIDBytes(c.uuid), &pOut), c.hExpected);
        EXPECT_EQ(pOut, c.bCounts ? static_cast<LPVOID>(m_driver) : reinterpret_cast<LPVOID>(0x1234));
        const ULONG nAfter = RefCount();
        EXPECT_EQ(nAfter, nBefore + (c.bCounts ? 1 : 0));
    }
    CFRelease(otherUUID);
}

TEST_F(LifecycleTest, QueryInterfaceChecksDriverAndOutPointer) {
    const CFUUIDBytes driverInterface = CFUUIDGetUUIDBytes(kAudioServerPlugInDriverInterfaceUUID);
    LPVOID pOut = nullptr;
    int nOther = 0;
    EXPECT_EQ(m_pEntries->QueryInterface(&nOther, driverInterface, &pOut), static_cast<HRESULT>(FourCC("!obj")));
    EXPECT_EQ(m_pEntries->QueryInterface(nullptr, driverInterface, &pOut), static_cast<HRESULT>(FourCC("!obj")));
    EXPECT_EQ(pOut, nullptr);
    EXPECT_EQ(m_pEntries->QueryInterface(m_driver, driverInterface, nullptr), static_cast<HRESULT>(FourCC("nope")));
}

TEST_F(LifecycleTest, ReferenceCountNeverGoesBelowZeroAndWrongDriverCountsNothing) {
    // Drain whatever the host holds, then check the floor.
    while (m_pEntries->Release(m_driver) != 0) {
    }
    EXPECT_EQ(m_pEntries->Release(m_driver), 0u);
    EXPECT_EQ(m_pEntries->AddRef(m_driver), 1u);
    EXPECT_EQ(m_pEntries->AddRef(m_driver), 2u);
    int nOther = 0;
    EXPECT_EQ(m_pEntries->AddRef(&nOther), 0u);
    EXPECT_EQ(m_pEntries->Release(&nOther), 0u);
    EXPECT_EQ(m_pEntries->Release(m_driver), 1u);
}

TEST_F(LifecycleTest, InitializeRefusesAWrongDriver) {
    int nOther = 0;
    EXPECT_EQ(m_pEntries->Initialize(reinterpret_cast<AudioServerPlugInDriverRef>(&nOther), m_pHost->HostInterface()),
              static_cast<OSStatus>(FourCC("!obj")));
    EXPECT_EQ(m_pHost->InitializeStatus(), 0);
}

TEST_F(LifecycleTest, DeviceAndClientEntriesAnswerByObject) {
    struct Case {
        const char* szName;
        std::function<OSStatus(AudioServerPlugInDriverRef, AudioObjectID)> call;
        OSStatus forDevice;
    };
    AudioServerPlugInClientInfo client = {7, 1234, true, nullptr};
    AudioServerPlugInDriverInterface* p = m_pEntries;
    const Case cases[] = {
        {"CreateDevice", [&](auto d, auto) { AudioObjectID id = 0; return p->CreateDevice(d, nullptr, &client, &id); },
         static_cast<OSStatus>(FourCC("unop"))},
        {"DestroyDevice", [&](auto d, auto o) { return p->DestroyDevice(d, o); }, static_cast<OSStatus>(FourCC("unop"))},
        {"AddDeviceClient", [&](auto d, auto o) { return p->AddDeviceClient(d, o, &client); }, 0},
        {"RemoveDeviceClient", [&](auto d, auto o) { return p->RemoveDeviceClient(d, o, &client); }, 0},
        {"AbortDeviceConfigurationChange",
         [&](auto d, auto o) { return p->AbortDeviceConfigurationChange(d, o, 48000, nullptr); }, 0},
    };
    int nOther = 0;
    auto* otherDriver = reinterpret_cast<AudioServerPlugInDriverRef>(&nOther);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.szName);
        EXPECT_EQ(c.call(m_driver, 3), c.forDevice);
        EXPECT_EQ(c.call(otherDriver, 3), static_cast<OSStatus>(FourCC("!obj")));
        if (c.forDevice == 0) {
            for (AudioObjectID dwOther : {0u, 1u, 2u, 4u, 8u, 9u, 13u}) {
                EXPECT_EQ(c.call(m_driver, dwOther), static_cast<OSStatus>(FourCC("!obj"))) << dwOther;
            }
        }
    }
}

TEST_F(LifecycleTest, ConfigurationChangeAcceptsOnlyTheTwoRatesOnTheDevice) {
    struct Case {
        AudioObjectID dwDevice;
        UInt64 qwAction;
        OSStatus expected;
    };
    const Case cases[] = {
        {3, 48000, 0}, {3, 44100, 0}, {3, 96000, static_cast<OSStatus>(FourCC("!obj"))},
        {3, 0, static_cast<OSStatus>(FourCC("!obj"))}, {3, 44101, static_cast<OSStatus>(FourCC("!obj"))},
        {2, 48000, static_cast<OSStatus>(FourCC("!obj"))}, {8, 44100, static_cast<OSStatus>(FourCC("!obj"))},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(m_pEntries->PerformDeviceConfigurationChange(m_driver, c.dwDevice, c.qwAction, nullptr), c.expected)
            << "device " << c.dwDevice << " action " << c.qwAction;
    }
}

} // namespace
} // namespace harlune::test
