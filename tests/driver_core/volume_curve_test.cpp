// The volume curve against its defining formula, over the whole range.
#include "driver/VolumeCurve.h"

#include <gtest/gtest.h>

#include <cmath>

namespace harlune::driver {
namespace {

TEST(VolumeCurveTest, ScalarAndDecibelsAreInversesInsideTheRange) {
    for (int i = 0; i <= 1000; ++i) {
        const Float32 fScalar = static_cast<Float32>(i) / 1000.0f;
        const Float32 fDecibels = ScalarToDecibels(fScalar);
        EXPECT_GE(fDecibels, -96.0f);
        EXPECT_LE(fDecibels, 6.0f);
        EXPECT_NEAR(DecibelsToScalar(fDecibels), fScalar, 2e-4) << fScalar;
    }
}

TEST(VolumeCurveTest, KnownPointsAndClamping) {
    const struct {
        Float32 fScalar, fDecibels;
    } points[] = {{0.0f, -96.0f}, {0.25f, -89.625f}, {0.5f, -70.5f}, {1.0f, 6.0f}};
    for (const auto& p : points) {
        EXPECT_FLOAT_EQ(ScalarToDecibels(p.fScalar), p.fDecibels);
        EXPECT_FLOAT_EQ(DecibelsToScalar(p.fDecibels), p.fScalar);
    }
    EXPECT_FLOAT_EQ(ScalarToDecibels(2.0f), 6.0f);
    EXPECT_FLOAT_EQ(ScalarToDecibels(-0.5f), -96.0f);
    EXPECT_FLOAT_EQ(DecibelsToScalar(-120.0f), 0.0f);
    EXPECT_FLOAT_EQ(DecibelsToScalar(10.0f), 1.0f);
    EXPECT_NEAR(DecibelsToScalar(0.0f), 0.97014f, 1e-5) << "0 dB is not full scale";
    EXPECT_NEAR(DecibelsToScalar(-20.0f), 0.86319f, 1e-5);
    EXPECT_FLOAT_EQ(ScalarToDecibels(std::nanf("")), -96.0f);
    EXPECT_FLOAT_EQ(DecibelsToScalar(std::nanf("")), 0.0f);
    EXPECT_FLOAT_EQ(ScalarToDecibels(INFINITY), 6.0f);
}

} // namespace
} // namespace harlune::driver
