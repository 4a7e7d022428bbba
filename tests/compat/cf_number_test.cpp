// CFNumber conversions and comparisons, and CFBoolean.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

using cftest::Owned;

namespace {

/* A number of the given type holding value (converted to that C type). */
CFNumberRef makeNumber(CFNumberType type, long double value) {
    union {
        SInt8 s8;
        SInt16 s16;
        SInt32 s32;
        SInt64 s64;
        Float32 f32;
        Float64 f64;
    } v;
    switch (type) {
    case kCFNumberSInt8Type: v.s8 = static_cast<SInt8>(value); break;
    case kCFNumberSInt16Type: v.s16 = static_cast<SInt16>(value); break;
    case kCFNumberSInt32Type: v.s32 = static_cast<SInt32>(value); break;
    case kCFNumberSInt64Type: v.s64 = static_cast<SInt64>(value); break;
    case kCFNumberFloat32Type: v.f32 = static_cast<Float32>(value); break;
    default: v.f64 = static_cast<Float64>(value); break;
    }
    return CFNumberCreate(nullptr, type, &v);
}

/* Reads the number as the given type, widened to long double, which holds every SInt64 exactly. */
long double readNumber(CFNumberRef number, CFNumberType type, bool &exact) {
    unsigned char buffer[8] = {};
    exact = CFNumberGetValue(number, type, buffer);
    switch (type) {
    case kCFNumberSInt8Type: { SInt8 v; memcpy(&v, buffer, 1); return v; }
    case kCFNumberSInt16Type: { SInt16 v; memcpy(&v, buffer, 2); return v; }
    case kCFNumberSInt32Type: { SInt32 v; memcpy(&v, buffer, 4); return v; }
    case kCFNumberSInt64Type: { SInt64 v; memcpy(&v, buffer, 8); return v; }
    case kCFNumberFloat32Type: { Float32 v; memcpy(&v, buffer, 4); return v; }
    default: { Float64 v; memcpy(&v, buffer, 8); return v; }
    }
}

constexpr long double kTwo53 = 9007199254740992.0L;

}  // namespace

TEST(CFNumber, ConvertsBetweenTypesAndReportsLoss) {
    const long double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        const char *name;
        CFNumberType from;
        long double value;
        CFNumberType to;
        long double expected;
        bool exact;
    } cases[] = {
        {"fits in SInt8", kCFNumberSInt32Type, 100, kCFNumberSInt8Type, 100, true},
        {"negative fits in SInt8", kCFNumberSInt32Type, -1, kCFNumberSInt8Type, -1, true},
        {"truncated to SInt8", kCFNumberSInt32Type, 300, kCFNumberSInt8Type, 44, false},
        {"truncated to SInt32", kCFNumberSInt64Type, 1099511627776.0L, kCFNumberSInt32Type, 0, false},
        {"widened to SInt64", kCFNumberSInt16Type, -32768, kCFNumberSInt64Type, -32768, true},
        {"fraction dropped", kCFNumberFloat64Type, 1.5, kCFNumberSInt32Type, 1, false},
        {"negative fraction toward zero", kCFNumberFloat64Type, -2.75, kCFNumberSInt16Type, -2, false},
        {"integral double", kCFNumberFloat64Type, -2.0, kCFNumberSInt32Type, -2, true},
        {"clamped high", kCFNumberFloat64Type, 1e20, kCFNumberSInt64Type, 9223372036854775807.0L, false},
        {"clamped low", kCFNumberFloat64Type, -1e20, kCFNumberSInt32Type, -2147483648.0L, false},
        {"NaN to integer", kCFNumberFloat64Type, nan, kCFNumberSInt32Type, 0, false},
        {"double to float rounds", kCFNumberFloat64Type, 0.1, kCFNumberFloat32Type, 0.1f, false},
        {"double to float exact", kCFNumberFloat64Type, 0.5, kCFNumberFloat32Type, 0.5, true},
        {"float to double", kCFNumberFloat32Type, 0.1f, kCFNumberFloat64Type, static_cast<double>(0.1f), true},
        {"2^53 to double", kCFNumberSInt64Type, kTwo53, kCFNumberFloat64Type, kTwo53, true},
        {"2^53+1 to double", kCFNumberSInt64Type, kTwo53 + 1, kCFNumberFloat64Type, kTwo53, false},
        {"2^24+1 to float", kCFNumberSInt32Type, 16777217, kCFNumberFloat32Type, 16777216, false},
    };
    for (const Case &c : cases) {
        Owned<CFNumberRef> number(makeNumber(c.from, c.value));
        ASSERT_NE(number.get(), nullptr) << c.name;
        bool exact = false;
        EXPECT_EQ(readNumber(number, c.to, exact), c.expected) << c.name;
        EXPECT_EQ(exact, c.exact) << c.name;
    }
}

TEST(CFNumber, KeepsTheCanonicalTypeItWasCreatedAs) {
    struct Case {
        CFNumberType created, canonical;
        bool isFloat;
    } cases[] = {
        {kCFNumberCharType, kCFNumberSInt8Type, false},     {kCFNumberShortType, kCFNumberSInt16Type, false},
        {kCFNumberIntType, kCFNumberSInt32Type, false},     {kCFNumberLongType, kCFNumberSInt64Type, false},
        {kCFNumberLongLongType, kCFNumberSInt64Type, false}, {kCFNumberCFIndexType, kCFNumberSInt64Type, false},
        {kCFNumberFloatType, kCFNumberFloat32Type, true},   {kCFNumberDoubleType, kCFNumberFloat64Type, true},
    };
    for (const Case &c : cases) {
        long long storage = 0;  // zero in every type
        Owned<CFNumberRef> number(CFNumberCreate(nullptr, c.created, &storage));
        EXPECT_EQ(CFNumberGetType(number), c.canonical) << c.created;
        EXPECT_EQ(CFNumberIsFloatType(number), c.isFloat) << c.created;
    }
    int value = 1;
    EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(99), &value), nullptr);
    EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberIntType, nullptr), nullptr);
    EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberIntType, &value));
}

TEST(CFNumber, ComparesByValueAcrossTypes) {
    const long double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        const char *name;
        CFNumberType typeA;
        long double a;
        CFNumberType typeB;
        long double b;
        CFComparisonResult expected;
    } cases[] = {
        {"int vs equal double", kCFNumberSInt32Type, 1, kCFNumberFloat64Type, 1.0, kCFCompareEqualTo},
        {"int vs smaller fraction", kCFNumberSInt32Type, 2, kCFNumberFloat64Type, 1.5, kCFCompareGreaterThan},
        {"negative int vs fraction", kCFNumberSInt32Type, -3, kCFNumberFloat64Type, -2.5, kCFCompareLessThan},
        {"int vs fraction above it", kCFNumberSInt32Type, 1, kCFNumberFloat64Type, 1.5, kCFCompareLessThan},
        {"int vs fraction below it", kCFNumberSInt32Type, -2, kCFNumberFloat64Type, -2.5, kCFCompareGreaterThan},
        {"SInt64 max vs 2^63", kCFNumberSInt64Type, 9223372036854775807.0L, kCFNumberFloat64Type,
         9223372036854775808.0L, kCFCompareLessThan},
        {"2^53+1 vs its rounded double", kCFNumberSInt64Type, kTwo53 + 1, kCFNumberFloat64Type, kTwo53,
         kCFCompareGreaterThan},
        {"float vs double of it", kCFNumberFloat32Type, 0.25, kCFNumberFloat64Type, 0.25, kCFCompareEqualTo},
        {"NaN vs NaN", kCFNumberFloat64Type, nan, kCFNumberFloat64Type, nan, kCFCompareEqualTo},
        {"NaN below everything", kCFNumberFloat64Type, nan, kCFNumberSInt8Type, -100, kCFCompareLessThan},
    };
    for (const Case &c : cases) {
        Owned<CFNumberRef> a(makeNumber(c.typeA, c.a)), b(makeNumber(c.typeB, c.b));
        EXPECT_EQ(CFNumberCompare(a, b, nullptr), c.expected) << c.name;
        EXPECT_EQ(CFNumberCompare(b, a, nullptr), -c.expected) << c.name << " (reversed)";
        EXPECT_EQ(CFEqual(a, b), c.expected == kCFCompareEqualTo) << c.name;
    }
}

TEST(CFBoolean, HasTwoImmortalValues) {
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_NE(CFHash(kCFBooleanTrue), CFHash(kCFBooleanFalse));
    EXPECT_EQ(CFGetTypeID(kCFBooleanFalse), CFBooleanGetTypeID());
    EXPECT_NE(CFBooleanGetTypeID(), CFNumberGetTypeID());
    // A number is not a boolean, even when it holds 1.
    Owned<CFNumberRef> one(makeNumber(kCFNumberSInt32Type, 1));
    EXPECT_FALSE(CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(one.get())));
}
