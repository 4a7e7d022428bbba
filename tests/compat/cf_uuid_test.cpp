// CFUUID parsing, formatting and interning, and the COM conventions built on
// UUIDs.
#include "cf_test_support.h"

#include <CoreFoundation/CFPlugInCOM.h>

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

using cftest::Owned;
using cftest::text;

TEST(CFUUID, ParsesCanonicalStringsAndRejectsEverythingElse) {
    const UInt8 expected[16] = {0x44, 0x3A, 0xBA, 0xB8, 0xE7, 0xB3, 0x49, 0x1A,
                                0xB9, 0x85, 0xBE, 0xB9, 0x18, 0x70, 0x30, 0xDB};
    struct Case {
        const char *text;
        bool valid;
    } cases[] = {
        {"443ABAB8-E7B3-491A-B985-BEB9187030DB", true},
        {"443abab8-e7b3-491a-b985-beb9187030db", true},
        {"443aBaB8-E7b3-491A-b985-BEB9187030dB", true},
        {"", false},
        {"443ABAB8-E7B3-491A-B985-BEB9187030D", false},     // one digit short
        {"443ABAB8-E7B3-491A-B985-BEB9187030DB0", false},   // one digit long
        {"443ABAB8E7B3-491A-B985-BEB9187030DB0", false},    // hyphen missing
        {"443ABAB-8E7B3-491A-B985-BEB9187030DB", false},    // hyphen misplaced
        {"443ABAB8-E7B3-491A-B985-BEB9187030DG", false},    // not hex
        {"{443ABAB8-E7B3-491A-B985-BEB9187030DB}", false},  // braces
        {" 443ABAB8-E7B3-491A-B985-BEB9187030D", false},    // space
        {"443ABAB8-E7B3-491A-B985+BEB9187030DB", false},    // wrong separator
    };
    for (const Case &c : cases) {
        Owned<CFStringRef> string(cftest::makeString(c.text));
        Owned<CFUUIDRef> uuid(CFUUIDCreateFromString(nullptr, string));
        if (!c.valid) {
            EXPECT_EQ(uuid.get(), nullptr) << c.text;
            continue;
        }
        ASSERT_NE(uuid.get(), nullptr) << c.text;
        const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(uuid);
        EXPECT_EQ(memcmp(&bytes, expected, 16), 0) << c.text;
        Owned<CFStringRef> formatted(CFUUIDCreateString(nullptr, uuid));
        EXPECT_EQ(text(formatted), "443ABAB8-E7B3-491A-B985-BEB9187030DB");
    }
}

TEST(CFUUID, BytesRoundTripThroughEveryForm) {
    CFUUIDBytes bytes;
    auto *raw = reinterpret_cast<UInt8 *>(&bytes);
    for (int i = 0; i < 16; ++i) raw[i] = static_cast<UInt8>(0xF0 - 15 * i);
    Owned<CFUUIDRef> fromStruct(CFUUIDCreateFromUUIDBytes(nullptr, bytes));
    Owned<CFUUIDRef> fromArgs(CFUUIDCreateWithBytes(nullptr, raw[0], raw[1], raw[2], raw[3], raw[4], raw[5], raw[6],
                                                    raw[7], raw[8], raw[9], raw[10], raw[11], raw[12], raw[13],
                                                    raw[14], raw[15]));
    Owned<CFStringRef> string(CFUUIDCreateString(nullptr, fromStruct));
    Owned<CFUUIDRef> fromString(CFUUIDCreateFromString(nullptr, string));
    for (CFUUIDRef uuid : {fromArgs.get(), fromString.get()}) {
        EXPECT_TRUE(CFEqual(fromStruct, uuid));
        EXPECT_EQ(CFHash(fromStruct), CFHash(uuid));
        const CFUUIDBytes back = CFUUIDGetUUIDBytes(uuid);
        EXPECT_EQ(memcmp(&back, &bytes, 16), 0);
    }
}

TEST(CFUUID, ConstantUUIDsAreInternedImmortalObjects) {
    CFUUIDRef first = CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    CFUUIDRef other = CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 17);
    EXPECT_NE(first, other);
    EXPECT_EQ(CFGetRetainCount(first), kCFRetainCountImmortal);

    std::vector<CFUUIDRef> seen(8);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < seen.size(); ++t) {
        threads.emplace_back([&seen, t] {
            seen[t] = CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
        });
    }
    for (auto &thread : threads) thread.join();
    for (CFUUIDRef uuid : seen) EXPECT_EQ(uuid, first);

    Owned<CFUUIDRef> created(CFUUIDCreateWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));
    EXPECT_TRUE(CFEqual(created, first));
}

TEST(CFUUID, RandomUUIDsAreVersion4AndDistinct) {
    Owned<CFUUIDRef> a(CFUUIDCreate(nullptr)), b(CFUUIDCreate(nullptr));
    ASSERT_NE(a.get(), nullptr);
    EXPECT_FALSE(CFEqual(a, b));
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(a);
    EXPECT_EQ(bytes.byte6 >> 4, 4);
    EXPECT_EQ(bytes.byte8 & 0xC0, 0x80);
}

namespace {

/* A minimal COM object that answers only IUnknown, as a plug-in factory would. */
struct Counted {
    IUnknownVTbl *vtable;
    ULONG references;
};

HRESULT queryInterface(void *self, REFIID iid, LPVOID *out) {
    Owned<CFUUIDRef> requested(CFUUIDCreateFromUUIDBytes(nullptr, iid));
    if (!CFEqual(requested, IUnknownUUID)) {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    static_cast<Counted *>(self)->vtable->AddRef(self);
    *out = self;
    return S_OK;
}
ULONG addRef(void *self) { return ++static_cast<Counted *>(self)->references; }
ULONG release(void *self) { return --static_cast<Counted *>(self)->references; }

}  // namespace

TEST(CFPlugInCOM, InterfacesAreFoundByUUIDPassedByValue) {
    EXPECT_EQ(E_NOINTERFACE, static_cast<HRESULT>(0x80000004));
    EXPECT_TRUE(FAILED(E_NOINTERFACE));
    EXPECT_TRUE(FAILED(E_UNEXPECTED));
    EXPECT_TRUE(SUCCEEDED(S_OK));
    Owned<CFStringRef> name(CFUUIDCreateString(nullptr, IUnknownUUID));
    EXPECT_EQ(text(name), "00000000-0000-0000-C000-000000000046");
    EXPECT_EQ(IUnknownUUID, IUnknownUUID);

    IUnknownVTbl vtable = {nullptr, queryInterface, addRef, release};
    Counted object = {&vtable, 1};
    void *found = nullptr;
    EXPECT_EQ(vtable.QueryInterface(&object, CFUUIDGetUUIDBytes(IUnknownUUID), &found), S_OK);
    EXPECT_EQ(found, &object);
    EXPECT_EQ(object.references, 2u);
    Owned<CFUUIDRef> other(CFUUIDCreate(nullptr));
    EXPECT_EQ(vtable.QueryInterface(&object, CFUUIDGetUUIDBytes(other), &found), E_NOINTERFACE);
    EXPECT_EQ(found, nullptr);
}
