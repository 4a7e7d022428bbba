// The growable string: growth, ownership on copy and move, and the
// null-buffer empty string.
#include <text/LText.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(StringLongTemplate, NullBufferReadsAsEmpty) {
    LStringLongTemplate<char> s;
    EXPECT_EQ(s.GetBuffer(), nullptr);
    EXPECT_STREQ(s.Get(), "");
    EXPECT_STREQ(LUTF8StringLongRef(s), "");
    LStringLongTemplate<char16_t> s16;
    EXPECT_EQ(s16.Get()[0], 0);
}

TEST(StringLongTemplate, AssignAndCopyAllocateExactly) {
    LStringLongTemplate<char> s;
    LCopyToUTF8(s, "hello");
    EXPECT_EQ(s.GetLength(), 5u);
    EXPECT_EQ(s.GetCapacity(), 6u);

    LStringLongTemplate<char> copy;
    LCopyToUTF8(copy, s);
    EXPECT_STREQ(copy.Get(), "hello");
    EXPECT_NE(copy.GetBuffer(), s.GetBuffer());
    EXPECT_EQ(copy.GetCapacity(), 6u);

    // A copy of a string without a buffer has none either.
    LStringLongTemplate<char> empty;
    LCopyToUTF8(copy, empty);
    EXPECT_EQ(copy.GetBuffer(), nullptr);
    EXPECT_EQ(copy.GetCapacity(), 0u);

    LStringLongTemplate<char> moved(std::move(s));
    EXPECT_STREQ(moved.Get(), "hello");
    EXPECT_EQ(s.GetBuffer(), nullptr);  // NOLINT: moved-from state is specified
}

TEST(StringLongTemplate, AppendGrowsByTheRule) {
    LStringLongTemplate<char16_t> s;
    s.Append(u'a');
    EXPECT_EQ(s.GetCapacity(), 260u);
    for (int i = 1; i < 259; ++i) {
        s.Append(u'b');
    }
    EXPECT_EQ(s.GetLength(), 259u);
    EXPECT_EQ(s.GetCapacity(), 260u);
    s.Append(u'c');  // length + 2 = 261 > 260: grows to 259 + 2 + 260
    EXPECT_EQ(s.GetCapacity(), 521u);
    EXPECT_EQ(s.Get()[259], u'c');
    EXPECT_EQ(s.Get()[260], 0);
}

TEST(StringLongTemplate, ReserveKeepsTextAndNeverShrinks) {
    LStringLongTemplate<wchar_t> s(L"abc");
    s.Reserve(2);
    EXPECT_EQ(s.GetCapacity(), 4u);
    s.Reserve(100);
    EXPECT_EQ(s.GetCapacity(), 100u);
    EXPECT_EQ(std::wstring(s.Get()), L"abc");
    s.SetLength(1000);  // cut to the capacity, never past it
    EXPECT_EQ(s.GetLength(), 99u);
}

TEST(StringLongTemplate, ImpossibleSizeFailsAsAllocationFailure) {
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    // The sanitizers' operator new reports the size and aborts instead of
    // throwing, whatever their options say.
    GTEST_SKIP() << "not observable under a sanitizer's allocator";
#endif
#endif
    LStringLongTemplate<char16_t> s;
    EXPECT_THROW(s.Reserve(UINT64_MAX / 2 + 1), std::bad_alloc);
    EXPECT_EQ(s.GetBuffer(), nullptr);
}

}  // namespace
