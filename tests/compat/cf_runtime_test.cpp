// Reference counting, constants, identity and the polymorphic functions
// every CF type shares.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

using cftest::describe;
using cftest::Owned;

namespace {

constexpr int kThreads = 8;
constexpr int kPerThread = 20000;

template <class Fn>
void runThreads(Fn fn) {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(fn);
    for (auto &thread : threads) thread.join();
}

CFNumberRef makeInt(SInt64 value) { return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value); }
CFNumberRef makeDouble(double value) { return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value); }

}  // namespace

TEST(CFRuntime, RetainCountStaysExactUnderConcurrentRetainAndRelease) {
    Owned<CFStringRef> string(cftest::makeString("shared"));
    runThreads([&] {
        for (int i = 0; i < kPerThread; ++i) CFRetain(string);
    });
    EXPECT_EQ(CFGetRetainCount(string), 1 + kThreads * kPerThread);
    // Interleave retains and releases so the count moves both ways at once.
    runThreads([&] {
        for (int i = 0; i < kPerThread; ++i) {
            CFRetain(string);
            CFRelease(string);
            CFRelease(string);
        }
    });
    EXPECT_EQ(CFGetRetainCount(string), 1);
    EXPECT_EQ(cftest::text(string), "shared");
}

TEST(CFRuntime, LastReleaseFreesTheObjectExactlyOnce) {
    // The array's destruction is observable through the count of its element.
    Owned<CFNumberRef> element(makeInt(7));
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(array, element);
    ASSERT_EQ(CFGetRetainCount(element), 2);
    for (int i = 1; i < kThreads; ++i) CFRetain(array);
    // Every thread drops one reference; exactly one of them frees the array.
    runThreads([&] { CFRelease(array); });
    EXPECT_EQ(CFGetRetainCount(element), 1);
}

TEST(CFRuntime, NullArgumentsAreHarmless) {
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    CFRelease(nullptr);
    EXPECT_EQ(CFGetRetainCount(nullptr), 0);
    EXPECT_FALSE(CFEqual(nullptr, nullptr));
    EXPECT_FALSE(CFEqual(CFSTR("x"), nullptr));
    EXPECT_EQ(CFHash(nullptr), 0u);
    EXPECT_EQ(CFGetTypeID(nullptr), 0u);
    EXPECT_EQ(describe(nullptr), "(null)");
}

TEST(CFRuntime, ConstantStringsAreImmortalAndInterned) {
    CFStringRef first = CFSTR("harlune.constant");
    CFStringRef second = CFSTR("harlune.constant");  // a different CFSTR site
    EXPECT_EQ(first, second);
    EXPECT_EQ(first, __CFStringMakeConstantString("harlune.constant"));
    EXPECT_NE(first, CFSTR("harlune.other"));
    EXPECT_EQ(CFGetRetainCount(first), kCFRetainCountImmortal);
    for (int i = 0; i < 10; ++i) CFRelease(first);
    EXPECT_EQ(CFGetRetainCount(first), kCFRetainCountImmortal);
    EXPECT_EQ(cftest::text(first), "harlune.constant");
    EXPECT_EQ(__CFStringMakeConstantString("\xC0\x80"), nullptr);  // not UTF-8
}

TEST(CFRuntime, ConstantStringsInternedConcurrentlyAreOneObject) {
    std::vector<CFStringRef> seen(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&seen, t] { seen[t] = __CFStringMakeConstantString("harlune.raced.constant"); });
    }
    for (auto &thread : threads) thread.join();
    for (CFStringRef string : seen) EXPECT_EQ(string, seen[0]);
}

TEST(CFRuntime, ImmortalObjectsIgnoreRetainAndRelease) {
    const CFTypeRef immortals[] = {kCFBooleanTrue, kCFBooleanFalse, kCFNull, kCFAllocatorSystemDefault,
                                   kCFNumberNaN, IUnknownUUID};
    for (CFTypeRef object : immortals) {
        CFRelease(object);
        CFRetain(object);
        CFRelease(object);
        EXPECT_EQ(CFGetRetainCount(object), kCFRetainCountImmortal) << describe(object);
    }
}

TEST(CFRuntime, TypeIDsAreDistinctAndMatchTheirObjects) {
    const CFTypeID ids[] = {CFAllocatorGetTypeID(), CFNullGetTypeID(),     CFStringGetTypeID(),
                            CFBooleanGetTypeID(),   CFNumberGetTypeID(),   CFUUIDGetTypeID(),
                            CFDataGetTypeID(),      CFDateGetTypeID(),     CFArrayGetTypeID(),
                            CFDictionaryGetTypeID(), CFURLGetTypeID(),     CFErrorGetTypeID(),
                            CFBundleGetTypeID()};
    EXPECT_EQ(std::set<CFTypeID>(std::begin(ids), std::end(ids)).size(), std::size(ids));
    for (CFTypeID id : ids) EXPECT_NE(id, 0u);

    Owned<CFNumberRef> number(makeInt(1));
    Owned<CFMutableStringRef> mutableString(CFStringCreateMutable(nullptr, 0));
    EXPECT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
    EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
    EXPECT_EQ(CFGetTypeID(mutableString), CFStringGetTypeID());  // mutable and immutable share a type
    Owned<CFStringRef> name(CFCopyTypeIDDescription(CFDictionaryGetTypeID()));
    EXPECT_EQ(cftest::text(name), "CFDictionary");
}

TEST(CFRuntime, EqualityAndHashAgreeAcrossTypes) {
    SInt8 small = 1;
    Owned<CFNumberRef> int8One(CFNumberCreate(nullptr, kCFNumberSInt8Type, &small));
    Owned<CFNumberRef> one(makeInt(1)), two(makeInt(2)), doubleOne(makeDouble(1.0)), half(makeDouble(0.5));
    Owned<CFStringRef> created(cftest::makeString("key"));
    Owned<CFMutableStringRef> mutableKey(CFStringCreateMutableCopy(nullptr, 0, CFSTR("key")));
    Owned<CFUUIDRef> uuidA(CFUUIDCreateFromString(nullptr, CFSTR("443ABAB8-E7B3-491A-B985-BEB9187030DB")));
    Owned<CFUUIDRef> uuidB(CFUUIDCreateFromString(nullptr, CFSTR("443abab8-e7b3-491a-b985-beb9187030db")));
    Owned<CFUUIDRef> uuidC(CFUUIDCreateFromString(nullptr, CFSTR("443ABAB8-E7B3-491A-B985-BEB9187030DC")));

    struct Case {
        const char *name;
        CFTypeRef a, b;
        bool equal;
    } cases[] = {
        {"constant vs created string", CFSTR("key"), created, true},
        {"mutable vs immutable string", mutableKey, created, true},
        {"strings differing in case", CFSTR("Key"), created, false},
        {"SInt8 vs SInt64", int8One, one, true},
        {"integer vs integral double", one, doubleOne, true},
        {"different integers", one, two, false},
        {"integer vs fraction", one, half, false},
        {"UUIDs parsed from either case", uuidA, uuidB, true},
        {"UUIDs differing in one byte", uuidA, uuidC, false},
        {"same boolean", kCFBooleanTrue, kCFBooleanTrue, true},
        {"different booleans", kCFBooleanTrue, kCFBooleanFalse, false},
        {"boolean vs number one", kCFBooleanTrue, one, false},
        {"string vs number", CFSTR("1"), one, false},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(CFEqual(c.a, c.b), c.equal) << c.name;
        EXPECT_EQ(CFEqual(c.b, c.a), c.equal) << c.name << " (reversed)";
        if (c.equal) EXPECT_EQ(CFHash(c.a), CFHash(c.b)) << c.name;
    }
}

TEST(CFRuntime, DescriptionsAreReadableAndNested) {
    Owned<CFNumberRef> answer(makeInt(42)), ratio(makeDouble(1.5));
    const void *items[] = {answer.get(), CFSTR("two")};
    Owned<CFArrayRef> array(CFArrayCreate(nullptr, items, 2, &kCFTypeArrayCallBacks));
    const void *keys[] = {CFSTR("list"), CFSTR("flag")};
    const void *values[] = {array.get(), kCFBooleanTrue};
    Owned<CFDictionaryRef> dict(CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks));
    struct Case {
        CFTypeRef value;
        const char *expected;
    } cases[] = {
        {CFSTR("plain text"), "plain text"},
        {answer, "42"},
        {ratio, "1.5"},
        {kCFBooleanFalse, "false"},
        {array, "(\n    42,\n    two\n)"},
        {dict, "{\n    flag = true;\n    list = (\n        42,\n        two\n    );\n}"},
    };
    for (const Case &c : cases) EXPECT_EQ(describe(c.value), c.expected);
}
