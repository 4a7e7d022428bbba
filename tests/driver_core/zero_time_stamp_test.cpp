// The virtual clock's arithmetic, checked against the worked figures of the
// clock model.
#include "driver/ZeroTimeStamp.h"

#include <gtest/gtest.h>

namespace harlune::driver {
namespace {

constexpr Float64 kTicks44100 = 1e9 / 44100.0; // time base 1/1
constexpr Float64 kTicks48000 = 1e9 / 48000.0;

TEST(ZeroTimeStampTest, StaysOnThePeriodUntilTheNextOneHasBegun) {
    struct Case {
        UInt64 qwNow;
        Float64 fSample;
        UInt64 qwHost;
        UInt64 qwCount;
    };
    // Anchor 1000: the next period begins at 1000 + trunc(371519274.37…) = 371520274.
    const Case cases[] = {
        {1000, 0.0, 1000, 0},
        {371520000, 0.0, 1000, 0},
        {371520273, 0.0, 1000, 0},
        {371520274, 16384.0, 371520274, 1},
    };
    for (const Case& c : cases) {
        UInt64 qwCount = 0;
        const LZeroTimeStamp stamp = LAdvanceZeroTimeStamp(&qwCount, 1000, kTicks44100, c.qwNow);
        EXPECT_EQ(stamp.fSampleTime, c.fSample) << c.qwNow;
        EXPECT_EQ(stamp.qwHostTime, c.qwHost) << c.qwNow;
        EXPECT_EQ(qwCount, c.qwCount) << c.qwNow;
    }
}

TEST(ZeroTimeStampTest, ALateReaderCatchesUpOnePeriodPerCall) {
    UInt64 qwCount = 0;
    const UInt64 qwAnchor = 5000;
    const UInt64 qwNow = qwAnchor + static_cast<UInt64>(3.5 * 16384 * kTicks44100);
    const Float64 arExpected[] = {16384.0, 32768.0, 49152.0, 49152.0, 49152.0};
    for (Float64 fExpected : arExpected) {
        EXPECT_EQ(LAdvanceZeroTimeStamp(&qwCount, qwAnchor, kTicks44100, qwNow).fSampleTime, fExpected);
    }
    EXPECT_EQ(qwCount, 3u);
}

TEST(ZeroTimeStampTest, HostTimeStepFollowsTheRateAndSampleStepDoesNot) {
    for (Float64 fTicks : {kTicks44100, kTicks48000}) {
        UInt64 qwCount = 0;
        const UInt64 qwAnchor = 123456789;
        const UInt64 qwFar = qwAnchor + static_cast<UInt64>(10.0 * 16384 * fTicks);
        const LZeroTimeStamp first = LAdvanceZeroTimeStamp(&qwCount, qwAnchor, fTicks, qwFar);
        const LZeroTimeStamp second = LAdvanceZeroTimeStamp(&qwCount, qwAnchor, fTicks, qwFar);
        EXPECT_EQ(second.fSampleTime - first.fSampleTime, 16384.0);
        // About 341,333,333 ticks at 48000 Hz and 371,519,274 at 44100 Hz.
        EXPECT_NEAR(static_cast<double>(second.qwHostTime - first.qwHostTime), 16384 * fTicks, 1.0);
    }
}

TEST(ZeroTimeStampTest, HostTimeIsTheFloatSumTruncatedOnce) {
    // With a fractional ratio the answered host time truncates anchor +
    // offset as one double, which can differ by one tick from truncating the
    // offset alone; count 2 at 44100 Hz shows the difference.
    UInt64 qwCount = 1;
    const UInt64 qwAnchor = 7;
    const Float64 fOffset = 2.0 * 16384 * kTicks44100;
    const LZeroTimeStamp stamp = LAdvanceZeroTimeStamp(&qwCount, qwAnchor, kTicks44100, qwAnchor + 10000000000ull);
    EXPECT_EQ(qwCount, 2u);
    EXPECT_EQ(stamp.qwHostTime, static_cast<UInt64>(static_cast<Float64>(qwAnchor) + fOffset));
}

TEST(ZeroTimeStampTest, AZeroRatioNeverAdvancesPastTheAnchor) {
    // Before Initialize the ratio is 0: every period "begins" at the anchor,
    // so the count moves by one per call but the host time stays put.
    UInt64 qwCount = 0;
    const LZeroTimeStamp stamp = LAdvanceZeroTimeStamp(&qwCount, 100, 0.0, 100);
    EXPECT_EQ(stamp.qwHostTime, 100u);
    EXPECT_EQ(qwCount, 1u);
}

} // namespace
} // namespace harlune::driver
