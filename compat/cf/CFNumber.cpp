/*
 * Boxed numbers. A number stores either a 64-bit integer or a double, with
 * the canonical type it was created as, and converts on the way out,
 * reporting whether the conversion lost information.
 */
#include <CoreFoundation/CFNumber.h>

#include "cf/CFRuntime.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

/* What a number type means in memory. */
struct TypeInfo {
    CFNumberType canonical;
    size_t size;
    bool isFloat;
};

bool typeInfo(CFNumberType type, TypeInfo &info) {
    switch (type) {
    case kCFNumberSInt8Type: case kCFNumberCharType:
        info = {kCFNumberSInt8Type, 1, false};
        return true;
    case kCFNumberSInt16Type: case kCFNumberShortType:
        info = {kCFNumberSInt16Type, 2, false};
        return true;
    case kCFNumberSInt32Type: case kCFNumberIntType:
        info = {kCFNumberSInt32Type, 4, false};
        return true;
    case kCFNumberSInt64Type: case kCFNumberLongType: case kCFNumberLongLongType:
    case kCFNumberCFIndexType: case kCFNumberNSIntegerType:
        info = {kCFNumberSInt64Type, 8, false};
        return true;
    case kCFNumberFloat32Type: case kCFNumberFloatType:
        info = {kCFNumberFloat32Type, 4, true};
        return true;
    case kCFNumberFloat64Type: case kCFNumberDoubleType: case kCFNumberCGFloatType:
        info = {kCFNumberFloat64Type, 8, true};
        return true;
    default:
        return false;
    }
}

/* 2^63 as a double: the first value above every SInt64. */
constexpr double kTwoTo63 = 9223372036854775808.0;

/* -1, 0 or 1 comparing an integer with a double; NaN orders below everything. */
int compareMixed(int64_t i, double d) {
    if (std::isnan(d)) return 1;
    if (d >= kTwoTo63) return -1;
    if (d < -kTwoTo63) return 1;
    const double whole = std::trunc(d);
    const auto t = static_cast<int64_t>(whole);
    if (i != t) return i < t ? -1 : 1;
    const double fraction = d - whole;
    return fraction > 0 ? -1 : (fraction < 0 ? 1 : 0);
}

int compareDoubles(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) == std::isnan(b) ? 0 : (std::isnan(a) ? -1 : 1);
    return a < b ? -1 : (a > b ? 1 : 0);
}

}  // namespace

struct __CFNumber final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kNumberTypeID;

    __CFNumber(CFNumberType type, int64_t value) : Object(kTypeID), type(type), isFloat(false), integer(value) {}
    __CFNumber(CFNumberType type, double value) : Object(kTypeID), type(type), isFloat(true), real(value) {}
    constexpr __CFNumber(double value, harlune::cf::Immortal immortal)
        : Object(kTypeID, immortal), type(kCFNumberFloat64Type), isFloat(true), real(value) {}

    int compare(const __CFNumber &other) const {
        if (!isFloat && !other.isFloat) return integer < other.integer ? -1 : (integer > other.integer ? 1 : 0);
        if (isFloat && other.isFloat) return compareDoubles(real, other.real);
        return isFloat ? -compareMixed(other.integer, real) : compareMixed(integer, other.real);
    }

    bool equals(const Object &other) const override { return compare(static_cast<const __CFNumber &>(other)) == 0; }

    CFHashCode hash() const override {
        // Equal values must hash alike across types, so integral doubles
        // hash as the integer they equal.
        if (!isFloat) return static_cast<CFHashCode>(integer);
        if (std::isnan(real)) return 0x7ff8000000000000UL;
        if (real >= -kTwoTo63 && real < kTwoTo63 && std::trunc(real) == real) {
            return static_cast<CFHashCode>(static_cast<int64_t>(real));
        }
        return harlune::cf::hashBytes(&real, sizeof real);
    }

    void describe(std::string &out, unsigned) const override {
        char text[64];
        // A Float32 prints as the float it was, not as its double widening.
        const auto result = !isFloat ? std::to_chars(text, text + sizeof text, integer)
                            : type == kCFNumberFloat32Type
                                ? std::to_chars(text, text + sizeof text, static_cast<float>(real))
                                : std::to_chars(text, text + sizeof text, real);
        out.append(text, result.ptr);
    }

    const CFNumberType type;
    const bool isFloat;
    union {
        const int64_t integer;
        const double real;
    };
};

namespace {

/* Stores an integer into a target of the given size; false if it did not fit. */
bool storeInteger(int64_t value, size_t size, void *out) {
    switch (size) {
    case 1: {
        const auto v = static_cast<int8_t>(value);
        memcpy(out, &v, 1);
        return v == value;
    }
    case 2: {
        const auto v = static_cast<int16_t>(value);
        memcpy(out, &v, 2);
        return v == value;
    }
    case 4: {
        const auto v = static_cast<int32_t>(value);
        memcpy(out, &v, 4);
        return v == value;
    }
    default:
        memcpy(out, &value, 8);
        return true;
    }
}

/* Converts a double to an integer of the given size, clamping out-of-range values. */
bool storeRealAsInteger(double value, size_t size, void *out) {
    const int bits = static_cast<int>(size * 8);
    const double limit = std::ldexp(1.0, bits - 1);  // 2^(bits-1)
    int64_t converted = 0;
    bool exact = true;
    if (std::isnan(value)) {
        exact = false;
    } else if (value >= limit) {
        converted = bits == 64 ? std::numeric_limits<int64_t>::max() : static_cast<int64_t>(limit) - 1;
        exact = false;
    } else if (value < -limit) {
        converted = bits == 64 ? std::numeric_limits<int64_t>::min() : -static_cast<int64_t>(limit);
        exact = false;
    } else {
        converted = static_cast<int64_t>(value);  // truncates toward zero
        exact = static_cast<double>(converted) == value;
    }
    storeInteger(converted, size, out);
    return exact;
}

bool storeReal(double value, bool isInteger, int64_t integer, size_t size, void *out) {
    if (size == 4) {
        const auto f = static_cast<float>(value);
        memcpy(out, &f, 4);
        if (isInteger) return compareMixed(integer, static_cast<double>(f)) == 0;
        return std::isnan(value) ? std::isnan(f) : static_cast<double>(f) == value;
    }
    memcpy(out, &value, 8);
    return !isInteger || compareMixed(integer, value) == 0;
}

}  // namespace

using harlune::cf::as;

extern "C" {

CFTypeID CFNumberGetTypeID(void) { return __CFNumber::kTypeID; }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void *valuePtr) {
    TypeInfo info;
    if (valuePtr == nullptr || !typeInfo(theType, info)) return nullptr;
    if (info.isFloat) {
        double value = 0;
        if (info.size == 4) {
            float f;
            memcpy(&f, valuePtr, 4);
            value = f;
        } else {
            memcpy(&value, valuePtr, 8);
        }
        return harlune::cf::make<__CFNumber>(info.canonical, value);
    }
    int64_t value = 0;
    switch (info.size) {
    case 1: { int8_t v; memcpy(&v, valuePtr, 1); value = v; break; }
    case 2: { int16_t v; memcpy(&v, valuePtr, 2); value = v; break; }
    case 4: { int32_t v; memcpy(&v, valuePtr, 4); value = v; break; }
    default: memcpy(&value, valuePtr, 8); break;
    }
    return harlune::cf::make<__CFNumber>(info.canonical, value);
}

CFNumberType CFNumberGetType(CFNumberRef number) {
    auto *n = as<__CFNumber>(number);
    return n == nullptr ? static_cast<CFNumberType>(0) : n->type;
}

CFIndex CFNumberGetByteSize(CFNumberRef number) {
    TypeInfo info;
    auto *n = as<__CFNumber>(number);
    return (n != nullptr && typeInfo(n->type, info)) ? static_cast<CFIndex>(info.size) : 0;
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
    auto *n = as<__CFNumber>(number);
    return n != nullptr && n->isFloat;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void *valuePtr) {
    auto *n = as<__CFNumber>(number);
    TypeInfo info;
    if (n == nullptr || valuePtr == nullptr || !typeInfo(theType, info)) return false;
    if (info.isFloat) {
        const double value = n->isFloat ? n->real : static_cast<double>(n->integer);
        return storeReal(value, !n->isFloat, n->isFloat ? 0 : n->integer, info.size, valuePtr);
    }
    if (n->isFloat) return storeRealAsInteger(n->real, info.size, valuePtr);
    return storeInteger(n->integer, info.size, valuePtr);
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void *) {
    auto *a = as<__CFNumber>(number);
    auto *b = as<__CFNumber>(otherNumber);
    if (a == nullptr || b == nullptr) {
        if (a == b) return kCFCompareEqualTo;
        return a == nullptr ? kCFCompareLessThan : kCFCompareGreaterThan;
    }
    const int result = a->compare(*b);
    return result < 0 ? kCFCompareLessThan : (result > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo);
}

}  // extern "C"

namespace {
constinit harlune::cf::NoDestroy<__CFNumber> positiveInfinity(std::numeric_limits<double>::infinity(),
                                                              harlune::cf::Immortal{});
constinit harlune::cf::NoDestroy<__CFNumber> negativeInfinity(-std::numeric_limits<double>::infinity(),
                                                              harlune::cf::Immortal{});
constinit harlune::cf::NoDestroy<__CFNumber> notANumber(std::numeric_limits<double>::quiet_NaN(),
                                                        harlune::cf::Immortal{});
}  // namespace

extern "C" {
const CFNumberRef kCFNumberPositiveInfinity = &positiveInfinity.value;
const CFNumberRef kCFNumberNegativeInfinity = &negativeInfinity.value;
const CFNumberRef kCFNumberNaN = &notANumber.value;
}
