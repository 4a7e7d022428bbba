// Every row of every object's property table: HasProperty, settability,
// the size answer, the data answer, and the short-buffer rule for single
// values, through the bundle's interface table.
#include "tests/support/LDriverFixture.h"
#include "tests/support/LPropertyValue.h"

#include <vector>

namespace harlune::test {
namespace {

enum class Kind { U32, F32, F64, Str, IDs, Bytes };

// What one row answers with a 256-byte buffer.
struct Expect {
    Kind eKind;
    UInt32 dwValue = 0;         // U32
    double fValue = 0;          // F32, F64
    const char* szText = "";    // Str
    std::vector<UInt32> arIDs;  // IDs
    UInt32 dwBytes = 0;         // Bytes: out size only (records checked elsewhere)
};

Expect U32(UInt32 v) { return {Kind::U32, v, 0, "", {}, 0}; }
Expect F32(double v) { return {Kind::F32, 0, v, "", {}, 0}; }
Expect F64(double v) { return {Kind::F64, 0, v, "", {}, 0}; }
Expect Str(const char* sz) { return {Kind::Str, 0, 0, sz, {}, 0}; }
Expect IDs(std::vector<UInt32> ar) { return {Kind::IDs, 0, 0, "", std::move(ar), 0}; }
Expect Bytes(UInt32 n) { return {Kind::Bytes, 0, 0, "", {}, n}; }

struct Row {
    AudioObjectID dwObject;
    const char* szSelector;
    bool bSettable;
    UInt32 dwSize; // the size answer
    Expect expect;
    AudioObjectPropertyScope dwScope = kAudioObjectPropertyScopeGlobal;
};

constexpr AudioObjectPropertyScope kOut = kAudioObjectPropertyScopeOutput;

// Scope 'glob' unless the row names another (rows that need input or
// output), element 0; scope rules have their own test.
const std::vector<Row>& Rows() {
    static const std::vector<Row> rows = {
        // The plug-in.
        {1, "bcls", false, 4, U32(FourCC("aobj"))},
        {1, "clas", false, 4, U32(FourCC("aplg"))},
        {1, "stdv", false, 4, U32(0)},
        {1, "lmak", false, 8, Str("Zental Works.")},
        {1, "ownd", false, 8, IDs({2, 3})},
        {1, "box#", false, 4, IDs({2})},
        {1, "dev#", false, 4, IDs({3})},
        {1, "rsrc", false, 8, Str("")},
        {1, "cust", false, 12, Bytes(12)},
        // The box.
        {2, "bcls", false, 4, U32(FourCC("aobj"))},
        {2, "clas", false, 4, U32(FourCC("abox"))},
        {2, "stdv", false, 4, U32(1)},
        {2, "lnam", true, 8, Str("Null Box")},
        {2, "lmod", false, 8, Str("Null Model")},
        {2, "lmak", false, 8, Str("Apple Inc.")},
        {2, "ownd", false, 0, IDs({})},
        {2, "iden", true, 4, U32(0)},
        {2, "snum", false, 8, Str("00000001")},
        {2, "fwvn", false, 8, Str("1.0")},
        {2, "buid", false, 8, Str("HarluneVirtualAudioDevice_UID")},
        {2, "tran", false, 4, U32(FourCC("virt"))},
        {2, "bhau", false, 4, U32(1)},
        {2, "bhvi", false, 4, U32(0)},
        {2, "bhmi", false, 4, U32(0)},
        {2, "bpro", false, 4, U32(0)},
        {2, "bxon", true, 4, U32(1)},
        {2, "bxof", false, 4, U32(0)},
        {2, "bdv#", false, 4, IDs({3})},
        // The device.
        {3, "bcls", false, 4, U32(FourCC("aobj"))},
        {3, "clas", false, 4, U32(FourCC("adev"))},
        {3, "stdv", false, 4, U32(1)},
        {3, "lnam", false, 8, Str("Harlune Virtual Device")},
        {3, "lmak", false, 8, Str("Zental Works")},
        {3, "ownd", false, 16, IDs({8, 9, 10, 11, 12})},
        {3, "uid ", false, 8, Str("HarluneVirtualAudioDevice_UID")},
        {3, "muid", false, 8, Str("HarluneVirtualAudioDevice_ModelUID")},
        {3, "tran", false, 4, U32(FourCC("virt"))},
        {3, "akin", false, 4, IDs({3})},
        {3, "clkd", false, 4, U32(0)},
        {3, "livn", false, 4, U32(1)},
        {3, "goin", false, 4, U32(0)},
        {3, "dflt", false, 4, U32(1), kOut},
        {3, "sflt", false, 4, U32(1), kOut},
        {3, "ltnc", false, 4, U32(0), kOut},
        {3, "stm#", false, 4, IDs({8})},
        {3, "ctrl", false, 4, IDs({9, 10, 11, 12})},
        {3, "saft", false, 4, U32(0), kOut},
        {3, "nsrt", true, 8, F64(44100.0)},
        {3, "nsr#", false, 32, Bytes(16)},
        {3, "icon", false, 8, Bytes(8)},
        {3, "hidn", false, 4, U32(0)},
        {3, "dch2", false, 8, Bytes(8), kOut},
        {3, "srnd", false, 52, Bytes(52), kOut},
        {3, "ring", false, 4, U32(16384)},
        {3, "lchn", false, 8, Str("MasterElementName")},
        // The stream.
        {8, "bcls", false, 4, U32(FourCC("aobj"))},
        {8, "clas", false, 4, U32(FourCC("astr"))},
        {8, "stdv", false, 4, U32(3)},
        {8, "lnam", false, 8, Str("OutputStreamName")},
        {8, "ownd", false, 0, IDs({})},
        {8, "sact", true, 4, U32(1)},
        {8, "sdir", false, 4, U32(0)},
        {8, "term", false, 4, U32(FourCC("spkr"))},
        {8, "schn", false, 4, U32(1)},
        {8, "ltnc", false, 4, U32(0)},
        {8, "sfmt", true, 40, Bytes(40)},
        {8, "sfma", false, 112, Bytes(56)},
        {8, "pft ", true, 40, Bytes(40)},
        {8, "pfta", false, 112, Bytes(56)},
        // The volume.
        {9, "bcls", false, 4, U32(FourCC("levl"))},
        {9, "clas", false, 4, U32(FourCC("vlme"))},
        {9, "stdv", false, 4, U32(3)},
        {9, "ownd", false, 0, IDs({})},
        {9, "cscp", false, 4, U32(FourCC("outp"))},
        {9, "celm", false, 4, U32(0)},
        {9, "lcsv", true, 4, F32(0.0)},
        {9, "lcdv", true, 4, F32(-96.0)},
        {9, "lcdr", false, 16, Bytes(16)},
        // The mute.
        {10, "bcls", false, 4, U32(FourCC("togl"))},
        {10, "clas", false, 4, U32(FourCC("mute"))},
        {10, "stdv", false, 4, U32(3)},
        {10, "ownd", false, 0, IDs({})},
        {10, "cscp", false, 4, U32(FourCC("outp"))},
        {10, "celm", false, 4, U32(0)},
        {10, "bcvl", true, 4, U32(0)},
        // The selectors.
        {11, "bcls", false, 4, U32(FourCC("slct"))},
        {11, "clas", false, 4, U32(FourCC("dsrc"))},
        {11, "stdv", false, 4, U32(3)},
        {11, "ownd", false, 0, IDs({})},
        {11, "cscp", false, 4, U32(FourCC("outp"))},
        {11, "celm", false, 4, U32(0)},
        {11, "scai", false, 16, IDs({0, 1, 2, 3})},
        {11, "scci", true, 4, U32(0)},
        {12, "bcls", false, 4, U32(FourCC("slct"))},
        {12, "clas", false, 4, U32(FourCC("dest"))},
        {12, "stdv", false, 4, U32(3)},
        {12, "ownd", false, 0, IDs({})},
        {12, "cscp", false, 4, U32(FourCC("ptru"))},
        {12, "celm", false, 4, U32(0)},
        {12, "scai", false, 16, IDs({0, 1, 2, 3})},
        {12, "scci", true, 4, U32(0)},
    };
    return rows;
}

// The smallest buffer a single value needs; lists have none.
UInt32 MinimumBuffer(const Expect& e) {
    switch (e.eKind) {
    case Kind::U32:
    case Kind::F32: return 4;
    case Kind::F64:
    case Kind::Str: return 8;
    case Kind::Bytes: return e.dwBytes;
    case Kind::IDs: return 0;
    }
    return 0;
}

using PropertyTablesTest = LDriverFixture;

TEST_F(PropertyTablesTest, EveryRowAnswersAsPublished) {
    for (const Row& row : Rows()) {
        const AudioObjectPropertyAddress address = Address(FourCC(row.szSelector), row.dwScope);
        SCOPED_TRACE(std::to_string(row.dwObject) + " '" + row.szSelector + "'");
        EXPECT_TRUE(m_pEntries->HasProperty(m_driver, row.dwObject, 0, &address));

        Boolean bSettable = 9;
        EXPECT_EQ(m_pEntries->IsPropertySettable(m_driver, row.dwObject, 0, &address, &bSettable), 0);
        EXPECT_EQ(bSettable, row.bSettable ? 1 : 0);

        UInt32 dwSize = 0;
        EXPECT_EQ(m_pEntries->GetPropertyDataSize(m_driver, row.dwObject, 0, &address, 0, nullptr, &dwSize), 0);
        EXPECT_EQ(dwSize, row.dwSize);

        const LAnswer answer = GetAnswer(m_driver, row.dwObject, address, 256);
        ASSERT_EQ(answer.status, 0);
        const Expect& e = row.expect;
        switch (e.eKind) {
        case Kind::U32:
            EXPECT_EQ(answer.dwOutSize, 4u);
            EXPECT_EQ(answer.As<UInt32>(), e.dwValue);
            break;
        case Kind::F32:
            EXPECT_EQ(answer.dwOutSize, 4u);
            EXPECT_FLOAT_EQ(answer.As<Float32>(), static_cast<Float32>(e.fValue));
            break;
        case Kind::F64:
            EXPECT_EQ(answer.dwOutSize, 8u);
            EXPECT_EQ(answer.As<Float64>(), e.fValue);
            break;
        case Kind::Str:
            EXPECT_EQ(answer.dwOutSize, 8u);
            EXPECT_EQ(answer.TakeString(), e.szText);
            break;
        case Kind::IDs: EXPECT_EQ(answer.IDs(), e.arIDs); break;
        case Kind::Bytes:
            EXPECT_EQ(answer.dwOutSize, e.dwBytes);
            if (FourCC(row.szSelector) == kAudioDevicePropertyIcon) {
                CFRelease(answer.As<CFURLRef>());
            }
            break;
        }
    }
}

TEST_F(PropertyTablesTest, SingleValuesRefuseAShortBufferAndWriteNothing) {
    for (const Row& row : Rows()) {
        const UInt32 dwMinimum = MinimumBuffer(row.expect);
        if (dwMinimum == 0 || FourCC(row.szSelector) == kAudioDevicePropertyAvailableNominalSampleRates ||
            FourCC(row.szSelector) == kAudioStreamPropertyAvailableVirtualFormats ||
            FourCC(row.szSelector) == kAudioStreamPropertyAvailablePhysicalFormats) {
            continue; // lists truncate instead; see the list tests
        }
        SCOPED_TRACE(std::to_string(row.dwObject) + " '" + row.szSelector + "'");
        const LAnswer answer =
            GetAnswer(m_driver, row.dwObject, Address(FourCC(row.szSelector), row.dwScope), dwMinimum - 1);
        EXPECT_EQ(answer.status, static_cast<OSStatus>(kAudioHardwareBadPropertySizeError));
        EXPECT_EQ(answer.dwOutSize, 0xA5A5A5A5u) << "out size untouched";
        EXPECT_TRUE(answer.Untouched());
    }
}

TEST_F(PropertyTablesTest, SelectorsOfOtherObjectsAreUnknown) {
    // Each object answers only its own rows: a selector another object has
    // is unknown here.
    const struct {
        AudioObjectID dwObject;
        const char* szSelector;
    } cases[] = {{1, "lnam"}, {2, "nsrt"}, {3, "lmod"}, {3, "snum"}, {3, "cust"}, {3, "sact"},
                 {8, "nsrt"}, {9, "bcvl"}, {10, "lcsv"}, {11, "lcsv"}, {12, "bcvl"}, {2, "uidd"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.dwObject) + " '" + c.szSelector + "'");
        const AudioObjectPropertyAddress address = Address(FourCC(c.szSelector));
        EXPECT_FALSE(m_pEntries->HasProperty(m_driver, c.dwObject, 0, &address));
        UInt32 dwSize = 0;
        EXPECT_EQ(m_pEntries->GetPropertyDataSize(m_driver, c.dwObject, 0, &address, 0, nullptr, &dwSize),
                  static_cast<OSStatus>(kAudioHardwareUnknownPropertyError));
    }
}

TEST_F(PropertyTablesTest, ReadOnlyRowsRefuseASetAsUnknown) {
    for (const Row& row : Rows()) {
        if (row.bSettable) {
            continue;
        }
        SCOPED_TRACE(std::to_string(row.dwObject) + " '" + row.szSelector + "'");
        const AudioObjectPropertyAddress address = Address(FourCC(row.szSelector));
        UInt8 arData[64] = {};
        EXPECT_EQ(m_pEntries->SetPropertyData(m_driver, row.dwObject, 0, &address, 0, nullptr, row.dwSize, arData),
                  static_cast<OSStatus>(kAudioHardwareUnknownPropertyError));
    }
    EXPECT_TRUE(m_pHost->Notices().Snapshot().empty());
}

} // namespace
} // namespace harlune::test
