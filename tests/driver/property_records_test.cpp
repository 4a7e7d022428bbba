// Answers that are records, lists with truncation, scope rules and
// qualified properties, through the bundle's interface table.
#include "tests/support/LDriverFixture.h"
#include "tests/support/LPropertyValue.h"

#include <cmath>

namespace harlune::test {
namespace {

constexpr OSStatus kBadSize = static_cast<OSStatus>(FourCC("!siz"));

using PropertyRecordsTest = LDriverFixture;

TEST_F(PropertyRecordsTest, FixedRecordsHoldTheirFields) {
    const LAnswer custom = GetAnswer(m_driver, 1, Address(FourCC("cust")), 12);
    ASSERT_EQ(custom.status, 0);
    EXPECT_EQ(custom.As<UInt32>(0), FourCC("PCst"));
    EXPECT_EQ(custom.As<UInt32>(4), FourCC("cfst"));
    EXPECT_EQ(custom.As<UInt32>(8), FourCC("plst"));

    const LAnswer stereo = GetAnswer(m_driver, 3, Address(FourCC("dch2"), kAudioObjectPropertyScopeOutput), 8);
    EXPECT_EQ(stereo.As<UInt32>(0), 1u);
    EXPECT_EQ(stereo.As<UInt32>(4), 2u);

    const LAnswer layout = GetAnswer(m_driver, 3, Address(FourCC("srnd"), kAudioObjectPropertyScopeOutput), 52);
    ASSERT_EQ(layout.status, 0);
    EXPECT_EQ(layout.As<UInt32>(0), 0u) << "use channel descriptions";
    EXPECT_EQ(layout.As<UInt32>(4), 0u);
    EXPECT_EQ(layout.As<UInt32>(8), 2u);
    EXPECT_EQ(layout.As<UInt32>(12), 1u) << "left";
    EXPECT_EQ(layout.As<UInt32>(32), 2u) << "right";
    for (std::size_t nOffset : {16u, 20u, 24u, 28u, 36u, 40u, 44u, 48u}) {
        EXPECT_EQ(layout.As<UInt32>(nOffset), 0u) << "flags and coordinates at " << nOffset;
    }
    EXPECT_EQ(GetAnswer(m_driver, 3, Address(FourCC("srnd")), 48).status, kBadSize);

    const LAnswer range = GetAnswer(m_driver, 9, Address(FourCC("lcdr")), 16);
    EXPECT_EQ(range.As<Float64>(0), -96.0);
    EXPECT_EQ(range.As<Float64>(8), 6.0);
}

TEST_F(PropertyRecordsTest, StreamFormatsFollowTheRateButTheAvailableListDoesNot) {
    for (UInt64 qwRate : {44100u, 48000u}) {
        ASSERT_EQ(m_pEntries->PerformDeviceConfigurationChange(m_driver, 3, qwRate, nullptr), 0);
        for (const char* szSelector : {"sfmt", "pft "}) {
            SCOPED_TRACE(std::string(szSelector) + " at " + std::to_string(qwRate));
            const LAnswer format = GetAnswer(m_driver, 8, Address(FourCC(szSelector)), 40);
            ASSERT_EQ(format.status, 0);
            const auto asbd = format.As<AudioStreamBasicDescription>();
            EXPECT_EQ(asbd.mSampleRate, static_cast<Float64>(qwRate));
            EXPECT_EQ(asbd.mFormatID, FourCC("lpcm"));
            EXPECT_EQ(asbd.mFormatFlags, 9u);
            EXPECT_EQ(asbd.mBytesPerPacket, 8u);
            EXPECT_EQ(asbd.mFramesPerPacket, 1u);
            EXPECT_EQ(asbd.mBytesPerFrame, 8u);
            EXPECT_EQ(asbd.mChannelsPerFrame, 2u);
            EXPECT_EQ(asbd.mBitsPerChannel, 32u);
            EXPECT_EQ(asbd.mReserved, 0u);
        }
        for (const char* szSelector : {"sfma", "pfta"}) {
            const LAnswer list = GetAnswer(m_driver, 8, Address(FourCC(szSelector)), 112);
            ASSERT_EQ(list.dwOutSize, 56u);
            const auto ranged = list.As<AudioStreamRangedDescription>();
            EXPECT_EQ(ranged.mFormat.mSampleRate, 44100.0);
            EXPECT_EQ(ranged.mSampleRateRange.mMinimum, 44100.0);
            EXPECT_EQ(ranged.mSampleRateRange.mMaximum, 44100.0);
            EXPECT_EQ(GetAnswer(m_driver, 8, Address(FourCC(szSelector)), 55).dwOutSize, 0u);
        }
        const LAnswer rate = GetAnswer(m_driver, 3, Address(FourCC("nsrt")), 8);
        EXPECT_EQ(rate.As<Float64>(), static_cast<Float64>(qwRate));
    }
}

TEST_F(PropertyRecordsTest, ListsTruncateToTheBufferWithoutError) {
    const struct {
        AudioObjectID dwObject;
        const char* szSelector;
        AudioObjectPropertyScope dwScope;
        UInt32 dwBuffer;
        std::vector<UInt32> arExpected;
    } cases[] = {
        {1, "ownd", kAudioObjectPropertyScopeGlobal, 16, {2, 3}},
        {1, "ownd", kAudioObjectPropertyScopeGlobal, 4, {2}},
        {1, "ownd", kAudioObjectPropertyScopeGlobal, 0, {}},
        {1, "ownd", kAudioObjectPropertyScopeGlobal, 7, {2}},
        {1, "box#", kAudioObjectPropertyScopeGlobal, 3, {}},
        {1, "dev#", kAudioObjectPropertyScopeGlobal, 3, {}},
        {2, "ownd", kAudioObjectPropertyScopeGlobal, 0, {}},
        {3, "ownd", kAudioObjectPropertyScopeGlobal, 20, {8, 9, 10, 11, 12}},
        {3, "ownd", kAudioObjectPropertyScopeGlobal, 16, {8, 9, 10, 11}},
        {3, "ownd", kAudioObjectPropertyScopeOutput, 20, {8, 9, 10, 11}},
        {3, "ownd", kAudioObjectPropertyScopeInput, 20, {}},
        {3, "ownd", FourCC("ptru"), 20, {}},
        {3, "stm#", kAudioObjectPropertyScopeOutput, 8, {8}},
        {3, "stm#", kAudioObjectPropertyScopeInput, 8, {}},
        {3, "ctrl", kAudioObjectPropertyScopeGlobal, 4, {9}},
        {3, "ctrl", kAudioObjectPropertyScopeGlobal, 12, {9, 10, 11}},
        {3, "akin", kAudioObjectPropertyScopeGlobal, 2, {}},
        {11, "scai", kAudioObjectPropertyScopeGlobal, 12, {0, 1, 2}},
        {12, "scai", kAudioObjectPropertyScopeGlobal, 64, {0, 1, 2, 3}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.dwObject) + " '" + c.szSelector + "' buffer " + std::to_string(c.dwBuffer));
        const LAnswer answer = GetAnswer(m_driver, c.dwObject, Address(FourCC(c.szSelector), c.dwScope), c.dwBuffer);
        EXPECT_EQ(answer.status, 0);
        EXPECT_EQ(answer.IDs(), c.arExpected);
    }
    // Sample-rate ranges: one range when 16 bytes fit, none otherwise.
    EXPECT_EQ(GetAnswer(m_driver, 3, Address(FourCC("nsr#")), 32).dwOutSize, 16u);
    EXPECT_EQ(GetAnswer(m_driver, 3, Address(FourCC("nsr#")), 15).dwOutSize, 0u);
    const LAnswer rates = GetAnswer(m_driver, 3, Address(FourCC("nsr#")), 32);
    EXPECT_EQ(rates.As<Float64>(0), 44100.0);
    EXPECT_EQ(rates.As<Float64>(8), 44100.0);
}

TEST_F(PropertyRecordsTest, ScopeAndElementRulesOfTheDevice) {
    const AudioObjectPropertyScope glob = kAudioObjectPropertyScopeGlobal, outp = kAudioObjectPropertyScopeOutput,
                                   inpt = kAudioObjectPropertyScopeInput, ptru = FourCC("ptru");
    const struct {
        const char* szSelector;
        AudioObjectPropertyScope dwScope;
        AudioObjectPropertyElement dwElement;
        bool bHas;
    } cases[] = {
        {"ltnc", glob, 0, false}, {"ltnc", outp, 0, true},  {"ltnc", inpt, 0, true},  {"saft", glob, 0, false},
        {"dflt", inpt, 0, true},  {"sflt", ptru, 0, false}, {"dch2", outp, 0, true},  {"srnd", glob, 0, false},
        {"ownd", outp, 0, true},  {"ownd", glob, 0, true},  {"ownd", inpt, 0, false}, {"stm#", outp, 0, true},
        {"stm#", glob, 0, true},  {"stm#", inpt, 0, false}, {"lchn", glob, 0, true},  {"lchn", glob, 2, true},
        {"lchn", glob, 3, false}, {"lnam", inpt, 7, true},  {"nsrt", ptru, 9, true},
    };
    for (const auto& c : cases) {
        const AudioObjectPropertyAddress address = Address(FourCC(c.szSelector), c.dwScope, c.dwElement);
        EXPECT_EQ(m_pEntries->HasProperty(m_driver, 3, 0, &address), c.bHas)
            << "'" << c.szSelector << "' scope " << c.dwScope << " element " << c.dwElement;
    }
    // Settability never looks at scope or element.
    const AudioObjectPropertyAddress odd = Address(FourCC("nsrt"), inpt, 42);
    Boolean bSettable = 0;
    EXPECT_EQ(m_pEntries->IsPropertySettable(m_driver, 3, 0, &odd, &bSettable), 0);
    EXPECT_EQ(bSettable, 1);
    // Size answers of scope-restricted lists follow the scope.
    UInt32 dwSize = 99;
    const AudioObjectPropertyAddress streamsIn = Address(FourCC("stm#"), inpt);
    EXPECT_EQ(m_pEntries->GetPropertyDataSize(m_driver, 3, 0, &streamsIn, 0, nullptr, &dwSize), 0);
    EXPECT_EQ(dwSize, 0u);
    for (auto [dwElement, szName] : {std::pair{1u, "LeftElementName"}, std::pair{2u, "RightElementName"},
                                     std::pair{5u, "unknown"}}) {
        EXPECT_EQ(GetAnswer(m_driver, 3, Address(FourCC("lchn"), glob, dwElement), 8).TakeString(), szName);
    }
}

TEST_F(PropertyRecordsTest, TranslatingTheDeviceUIDIsExact) {
    const struct {
        CFStringRef uid;
        UInt32 dwBox, dwDevice;
    } cases[] = {
        {CFSTR("HarluneVirtualAudioDevice_UID"), 2, 3},
        {CFSTR("harlunevirtualaudiodevice_uid"), 0, 0},
        {CFSTR("HarluneVirtualAudioDevice_UID "), 0, 0},
        {CFSTR(""), 0, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(GetAnswer(m_driver, 1, Address(FourCC("uidb")), 4, sizeof c.uid, &c.uid).As<UInt32>(), c.dwBox);
        EXPECT_EQ(GetAnswer(m_driver, 1, Address(FourCC("uidd")), 4, sizeof c.uid, &c.uid).As<UInt32>(), c.dwDevice);
    }
    CFStringRef uid = CFSTR("HarluneVirtualAudioDevice_UID");
    for (const char* szSelector : {"uidb", "uidd"}) {
        const AudioObjectPropertyAddress address = Address(FourCC(szSelector));
        EXPECT_EQ(GetAnswer(m_driver, 1, address, 4, 4, &uid).status, kBadSize) << "qualifier size 4";
        EXPECT_EQ(GetAnswer(m_driver, 1, address, 4, 8, nullptr).status, kBadSize) << "no qualifier";
        const LAnswer shortBuffer = GetAnswer(m_driver, 1, address, 3, 8, &uid);
        EXPECT_EQ(shortBuffer.status, kBadSize);
        EXPECT_TRUE(shortBuffer.Untouched());
    }
    // A number where a string belongs is no match, not a crash.
    SInt32 nValue = 3;
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &nValue);
    EXPECT_EQ(GetAnswer(m_driver, 1, Address(FourCC("uidd")), 4, 8, &number).As<UInt32>(), 0u);
    CFRelease(number);
}

TEST_F(PropertyRecordsTest, CustomPropertyNeedsItsQualifier) {
    CFPropertyListRef qualifier = CFSTR("a qualifier");
    const AudioObjectPropertyAddress address = Address(FourCC("PCst"));
    UInt32 dwSize = 0;
    EXPECT_EQ(m_pEntries->GetPropertyDataSize(m_driver, 1, 0, &address, 8, &qualifier, &dwSize), 0);
    EXPECT_EQ(dwSize, 8u);
    EXPECT_EQ(m_pEntries->GetPropertyDataSize(m_driver, 1, 0, &address, 4, &qualifier, &dwSize), kBadSize);
    EXPECT_EQ(m_pEntries->GetPropertyDataSize(m_driver, 1, 0, &address, 8, nullptr, &dwSize), kBadSize);
    const LAnswer answer = GetAnswer(m_driver, 1, address, 16, 8, &qualifier);
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.dwOutSize, 8u);
    EXPECT_EQ(answer.TakeString(), "NullAudio PlugIn Custom Property");
    EXPECT_EQ(GetAnswer(m_driver, 1, address, 7, 8, &qualifier).status, kBadSize);
    EXPECT_EQ(GetAnswer(m_driver, 1, address, 16, 0, nullptr).status, kBadSize);
}

TEST_F(PropertyRecordsTest, SelectorItemNamesAreMadeForTheCaller) {
    for (AudioObjectID dwObject : {11u, 12u}) {
        for (UInt32 dwItem = 0; dwItem < 4; ++dwItem) {
            const LAnswer answer = GetAnswer(m_driver, dwObject, Address(FourCC("scin")), 8, 4, &dwItem);
            ASSERT_EQ(answer.status, 0);
            CFStringRef name = answer.As<CFStringRef>();
            EXPECT_EQ(CFGetRetainCount(name), 1) << "the caller holds the only reference";
            EXPECT_EQ(answer.TakeString(), "Data Source Item " + std::to_string(dwItem));
        }
        UInt32 dwFour = 4;
        EXPECT_EQ(GetAnswer(m_driver, dwObject, Address(FourCC("scin")), 8, 4, &dwFour).status,
                  static_cast<OSStatus>(FourCC("nope")));
        UInt32 dwTwo = 2;
        EXPECT_EQ(GetAnswer(m_driver, dwObject, Address(FourCC("scin")), 8, 8, &dwTwo).status, kBadSize);
        EXPECT_EQ(GetAnswer(m_driver, dwObject, Address(FourCC("scin")), 7, 4, &dwTwo).status, kBadSize);
    }
}

TEST_F(PropertyRecordsTest, VolumeConversionsWorkInPlaceAndClamp) {
    const struct {
        const char* szSelector;
        Float32 fIn, fOut;
    } cases[] = {
        {"lcsd", 0.0f, -96.0f},     {"lcsd", 0.25f, -89.625f}, {"lcsd", 0.5f, -70.5f}, {"lcsd", 1.0f, 6.0f},
        {"lcsd", 2.0f, 6.0f},       {"lcsd", -1.0f, -96.0f},   {"lcds", -96.0f, 0.0f}, {"lcds", -120.0f, 0.0f},
        {"lcds", 10.0f, 1.0f},      {"lcds", 6.0f, 1.0f},      {"lcds", -20.0f, 0.86319f},
        {"lcds", 0.0f, 0.97014f},
    };
    for (const auto& c : cases) {
        Float32 fValue = c.fIn;
        UInt32 dwOut = 0;
        const AudioObjectPropertyAddress address = Address(FourCC(c.szSelector));
        ASSERT_EQ(m_pEntries->GetPropertyData(m_driver, 9, 0, &address, 0, nullptr, 4, &dwOut, &fValue), 0);
        EXPECT_NEAR(fValue, c.fOut, 1e-5) << c.szSelector << " " << c.fIn;
        EXPECT_EQ(dwOut, 4u);
    }
    // A NaN converts to the bottom of the range rather than passing through.
    Float32 fNaN = std::nanf("");
    UInt32 dwOut = 0;
    const AudioObjectPropertyAddress toDb = Address(FourCC("lcsd"));
    ASSERT_EQ(m_pEntries->GetPropertyData(m_driver, 9, 0, &toDb, 0, nullptr, 4, &dwOut, &fNaN), 0);
    EXPECT_EQ(fNaN, -96.0f);
    // The stored volume is untouched by conversions.
    EXPECT_EQ(GetAnswer(m_driver, 9, Address(FourCC("lcsv")), 4).As<Float32>(), 0.0f);
}

TEST_F(PropertyRecordsTest, IconIsTheBundlesResource) {
    const LAnswer answer = GetAnswer(m_driver, 3, Address(FourCC("icon")), 8);
    ASSERT_EQ(answer.status, 0);
    CFURLRef url = answer.As<CFURLRef>();
    ASSERT_NE(url, nullptr);
    char szPath[1024] = {0};
    ASSERT_TRUE(CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8*>(szPath), sizeof szPath));
    EXPECT_EQ(std::string(szPath), std::string(HARLUNE_BUNDLE_PATH) + "/Contents/Resources/DeviceIcon.icns");
    CFRelease(url);
    EXPECT_EQ(GetAnswer(m_driver, 3, Address(FourCC("icon")), 7).status, kBadSize);
}

} // namespace
} // namespace harlune::test
