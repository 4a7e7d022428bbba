// Setting every settable property: accepted and refused values, what is
// stored, and the exact notices the host records.
#include "tests/support/LDriverFixture.h"
#include "tests/support/LPropertyValue.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace harlune::test {
namespace {

constexpr OSStatus kBadSize = static_cast<OSStatus>(FourCC("!siz"));
constexpr OSStatus kIllegal = static_cast<OSStatus>(FourCC("nope"));
constexpr OSStatus kBadFormat = static_cast<OSStatus>(FourCC("!dat"));
constexpr auto kWait = std::chrono::seconds(10);

// A notice as the tests expect it: object and selectors, all global scope, element 0.
struct Notice {
    AudioObjectID dwObject;
    std::vector<UInt32> arSelectors;
    bool operator==(const Notice&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Notice& n) {
    out << n.dwObject << ":";
    for (UInt32 s : n.arSelectors) {
        out << " '" << char(s >> 24) << char(s >> 16) << char(s >> 8) << char(s) << "'";
    }
    return out;
}

class PropertyChangesTest : public LDriverFixture {
protected:
    template <typename T>
    OSStatus Set(AudioObjectID dwObject, const char* szSelector, const T& value, UInt32 dwSize = sizeof(T)) {
        const AudioObjectPropertyAddress address = Address(FourCC(szSelector));
        return m_pEntries->SetPropertyData(m_driver, dwObject, 0, &address, 0, nullptr, dwSize, &value);
    }
    template <typename T>
    T Read(AudioObjectID dwObject, const char* szSelector) {
        return GetAnswer(m_driver, dwObject, Address(FourCC(szSelector)), sizeof(T)).As<T>();
    }
    // The notices recorded so far; fails the test if any address is not
    // global scope, element 0.
    std::vector<Notice> Notices() {
        std::vector<Notice> ar;
        for (const host::LHostNotice& n : m_pHost->Notices().Snapshot()) {
            Notice notice{n.dwObjectID, {}};
            for (const AudioObjectPropertyAddress& a : n.arAddresses) {
                EXPECT_EQ(a.mScope, kAudioObjectPropertyScopeGlobal);
                EXPECT_EQ(a.mElement, 0u);
                notice.arSelectors.push_back(a.mSelector);
            }
            ar.push_back(notice);
        }
        return ar;
    }
};

TEST_F(PropertyChangesTest, FlagsAndItemsNotifyOnlyWhenTheyChange) {
    const struct {
        AudioObjectID dwObject;
        const char* szSelector;
        UInt32 dwValue;
        OSStatus status;
        UInt32 dwReadBack;
        std::vector<Notice> arNotices;
    } cases[] = {
        {10, "bcvl", 5, 0, 1, {{10, {FourCC("bcvl")}}}},
        {10, "bcvl", 1, 0, 1, {}},
        {10, "bcvl", 0, 0, 0, {{10, {FourCC("bcvl")}}}},
        {8, "sact", 0, 0, 0, {{8, {FourCC("sact")}}}},
        {8, "sact", 0, 0, 0, {}},
        {8, "sact", 0xFFFFFFFF, 0, 1, {{8, {FourCC("sact")}}}},
        {11, "scci", 2, 0, 2, {{11, {FourCC("scci")}}}},
        {11, "scci", 2, 0, 2, {}},
        {11, "scci", 4, kIllegal, 2, {}},
        {12, "scci", 3, 0, 3, {{12, {FourCC("scci")}}}},
        {12, "scci", 0xFFFFFFFF, kIllegal, 3, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.dwObject) + " '" + c.szSelector + "' = " + std::to_string(c.dwValue));
        m_pHost->Notices().Clear();
        EXPECT_EQ(Set(c.dwObject, c.szSelector, c.dwValue), c.status);
        EXPECT_EQ(Read<UInt32>(c.dwObject, c.szSelector), c.dwReadBack);
        EXPECT_EQ(Notices(), c.arNotices);
    }
    // The two selectors keep separate items.
    EXPECT_EQ(Read<UInt32>(11, "scci"), 2u);
}

TEST_F(PropertyChangesTest, VolumeIsClampedStoredAndAnnouncedInBothUnits) {
    const Notice volumeNotice{9, {FourCC("lcsv"), FourCC("lcdv")}};
    const struct {
        const char* szSelector;
        Float32 fValue;
        OSStatus status;
        Float32 fStored;
        bool bNotice;
    } cases[] = {
        {"lcsv", 1.5f, 0, 1.0f, true},       {"lcsv", 1.0f, 0, 1.0f, false},
        {"lcsv", 0.5f, 0, 0.5f, true},       {"lcsv", -3.0f, 0, 0.0f, true},
        {"lcdv", 0.0f, 0, 0.97014f, true},   {"lcdv", -200.0f, 0, 0.0f, true},
        {"lcdv", 60.0f, 0, 1.0f, true},      {"lcsv", std::nanf(""), kIllegal, 1.0f, false},
        {"lcdv", std::nanf(""), kIllegal, 1.0f, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.szSelector) + " = " + std::to_string(c.fValue));
        m_pHost->Notices().Clear();
        EXPECT_EQ(Set(9, c.szSelector, c.fValue), c.status);
        EXPECT_NEAR(Read<Float32>(9, "lcsv"), c.fStored, 1e-5);
        EXPECT_EQ(Notices(), c.bNotice ? std::vector<Notice>{volumeNotice} : std::vector<Notice>{});
    }
    ASSERT_EQ(Set(9, "lcsv", 0.5f), 0);
    EXPECT_FLOAT_EQ(Read<Float32>(9, "lcdv"), -70.5f);
}

TEST_F(PropertyChangesTest, EverySettablePropertyChecksSizeThenPointer) {
    const struct {
        AudioObjectID dwObject;
        const char* szSelector;
        UInt32 dwSize;
    } cases[] = {
        {2, "lnam", 8}, {2, "bxon", 4}, {3, "nsrt", 8}, {8, "sfmt", 40}, {8, "pft ", 40}, {8, "sact", 4},
        {9, "lcsv", 4}, {9, "lcdv", 4}, {10, "bcvl", 4}, {11, "scci", 4}, {12, "scci", 4},
    };
    UInt8 arData[64] = {};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.dwObject) + " '" + c.szSelector + "'");
        const AudioObjectPropertyAddress address = Address(FourCC(c.szSelector));
        for (UInt32 dwWrong : {0u, c.dwSize - 1, c.dwSize + 1}) {
            EXPECT_EQ(m_pEntries->SetPropertyData(m_driver, c.dwObject, 0, &address, 0, nullptr, dwWrong, arData),
                      kBadSize);
        }
        EXPECT_EQ(m_pEntries->SetPropertyData(m_driver, c.dwObject, 0, &address, 0, nullptr, c.dwSize, nullptr),
                  kIllegal);
    }
    // Identify does not read its value: only the size matters.
    const AudioObjectPropertyAddress identify = Address(FourCC("iden"));
    EXPECT_EQ(m_pEntries->SetPropertyData(m_driver, 2, 0, &identify, 0, nullptr, 3, arData), kBadSize);
    EXPECT_TRUE(Notices().empty());
    EXPECT_EQ(m_pHost->PendingConfigurationChanges() + m_pHost->ConfigurationChanges().size(), 0u);
}

TEST_F(PropertyChangesTest, BoxNameIsRetainedAndAnnouncedOnEverySet) {
    CFStringRef name = CFStringCreateWithCString(nullptr, "Studio Box", kCFStringEncodingUTF8);
    const CFIndex nBefore = CFGetRetainCount(name);
    for (int i = 0; i < 2; ++i) {
        m_pHost->Notices().Clear();
        EXPECT_EQ(Set(2, "lnam", name), 0);
        EXPECT_EQ((Notices()), (std::vector<Notice>{{2, {FourCC("lnam")}}}));
    }
    EXPECT_EQ(CFGetRetainCount(name), nBefore + 1) << "the box holds one reference";
    EXPECT_EQ(GetAnswer(m_driver, 2, Address(FourCC("lnam")), 8).TakeString(), "Studio Box");
    SInt32 nValue = 1;
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &nValue);
    EXPECT_EQ(Set(2, "lnam", number), kIllegal) << "only strings name the box";
    EXPECT_EQ(Set(2, "lnam", CFSTR("Other")), 0);
    EXPECT_EQ(CFGetRetainCount(name), nBefore) << "the old name was released";
    CFRelease(number);
    CFRelease(name);
}

TEST_F(PropertyChangesTest, BoxAcquiredIsStoredAnnouncedAndUnpublishesTheDevice) {
    ASSERT_EQ(Set(2, "bxon", UInt32(0)), 0);
    EXPECT_TRUE(m_pHost->Notices().WaitFor(1, FourCC("dev#"), kWait)) << "queued notice on the plug-in";
    // The queued notice runs on another thread and may be recorded before
    // or after the direct one; both, and nothing else, must be there.
    std::vector<Notice> arNotices = Notices();
    std::sort(arNotices.begin(), arNotices.end(),
              [](const Notice& a, const Notice& b) { return a.dwObject < b.dwObject; });
    EXPECT_EQ(arNotices, (std::vector<Notice>{{1, {FourCC("dev#")}}, {2, {FourCC("bxon"), FourCC("bdv#")}}}));
    CFPropertyListRef stored = m_pHost->Storage().Copy(CFSTR("box acquired"));
    ASSERT_NE(stored, nullptr);
    EXPECT_TRUE(CFEqual(stored, kCFBooleanFalse));
    CFRelease(stored);

    EXPECT_EQ(GetAnswer(m_driver, 1, Address(FourCC("ownd")), 16).IDs(), std::vector<UInt32>{2});
    EXPECT_TRUE(GetAnswer(m_driver, 1, Address(FourCC("dev#")), 16).IDs().empty());
    EXPECT_TRUE(GetAnswer(m_driver, 2, Address(FourCC("bdv#")), 16).IDs().empty());
    const struct {
        AudioObjectID dwObject;
        const char* szSelector;
        UInt32 dwSize;
    } sizes[] = {{1, "ownd", 4}, {1, "dev#", 0}, {2, "bdv#", 0}};
    for (const auto& s : sizes) {
        const AudioObjectPropertyAddress address = Address(FourCC(s.szSelector));
        UInt32 dwSize = 99;
        EXPECT_EQ(m_pEntries->GetPropertyDataSize(m_driver, s.dwObject, 0, &address, 0, nullptr, &dwSize), 0);
        EXPECT_EQ(dwSize, s.dwSize) << s.szSelector;
    }

    m_pHost->Notices().Clear();
    EXPECT_EQ(Set(2, "bxon", UInt32(0)), 0);
    EXPECT_TRUE(Notices().empty()) << "unchanged: no notice";
    // Acquired again: the box's device list reports a short buffer.
    EXPECT_EQ(Set(2, "bxon", UInt32(9)), 0);
    EXPECT_EQ(GetAnswer(m_driver, 2, Address(FourCC("bdv#")), 3).status, kBadSize);
    EXPECT_EQ(GetAnswer(m_driver, 2, Address(FourCC("bdv#")), 4).IDs(), std::vector<UInt32>{3});
}

TEST_F(PropertyChangesTest, SampleRateIsRequestedThenPerformedByTheHost) {
    m_pHost->HoldConfigurationChanges(true);
    EXPECT_EQ(Set(3, "nsrt", 44100.0), 0);
    EXPECT_TRUE(Notices().empty()) << "the current rate changes nothing";

    EXPECT_EQ(Set(3, "nsrt", 48000.0), 0);
    EXPECT_EQ(Notices(), (std::vector<Notice>{{3, {FourCC("nsrt")}}}));
    // The request is queued from another thread; wait for it to reach the host.
    for (int i = 0; i < 1000 && m_pHost->PendingConfigurationChanges() == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(m_pHost->PendingConfigurationChanges(), 1u);
    EXPECT_EQ(Read<Float64>(3, "nsrt"), 44100.0) << "not stored until performed";

    m_pHost->HoldConfigurationChanges(false);
    ASSERT_TRUE(m_pHost->WaitForConfigurationChanges(1, kWait));
    const auto changes = m_pHost->ConfigurationChanges();
    EXPECT_EQ(changes[0].dwDeviceID, 3u);
    EXPECT_EQ(changes[0].qwChangeAction, 48000u);
    EXPECT_EQ(changes[0].status, 0);
    EXPECT_EQ(Read<Float64>(3, "nsrt"), 48000.0);

    for (Float64 fBad : {96000.0, 0.0, -44100.0, 44100.5, static_cast<Float64>(std::nan(""))}) {
        EXPECT_EQ(Set(3, "nsrt", fBad), kIllegal) << fBad;
    }
}

TEST_F(PropertyChangesTest, StreamFormatChecksFieldsThenRateAndNeverNotifies) {
    m_pHost->HoldConfigurationChanges(true);
    auto format = [](Float64 fRate) {
        AudioStreamBasicDescription f = {fRate, FourCC("lpcm"), 9, 8, 1, 8, 2, 32, 0};
        return f;
    };
    const struct {
        const char* szName;
        void (*spoil)(AudioStreamBasicDescription&);
        OSStatus status;
    } refusals[] = {
        {"format id", [](AudioStreamBasicDescription& f) { f.mFormatID = FourCC("aac "); }, kBadFormat},
        {"flags", [](AudioStreamBasicDescription& f) { f.mFormatFlags = 1; }, kBadFormat},
        {"bytes per packet", [](AudioStreamBasicDescription& f) { f.mBytesPerPacket = 4; }, kBadFormat},
        {"frames per packet", [](AudioStreamBasicDescription& f) { f.mFramesPerPacket = 2; }, kBadFormat},
        {"bytes per frame", [](AudioStreamBasicDescription& f) { f.mBytesPerFrame = 4; }, kBadFormat},
        {"one channel", [](AudioStreamBasicDescription& f) { f.mChannelsPerFrame = 1; }, kBadFormat},
        {"16 bits", [](AudioStreamBasicDescription& f) { f.mBitsPerChannel = 16; }, kBadFormat},
        {"rate and channels wrong: the format is checked first",
         [](AudioStreamBasicDescription& f) {
             f.mSampleRate = 96000;
             f.mChannelsPerFrame = 1;
         },
         kBadFormat},
        {"rate", [](AudioStreamBasicDescription& f) { f.mSampleRate = 96000; }, kIllegal},
    };
    for (const char* szSelector : {"sfmt", "pft "}) {
        for (const auto& r : refusals) {
            SCOPED_TRACE(std::string(szSelector) + ": " + r.szName);
            AudioStreamBasicDescription f = format(48000);
            r.spoil(f);
            EXPECT_EQ(Set(8, szSelector, f), r.status);
        }
        AudioStreamBasicDescription reserved = format(44100);
        reserved.mReserved = 77;
        EXPECT_EQ(Set(8, szSelector, reserved), 0) << "reserved is not looked at; current rate: nothing to do";
        EXPECT_EQ(Set(8, szSelector, format(48000), 39), kBadSize);
    }
    EXPECT_EQ(m_pHost->PendingConfigurationChanges(), 0u);
    EXPECT_EQ(Set(8, "sfmt", format(48000)), 0);
    m_pHost->HoldConfigurationChanges(false);
    ASSERT_TRUE(m_pHost->WaitForConfigurationChanges(1, kWait));
    EXPECT_EQ(m_pHost->ConfigurationChanges()[0].qwChangeAction, 48000u);
    EXPECT_TRUE(Notices().empty()) << "format sets do not notify";
}

TEST_F(PropertyChangesTest, IdentifyIsAnnouncedTwoSecondsLater) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Set(2, "iden", UInt32(12345)), 0);
    EXPECT_TRUE(Notices().empty()) << "nothing at once";
    ASSERT_TRUE(m_pHost->Notices().WaitFor(2, FourCC("iden"), kWait));
    // The lower bound is what matters; 20 ms of slack covers clock reads
    // taken on different threads.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1980));
    EXPECT_EQ(Notices(), (std::vector<Notice>{{2, {FourCC("iden")}}}));
}

TEST_F(PropertyChangesTest, CustomPropertyOnlyShowsWhatItIsGiven) {
    CFPropertyListRef qualifier = CFSTR("qualifier");
    CFStringRef value = CFSTR("value");
    const AudioObjectPropertyAddress address = Address(FourCC("PCst"));
    EXPECT_EQ(m_pEntries->SetPropertyData(m_driver, 1, 0, &address, 8, &qualifier, 8, &value), 0);
    EXPECT_EQ(m_pEntries->SetPropertyData(m_driver, 1, 0, &address, 4, &qualifier, 8, &value), kBadSize);
    EXPECT_EQ(m_pEntries->SetPropertyData(m_driver, 1, 0, &address, 8, nullptr, 8, &value), kBadSize);
    EXPECT_EQ(m_pEntries->SetPropertyData(m_driver, 1, 0, &address, 8, &qualifier, 4, &value), kBadSize);
    EXPECT_TRUE(Notices().empty());
}

} // namespace
} // namespace harlune::test
