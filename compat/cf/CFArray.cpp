/*
 * Arrays: a vector of values whose ownership and equality follow the
 * callbacks given at creation.
 */
#include <CoreFoundation/CFArray.h>

#include "cf/CFRuntime.h"

#include <vector>

namespace {

const void *retainValue(CFAllocatorRef, const void *value) { return CFRetain(value); }
void releaseValue(CFAllocatorRef, const void *value) { CFRelease(value); }

}  // namespace

extern "C" const CFArrayCallBacks kCFTypeArrayCallBacks = {0, retainValue, releaseValue, CFCopyDescription, CFEqual};

struct __CFArray final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kArrayTypeID;

    __CFArray(const CFArrayCallBacks *callBacks, bool isMutable) : Object(kTypeID), isMutable(isMutable) {
        if (callBacks != nullptr) this->callBacks = *callBacks;
    }

    ~__CFArray() override {
        for (const void *value : values) releaseOne(value);
    }

    const void *retainOne(const void *value) const {
        return callBacks.retain != nullptr ? callBacks.retain(nullptr, value) : value;
    }
    void releaseOne(const void *value) const {
        if (callBacks.release != nullptr) callBacks.release(nullptr, value);
    }
    bool valuesEqual(const void *a, const void *b) const {
        return a == b || (callBacks.equal != nullptr && callBacks.equal(a, b));
    }

    bool equals(const Object &other) const override {
        const auto &that = static_cast<const __CFArray &>(other);
        if (values.size() != that.values.size()) return false;
        for (size_t i = 0; i < values.size(); ++i) {
            if (!valuesEqual(values[i], that.values[i])) return false;
        }
        return true;
    }

    // The count is cheap, stable under CFEqual, and what Apple hashes too.
    CFHashCode hash() const override { return values.size(); }

    void describe(std::string &out, unsigned depth) const override {
        out += "(\n";
        for (size_t i = 0; i < values.size(); ++i) {
            harlune::cf::appendIndent(out, depth + 1);
            harlune::cf::describeElement(out, values[i], depth + 1, callBacks.copyDescription);
            out += (i + 1 < values.size()) ? ",\n" : "\n";
        }
        harlune::cf::appendIndent(out, depth);
        out += ")";
    }

    CFArrayCallBacks callBacks = {0, nullptr, nullptr, nullptr, nullptr};
    std::vector<const void *> values;
    const bool isMutable;
};

namespace {

using harlune::cf::as;

__CFArray *mutableArray(CFMutableArrayRef array) {
    auto *object = as<__CFArray>(array);
    return (object != nullptr && object->isMutable) ? object : nullptr;
}

/* True if range lies within [0, count]. */
bool rangeIsValid(CFRange range, size_t count) {
    const auto size = static_cast<CFIndex>(count);
    return range.location >= 0 && range.length >= 0 && range.location <= size && range.length <= size - range.location;
}

__CFArray *createArray(const CFArrayCallBacks *callBacks, const void *const *values, CFIndex count, bool isMutable) {
    if (count < 0 || (count > 0 && values == nullptr)) return nullptr;
    auto *array = harlune::cf::make<__CFArray>(callBacks, isMutable);
    if (array == nullptr) return nullptr;
    try {
        array->values.reserve(static_cast<size_t>(count));
    } catch (...) {
        delete array;
        return nullptr;
    }
    for (CFIndex i = 0; i < count; ++i) array->values.push_back(array->retainOne(values[i]));
    return array;
}

}  // namespace

extern "C" {

CFTypeID CFArrayGetTypeID(void) { return __CFArray::kTypeID; }

CFArrayRef CFArrayCreate(CFAllocatorRef, const void **values, CFIndex numValues, const CFArrayCallBacks *callBacks) {
    return createArray(callBacks, values, numValues, false);
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef theArray) {
    auto *array = as<__CFArray>(theArray);
    if (array == nullptr) return nullptr;
    if (!array->isMutable) return static_cast<CFArrayRef>(CFRetain(array));
    return createArray(&array->callBacks, array->values.data(), static_cast<CFIndex>(array->values.size()), false);
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex capacity, const CFArrayCallBacks *callBacks) {
    if (capacity < 0) return nullptr;
    return createArray(callBacks, nullptr, 0, true);
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFArrayRef theArray) {
    auto *array = as<__CFArray>(theArray);
    if (array == nullptr || capacity < 0) return nullptr;
    return createArray(&array->callBacks, array->values.data(), static_cast<CFIndex>(array->values.size()), true);
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
    auto *array = as<__CFArray>(theArray);
    return array == nullptr ? 0 : static_cast<CFIndex>(array->values.size());
}

const void *CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
    auto *array = as<__CFArray>(theArray);
    if (array == nullptr || idx < 0 || static_cast<size_t>(idx) >= array->values.size()) return nullptr;
    return array->values[static_cast<size_t>(idx)];
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void **values) {
    auto *array = as<__CFArray>(theArray);
    if (array == nullptr || values == nullptr || !rangeIsValid(range, array->values.size())) return;
    for (CFIndex i = 0; i < range.length; ++i) values[i] = array->values[static_cast<size_t>(range.location + i)];
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void *value) {
    auto *array = as<__CFArray>(theArray);
    if (array == nullptr || !rangeIsValid(range, array->values.size())) return kCFNotFound;
    for (CFIndex i = range.location; i < range.location + range.length; ++i) {
        if (array->valuesEqual(array->values[static_cast<size_t>(i)], value)) return i;
    }
    return kCFNotFound;
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void *value) {
    return CFArrayGetFirstIndexOfValue(theArray, range, value) != kCFNotFound;
}

void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier, void *context) {
    auto *array = as<__CFArray>(theArray);
    if (array == nullptr || applier == nullptr || !rangeIsValid(range, array->values.size())) return;
    for (CFIndex i = range.location; i < range.location + range.length; ++i) {
        applier(array->values[static_cast<size_t>(i)], context);
    }
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void *value) {
    CFArrayInsertValueAtIndex(theArray, CFArrayGetCount(theArray), value);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void *value) {
    harlune::cf::guarded([&] {
        auto *array = mutableArray(theArray);
        if (array == nullptr || idx < 0 || static_cast<size_t>(idx) > array->values.size()) return;
        array->values.insert(array->values.begin() + idx, array->retainOne(value));
    });
}

void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void *value) {
    harlune::cf::guarded([&] {
        auto *array = mutableArray(theArray);
        if (array == nullptr || idx < 0 || static_cast<size_t>(idx) > array->values.size()) return;
        if (static_cast<size_t>(idx) == array->values.size()) {
            array->values.push_back(array->retainOne(value));
            return;
        }
        // Retain before releasing, in case the new value is the old one.
        const void *retained = array->retainOne(value);
        array->releaseOne(array->values[static_cast<size_t>(idx)]);
        array->values[static_cast<size_t>(idx)] = retained;
    });
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx) {
    auto *array = mutableArray(theArray);
    if (array == nullptr || idx < 0 || static_cast<size_t>(idx) >= array->values.size()) return;
    const void *value = array->values[static_cast<size_t>(idx)];
    array->values.erase(array->values.begin() + idx);
    array->releaseOne(value);
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray) {
    auto *array = mutableArray(theArray);
    if (array == nullptr) return;
    std::vector<const void *> removed;
    removed.swap(array->values);
    for (const void *value : removed) array->releaseOne(value);
}

}  // extern "C"
