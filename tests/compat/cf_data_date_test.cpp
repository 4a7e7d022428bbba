// CFData byte buffers, CFDate and CFError.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

using cftest::Owned;

TEST(CFData, CopiesGrowsAndReadsRanges) {
    const UInt8 bytes[] = {1, 2, 3, 4};
    Owned<CFDataRef> data(CFDataCreate(nullptr, bytes, 4));
    Owned<CFMutableDataRef> grown(CFDataCreateMutableCopy(nullptr, 0, data));
    CFDataAppendBytes(grown, bytes, 2);
    // Appending part of itself must copy before the buffer moves.
    CFDataAppendBytes(grown, CFDataGetBytePtr(grown), CFDataGetLength(grown));
    const UInt8 expected[] = {1, 2, 3, 4, 1, 2, 1, 2, 3, 4, 1, 2};
    ASSERT_EQ(CFDataGetLength(grown), 12);
    EXPECT_EQ(memcmp(CFDataGetBytePtr(grown), expected, 12), 0);
    EXPECT_EQ(CFDataGetLength(data), 4);

    UInt8 window[3] = {9, 9, 9};
    CFDataGetBytes(grown, CFRangeMake(9, 3), window);
    EXPECT_EQ(window[0], 4);
    EXPECT_EQ(window[2], 2);
    UInt8 untouched[2] = {9, 9};
    CFDataGetBytes(grown, CFRangeMake(11, 2), untouched);  // runs past the end
    EXPECT_EQ(untouched[0], 9);

    CFDataSetLength(grown, 14);
    EXPECT_EQ(CFDataGetBytePtr(grown)[13], 0);
    CFDataAppendBytes(const_cast<CFMutableDataRef>(data.get()), bytes, 1);  // immutable: refused
    EXPECT_EQ(CFDataGetLength(data), 4);
    EXPECT_EQ(CFDataGetMutableBytePtr(const_cast<CFMutableDataRef>(data.get())), nullptr);
}

TEST(CFData, EmptyAndNoCopyDataBehave) {
    Owned<CFDataRef> empty(CFDataCreate(nullptr, nullptr, 0));
    ASSERT_NE(empty.get(), nullptr);
    EXPECT_NE(CFDataGetBytePtr(empty), nullptr);
    EXPECT_EQ(CFDataCreate(nullptr, nullptr, 3), nullptr);

    // The data takes over the malloc'd buffer and frees it.
    auto *buffer = static_cast<UInt8 *>(malloc(3));
    memcpy(buffer, "abc", 3);
    Owned<CFDataRef> adopted(CFDataCreateWithBytesNoCopy(nullptr, buffer, 3, kCFAllocatorDefault));
    EXPECT_EQ(memcmp(CFDataGetBytePtr(adopted), "abc", 3), 0);
    const UInt8 stack[] = {7};
    Owned<CFDataRef> borrowed(CFDataCreateWithBytesNoCopy(nullptr, stack, 1, kCFAllocatorNull));
    EXPECT_EQ(CFDataGetBytePtr(borrowed)[0], 7);
    EXPECT_TRUE(CFEqual(borrowed, Owned<CFDataRef>(CFDataCreate(nullptr, stack, 1)).get()));
}

TEST(CFDate, CountsSecondsFromTheReferenceDate) {
    const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
    const double expected = static_cast<double>(time(nullptr)) - kCFAbsoluteTimeIntervalSince1970;
    EXPECT_NEAR(now, expected, 5.0);

    Owned<CFDateRef> reference(CFDateCreate(nullptr, 0));
    Owned<CFDateRef> later(CFDateCreate(nullptr, 86400 * 365.0 + 3661.0));
    EXPECT_EQ(CFDateGetAbsoluteTime(later), 86400 * 365.0 + 3661.0);
    EXPECT_EQ(CFDateCompare(reference, later, nullptr), kCFCompareLessThan);
    EXPECT_EQ(CFDateGetTimeIntervalSinceDate(later, reference), 86400 * 365.0 + 3661.0);
    EXPECT_EQ(cftest::describe(reference), "2001-01-01 00:00:00 +0000");
    EXPECT_EQ(cftest::describe(later), "2002-01-01 01:01:01 +0000");
}

TEST(CFError, DescribesItselfFromItsUserInfo) {
    Owned<CFErrorRef> plain(CFErrorCreate(nullptr, kCFErrorDomainPOSIX, 2, nullptr));
    EXPECT_EQ(CFErrorGetCode(plain), 2);
    EXPECT_TRUE(CFEqual(CFErrorGetDomain(plain), CFSTR("NSPOSIXErrorDomain")));
    Owned<CFStringRef> generic(CFErrorCopyDescription(plain));
    EXPECT_NE(cftest::text(generic).find("NSPOSIXErrorDomain error 2"), std::string::npos);

    const void *keys[] = {kCFErrorLocalizedDescriptionKey};
    const void *values[] = {CFSTR("The device vanished.")};
    Owned<CFDictionaryRef> info(CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks));
    Owned<CFErrorRef> described(CFErrorCreate(nullptr, kCFErrorDomainOSStatus, -50, info));
    Owned<CFStringRef> description(CFErrorCopyDescription(described));
    EXPECT_EQ(cftest::text(description), "The device vanished.");
    EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
}
