// What the build puts into the driver bundle.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

const std::string kContents = std::string(HARLUNE_BUNDLE_PATH) + "/Contents";

std::vector<std::uint8_t> ReadFile(const std::string& szPath) {
    std::ifstream in(szPath, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::uint32_t BE32(const std::uint8_t* p) {
    return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8) | p[3];
}

TEST(BundleContentsTest, ExecutableExportsTheFactoryAndTheHelperFunctionsOnly) {
    void* pHandle = dlopen((kContents + "/Linux/HarluneVirtualAudioDevice.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(pHandle, nullptr) << dlerror();
    for (const char* szName : {"LVirtualAudioDevice_Create", "LVADPluginConnectToXPCService", "LVADPluginConnectToApp",
                               "LVADServerIsConnectionValid", "LVADSendAudioData", "LVADSendVolumeChanged"}) {
        EXPECT_NE(dlsym(pHandle, szName), nullptr) << szName;
    }
    // Internals stay internal: a second driver in the process cannot
    // interpose on them.
    EXPECT_EQ(dlsym(pHandle, "_ZN7harlune6driver11DriverStateE"), nullptr);
    dlclose(pHandle);
}

TEST(BundleContentsTest, IconIsAnIconFamilyOfPngImages) {
    const std::vector<std::uint8_t> icns = ReadFile(kContents + "/Resources/DeviceIcon.icns");
    ASSERT_GE(icns.size(), 8u);
    ASSERT_EQ(std::memcmp(icns.data(), "icns", 4), 0);
    ASSERT_EQ(BE32(&icns[4]), icns.size()) << "the header holds the file's length";

    const struct {
        const char* szType;
        std::uint32_t nSize;
    } expected[] = {{"icp5", 32}, {"ic07", 128}, {"ic08", 256}};
    std::size_t nPos = 8;
    for (const auto& e : expected) {
        SCOPED_TRACE(e.szType);
        ASSERT_LE(nPos + 8, icns.size());
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(&icns[nPos]), 4), e.szType);
        const std::uint32_t nLength = BE32(&icns[nPos + 4]);
        ASSERT_LE(nPos + nLength, icns.size());
        const std::uint8_t* pPng = &icns[nPos + 8];
        const std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
        EXPECT_EQ(std::memcmp(pPng, kSignature, 8), 0);
        EXPECT_EQ(std::memcmp(pPng + 12, "IHDR", 4), 0);
        EXPECT_EQ(BE32(pPng + 16), e.nSize);
        EXPECT_EQ(BE32(pPng + 20), e.nSize);
        nPos += nLength;
    }
    EXPECT_EQ(nPos, icns.size());
}

} // namespace
