// The checks every property entry makes before an object's table is
// consulted, through the bundle's interface table.
#include "tests/support/LDriverFixture.h"

#include <cstring>

namespace harlune::test {
namespace {

constexpr OSStatus kBadObject = static_cast<OSStatus>(FourCC("!obj"));
constexpr OSStatus kIllegal = static_cast<OSStatus>(FourCC("nope"));
constexpr OSStatus kUnknownProperty = static_cast<OSStatus>(FourCC("who?"));

// One call of each of the four status-returning entries, with optional null
// pointers, recording whether the caller's buffers were touched.
struct Calls {
    AudioServerPlugInDriverInterface* p;
    AudioServerPlugInDriverRef d;

    OSStatus Settable(AudioObjectID o, const AudioObjectPropertyAddress* a, bool bNullOut, bool* pbTouched) {
        Boolean b = 0x5A;
        const OSStatus s = p->IsPropertySettable(d, o, 0, a, bNullOut ? nullptr : &b);
        *pbTouched = b != 0x5A;
        return s;
    }
    OSStatus Size(AudioObjectID o, const AudioObjectPropertyAddress* a, bool bNullOut, bool* pbTouched) {
        UInt32 n = 0xA5A5A5A5;
        const OSStatus s = p->GetPropertyDataSize(d, o, 0, a, 0, nullptr, bNullOut ? nullptr : &n);
        *pbTouched = n != 0xA5A5A5A5;
        return s;
    }
    OSStatus Data(AudioObjectID o, const AudioObjectPropertyAddress* a, bool bNullOut, bool* pbTouched) {
        UInt32 n = 0xA5A5A5A5;
        unsigned char buffer[64];
        std::memset(buffer, 0xEE, sizeof buffer);
        const OSStatus s = p->GetPropertyData(d, o, 0, a, 0, nullptr, sizeof buffer, bNullOut ? nullptr : &n, buffer);
        *pbTouched = n != 0xA5A5A5A5;
        for (unsigned char c : buffer) {
            *pbTouched = *pbTouched || c != 0xEE;
        }
        return s;
    }
    OSStatus Set(AudioObjectID o, const AudioObjectPropertyAddress* a, bool, bool* pbTouched) {
        const UInt32 dwValue = 1;
        *pbTouched = false;
        return p->SetPropertyData(d, o, 0, a, 0, nullptr, sizeof dwValue, &dwValue);
    }
};

using Entry = OSStatus (Calls::*)(AudioObjectID, const AudioObjectPropertyAddress*, bool, bool*);
const struct {
    const char* szName;
    Entry entry;
} kEntries[] = {
    {"IsPropertySettable", &Calls::Settable},
    {"GetPropertyDataSize", &Calls::Size},
    {"GetPropertyData", &Calls::Data},
    {"SetPropertyData", &Calls::Set},
};

// Every object ID that names no object, including the gap 4 to 7 inside the
// accepted range.
constexpr AudioObjectID kNoObjects[] = {0, 4, 5, 6, 7, 13, 100, 0xFFFFFFFF};
constexpr AudioObjectID kObjects[] = {1, 2, 3, 8, 9, 10, 11, 12};

using DispatchTest = LDriverFixture;

TEST_F(DispatchTest, WrongDriverReferenceIsABadObjectWhateverTheObject) {
    int nOther = 0;
    Calls calls{m_pEntries, reinterpret_cast<AudioServerPlugInDriverRef>(&nOther)};
    const AudioObjectPropertyAddress address = Address(kAudioObjectPropertyClass);
    for (AudioObjectID dwObject : kObjects) {
        EXPECT_FALSE(m_pEntries->HasProperty(calls.d, dwObject, 0, &address)) << dwObject;
        for (const auto& e : kEntries) {
            bool bTouched = false;
            EXPECT_EQ((calls.*e.entry)(dwObject, &address, false, &bTouched), kBadObject) << e.szName << dwObject;
            EXPECT_FALSE(bTouched) << e.szName;
        }
    }
}

TEST_F(DispatchTest, NullAddressOrOutPointerIsIllegal) {
    Calls calls{m_pEntries, m_driver};
    const AudioObjectPropertyAddress address = Address(kAudioObjectPropertyClass);
    EXPECT_FALSE(m_pEntries->HasProperty(m_driver, 3, 0, nullptr));
    for (const auto& e : kEntries) {
        bool bTouched = false;
        EXPECT_EQ((calls.*e.entry)(3, nullptr, false, &bTouched), kIllegal) << e.szName;
        EXPECT_FALSE(bTouched) << e.szName;
    }
    // SetPropertyData has no out pointer; the others refuse a null one even
    // for a real object and selector.
    for (const auto& e : {kEntries[0], kEntries[1], kEntries[2]}) {
        bool bTouched = false;
        EXPECT_EQ((calls.*e.entry)(3, &address, true, &bTouched), kIllegal) << e.szName;
        EXPECT_FALSE(bTouched) << e.szName;
    }
    UInt32 dwOut = 0;
    EXPECT_EQ(m_pEntries->GetPropertyData(m_driver, 3, 0, &address, 0, nullptr, 4, &dwOut, nullptr), kIllegal);
}

TEST_F(DispatchTest, IdsThatNameNoObjectAreBadObjects) {
    Calls calls{m_pEntries, m_driver};
    for (AudioObjectID dwObject : kNoObjects) {
        for (AudioObjectPropertySelector dwSelector : {UInt32(kAudioObjectPropertyClass), UInt32(kAudioObjectPropertyName),
                                                       FourCC("zzzz")}) {
            const AudioObjectPropertyAddress address = Address(dwSelector);
            EXPECT_FALSE(m_pEntries->HasProperty(m_driver, dwObject, 0, &address)) << dwObject;
            for (const auto& e : kEntries) {
                bool bTouched = false;
                EXPECT_EQ((calls.*e.entry)(dwObject, &address, false, &bTouched), kBadObject)
                    << e.szName << " object " << dwObject;
                EXPECT_FALSE(bTouched) << e.szName;
            }
        }
    }
}

TEST_F(DispatchTest, UnknownSelectorOnARealObjectIsAnUnknownProperty) {
    Calls calls{m_pEntries, m_driver};
    for (AudioObjectID dwObject : kObjects) {
        for (AudioObjectPropertySelector dwSelector : {FourCC("zzzz"), FourCC("****"), 0u}) {
            const AudioObjectPropertyAddress address = Address(dwSelector);
            EXPECT_FALSE(m_pEntries->HasProperty(m_driver, dwObject, 0, &address));
            for (const auto& e : kEntries) {
                bool bTouched = false;
                EXPECT_EQ((calls.*e.entry)(dwObject, &address, false, &bTouched), kUnknownProperty)
                    << e.szName << " object " << dwObject;
                EXPECT_FALSE(bTouched) << e.szName;
            }
        }
    }
}

} // namespace
} // namespace harlune::test
