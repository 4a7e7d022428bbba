// CFArray and CFDictionary: ownership through callbacks, lookup by value,
// and safe handling of bad indices and immutable collections.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using cftest::Owned;
using cftest::text;

namespace {

CFNumberRef makeInt(SInt64 value) { return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value); }

CFMutableDictionaryRef makeTypeDictionary() {
    return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

}  // namespace

TEST(CFArray, TypeCallbacksRetainValuesWhileHeld) {
    Owned<CFNumberRef> a(makeInt(1)), b(makeInt(2));
    Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(array, a);
    CFArrayAppendValue(array, b);
    CFArrayInsertValueAtIndex(array, 0, b);
    EXPECT_EQ(CFGetRetainCount(a), 2);
    EXPECT_EQ(CFGetRetainCount(b), 3);

    CFArraySetValueAtIndex(array, 0, a);  // replaces b, releasing it
    EXPECT_EQ(CFGetRetainCount(a), 3);
    EXPECT_EQ(CFGetRetainCount(b), 2);
    CFArraySetValueAtIndex(array, 0, a);  // the same value again must not drop it
    EXPECT_EQ(CFGetRetainCount(a), 3);

    CFArrayRemoveValueAtIndex(array, 0);
    EXPECT_EQ(CFGetRetainCount(a), 2);
    Owned<CFArrayRef> copy(CFArrayCreateCopy(nullptr, array));
    EXPECT_EQ(CFGetRetainCount(a), 3);
    CFArrayRemoveAllValues(array);
    EXPECT_EQ(CFArrayGetCount(array), 0);
    EXPECT_EQ(CFGetRetainCount(a), 2);
    copy.reset();
    EXPECT_EQ(CFGetRetainCount(a), 1);
    EXPECT_EQ(CFGetRetainCount(b), 1);
}

TEST(CFArray, NullCallbacksStoreRawPointers) {
    Owned<CFNumberRef> number(makeInt(5));
    int local = 0;
    const void *values[] = {number.get(), &local, nullptr};
    Owned<CFArrayRef> array(CFArrayCreate(nullptr, values, 3, nullptr));
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 1), &local);
    // Without an equality callback, an equal but distinct number is not found.
    Owned<CFNumberRef> twin(makeInt(5));
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 3), twin), kCFNotFound);
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 3), number), 0);
}

TEST(CFArray, FindsByValueAndIgnoresBadIndices) {
    const void *values[] = {CFSTR("a"), CFSTR("b"), CFSTR("c")};
    Owned<CFArrayRef> immutable(CFArrayCreate(nullptr, values, 3, &kCFTypeArrayCallBacks));
    Owned<CFMutableArrayRef> array(CFArrayCreateMutableCopy(nullptr, 0, immutable));
    Owned<CFStringRef> b(cftest::makeString("b"));
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 3), b), 1);
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(2, 1), b), kCFNotFound);
    EXPECT_TRUE(CFArrayContainsValue(array, CFRangeMake(0, 3), b));
    EXPECT_EQ(CFArrayGetValueAtIndex(array, -1), nullptr);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 3), nullptr);
    CFArrayRemoveValueAtIndex(array, 3);
    CFArrayInsertValueAtIndex(array, 5, CFSTR("x"));
    EXPECT_EQ(CFArrayGetCount(array), 3);
    // Mutating an immutable array is refused.
    CFArrayAppendValue(const_cast<CFMutableArrayRef>(immutable.get()), CFSTR("d"));
    EXPECT_EQ(CFArrayGetCount(immutable), 3);

    std::string joined;
    CFArrayApplyFunction(array, CFRangeMake(0, 3),
                         [](const void *value, void *context) {
                             *static_cast<std::string *>(context) += text(static_cast<CFStringRef>(value));
                         },
                         &joined);
    EXPECT_EQ(joined, "abc");
    EXPECT_TRUE(CFEqual(array, immutable));
}

TEST(CFDictionary, LooksUpKeysByValueAndManagesOwnership) {
    Owned<CFMutableDictionaryRef> dict(makeTypeDictionary());
    Owned<CFStringRef> key(cftest::makeString("rate"));
    Owned<CFNumberRef> first(makeInt(44100)), second(makeInt(48000));
    CFDictionarySetValue(dict, key, first);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("rate")), first.get());  // an equal, distinct key object

    CFDictionaryAddValue(dict, CFSTR("rate"), second);  // present: AddValue leaves it alone
    EXPECT_EQ(CFDictionaryGetValue(dict, key), first.get());
    CFDictionarySetValue(dict, CFSTR("rate"), second);  // replaces the value, keeps the original key
    EXPECT_EQ(CFDictionaryGetValue(dict, key), second.get());
    EXPECT_EQ(CFGetRetainCount(first), 1);
    EXPECT_EQ(CFGetRetainCount(second), 2);
    EXPECT_EQ(CFGetRetainCount(key), 2);

    CFDictionaryReplaceValue(dict, CFSTR("absent"), first);
    EXPECT_FALSE(CFDictionaryContainsKey(dict, CFSTR("absent")));
    EXPECT_TRUE(CFDictionaryContainsValue(dict, second));

    CFDictionaryRemoveValue(dict, CFSTR("rate"));
    EXPECT_EQ(CFDictionaryGetCount(dict), 0);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(second), 1);

    const void *found = &found;
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dict, key, &found));
    CFDictionarySetValue(dict, key, kCFNull);
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dict, key, &found));
    EXPECT_EQ(found, kCFNull);
}

TEST(CFDictionary, HoldsManyKeysAndEnumeratesEachOnce) {
    Owned<CFMutableDictionaryRef> dict(makeTypeDictionary());
    constexpr int kCount = 2000;
    for (int i = 0; i < kCount; ++i) {
        Owned<CFStringRef> key(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("key-%d"), i));
        Owned<CFNumberRef> value(makeInt(i));
        CFDictionarySetValue(dict, key, value);
    }
    ASSERT_EQ(CFDictionaryGetCount(dict), kCount);
    for (int i = 0; i < kCount; i += 97) {
        Owned<CFStringRef> key(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("key-%d"), i));
        SInt64 value = -1;
        CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(dict, key)), kCFNumberSInt64Type, &value);
        EXPECT_EQ(value, i);
    }

    std::vector<const void *> keys(kCount), values(kCount);
    CFDictionaryGetKeysAndValues(dict, keys.data(), values.data());
    std::map<std::string, int> seen;
    for (int i = 0; i < kCount; ++i) {
        EXPECT_EQ(CFDictionaryGetValue(dict, keys[i]), values[i]);
        ++seen[text(static_cast<CFStringRef>(keys[i]))];
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(kCount));

    int visits = 0;
    CFDictionaryApplyFunction(dict, [](const void *, const void *, void *count) { ++*static_cast<int *>(count); },
                              &visits);
    EXPECT_EQ(visits, kCount);
}

TEST(CFDictionary, CopiesAreIndependentAndCompareByContents) {
    const void *keys[] = {CFSTR("a"), CFSTR("b")};
    const void *values[] = {kCFBooleanTrue, kCFBooleanFalse};
    Owned<CFDictionaryRef> dict(CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks));
    Owned<CFMutableDictionaryRef> copy(CFDictionaryCreateMutableCopy(nullptr, 0, dict));
    EXPECT_TRUE(CFEqual(dict, copy));
    CFDictionaryRemoveValue(copy, CFSTR("a"));
    CFDictionarySetValue(copy, CFSTR("a"), kCFBooleanTrue);  // same contents, different insertion order
    EXPECT_TRUE(CFEqual(dict, copy));
    CFDictionarySetValue(copy, CFSTR("a"), kCFBooleanFalse);
    EXPECT_FALSE(CFEqual(dict, copy));
    EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("a")), kCFBooleanTrue);
    // The immutable original refuses changes.
    CFDictionaryRemoveAllValues(const_cast<CFMutableDictionaryRef>(dict.get()));
    EXPECT_EQ(CFDictionaryGetCount(dict), 2);
}

TEST(CFDictionary, CopyStringKeyCallbacksSnapshotMutableKeys) {
    Owned<CFMutableDictionaryRef> dict(CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks,
                                                                 &kCFTypeDictionaryValueCallBacks));
    Owned<CFMutableStringRef> key(CFStringCreateMutableCopy(nullptr, 0, CFSTR("device")));
    CFDictionarySetValue(dict, key, kCFBooleanTrue);
    CFStringAppend(key, CFSTR("-changed"));
    EXPECT_EQ(CFDictionaryGetValue(dict, CFSTR("device")), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetValue(dict, key), nullptr);
}

TEST(CFDictionary, NullCallbacksCompareKeysByIdentity) {
    Owned<CFMutableDictionaryRef> dict(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    Owned<CFStringRef> key(cftest::makeString("k")), twin(cftest::makeString("k"));
    CFDictionarySetValue(dict, key, reinterpret_cast<const void *>(42));
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFDictionaryGetValue(dict, key), reinterpret_cast<const void *>(42));
    EXPECT_FALSE(CFDictionaryContainsKey(dict, twin));
}
