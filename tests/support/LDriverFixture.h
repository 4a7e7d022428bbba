// LDriverFixture.h: a test fixture that loads the built driver bundle
// through the host, as the audio server would, with its storage in a
// private temporary folder.
//
// Each test case runs in a process of its own (CTest runs cases one by one),
// so every case starts from a freshly loaded driver.
#ifndef HARLUNE_TESTS_LDRIVERFIXTURE_H
#define HARLUNE_TESTS_LDRIVERFIXTURE_H

#include "host/LHost.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace harlune::test {

// Four-character code from text, for readable expectations ('!obj' etc.).
constexpr UInt32 FourCC(const char* sz) {
    return (static_cast<UInt32>(static_cast<unsigned char>(sz[0])) << 24) |
           (static_cast<UInt32>(static_cast<unsigned char>(sz[1])) << 16) |
           (static_cast<UInt32>(static_cast<unsigned char>(sz[2])) << 8) |
           static_cast<UInt32>(static_cast<unsigned char>(sz[3]));
}

inline AudioObjectPropertyAddress Address(AudioObjectPropertySelector dwSelector,
                                          AudioObjectPropertyScope dwScope = kAudioObjectPropertyScopeGlobal,
                                          AudioObjectPropertyElement dwElement = kAudioObjectPropertyElementMain) {
    return AudioObjectPropertyAddress{dwSelector, dwScope, dwElement};
}

class LDriverFixture : public ::testing::Test {
protected:
    void SetUp() override {
        // The driver's state is static: a second case in one process would
        // see what the first one left. CTest runs every case alone.
        static bool bDriverUsed = false;
        if (bDriverUsed) {
            GTEST_SKIP() << "needs a freshly loaded driver: run this case alone (CTest does)";
        }
        bDriverUsed = true;
        ASSERT_FALSE(m_folder.Path().empty()) << "no temporary folder";
        LoadHost();
    }
    void TearDown() override { m_pHost.reset(); }

    // Loads (or reloads) the bundle with the fixture's storage folder.
    void LoadHost() {
        m_pHost.reset();
        std::string szError;
        m_pHost = host::LHost::Load({HARLUNE_BUNDLE_PATH, StorageFolder()}, &szError);
        ASSERT_NE(m_pHost, nullptr) << szError;
        m_driver = m_pHost->Driver();
        m_pEntries = m_pHost->Entries();
    }

    std::string StorageFolder() const { return m_folder / "storage"; }

    // GetPropertyData of a fixed-size value on the given object.
    template <typename T>
    OSStatus Get(AudioObjectID dwObject, const AudioObjectPropertyAddress& address, T* pValue,
                 UInt32* pdwOutSize = nullptr, UInt32 dwQualifierSize = 0, const void* pQualifier = nullptr) {
        UInt32 dwOut = 0;
        const OSStatus status = m_pEntries->GetPropertyData(m_driver, dwObject, 0, &address, dwQualifierSize,
                                                            pQualifier, sizeof(T), &dwOut, pValue);
        if (pdwOutSize != nullptr) {
            *pdwOutSize = dwOut;
        }
        return status;
    }

    LTempFolder m_folder;
    std::unique_ptr<host::LHost> m_pHost;
    AudioServerPlugInDriverRef m_driver = nullptr;
    AudioServerPlugInDriverInterface* m_pEntries = nullptr;
};

} // namespace harlune::test

#endif
