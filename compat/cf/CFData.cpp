/* Byte buffers, immutable or growable. */
#include <CoreFoundation/CFData.h>

#include "cf/CFRuntime.h"

#include <cstring>
#include <functional>
#include <vector>

struct __CFData final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kDataTypeID;
    __CFData(std::vector<UInt8> bytes, bool isMutable) : Object(kTypeID), bytes(std::move(bytes)), isMutable(isMutable) {}

    bool equals(const Object &other) const override { return bytes == static_cast<const __CFData &>(other).bytes; }
    CFHashCode hash() const override { return harlune::cf::hashBytes(bytes.data(), bytes.size()); }
    void describe(std::string &out, unsigned) const override {
        static const char digits[] = "0123456789abcdef";
        out.push_back('<');
        for (size_t i = 0; i < bytes.size(); ++i) {
            if (i > 0 && i % 4 == 0) out.push_back(' ');
            out.push_back(digits[bytes[i] >> 4]);
            out.push_back(digits[bytes[i] & 0xF]);
        }
        out.push_back('>');
    }

    std::vector<UInt8> bytes;
    const bool isMutable;
};

namespace {

using harlune::cf::as;

/* Stands in for the bytes of empty data, so a byte pointer is never NULL. */
UInt8 emptyBytes[1];

__CFData *createData(const UInt8 *bytes, CFIndex length, bool isMutable) {
    if (length < 0 || (length > 0 && bytes == nullptr)) return nullptr;
    try {
        return harlune::cf::make<__CFData>(std::vector<UInt8>(bytes, bytes + length), isMutable);
    } catch (...) {
        return nullptr;
    }
}

__CFData *mutableData(CFMutableDataRef data) {
    auto *object = as<__CFData>(data);
    return (object != nullptr && object->isMutable) ? object : nullptr;
}

}  // namespace

extern "C" {

CFTypeID CFDataGetTypeID(void) { return __CFData::kTypeID; }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8 *bytes, CFIndex length) { return createData(bytes, length, false); }

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef, const UInt8 *bytes, CFIndex length,
                                      CFAllocatorRef bytesDeallocator) {
    CFDataRef data = createData(bytes, length, false);
    // The bytes were copied, so the caller's buffer is finished with now.
    if (bytes != nullptr && bytesDeallocator != kCFAllocatorNull) {
        CFAllocatorDeallocate(bytesDeallocator, const_cast<UInt8 *>(bytes));
    }
    return data;
}

CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef theData) {
    auto *data = as<__CFData>(theData);
    if (data == nullptr) return nullptr;
    if (!data->isMutable) return static_cast<CFDataRef>(CFRetain(data));
    return createData(data->bytes.data(), static_cast<CFIndex>(data->bytes.size()), false);
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex capacity) {
    if (capacity < 0) return nullptr;
    return harlune::cf::make<__CFData>(std::vector<UInt8>(), true);
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDataRef theData) {
    auto *data = as<__CFData>(theData);
    if (data == nullptr || capacity < 0) return nullptr;
    return createData(data->bytes.data(), static_cast<CFIndex>(data->bytes.size()), true);
}

CFIndex CFDataGetLength(CFDataRef theData) {
    auto *data = as<__CFData>(theData);
    return data == nullptr ? 0 : static_cast<CFIndex>(data->bytes.size());
}

const UInt8 *CFDataGetBytePtr(CFDataRef theData) {
    auto *data = as<__CFData>(theData);
    if (data == nullptr) return nullptr;
    return data->bytes.empty() ? emptyBytes : data->bytes.data();
}

UInt8 *CFDataGetMutableBytePtr(CFMutableDataRef theData) {
    auto *data = mutableData(theData);
    if (data == nullptr) return nullptr;
    return data->bytes.empty() ? emptyBytes : data->bytes.data();
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8 *buffer) {
    auto *data = as<__CFData>(theData);
    if (data == nullptr || buffer == nullptr || range.location < 0 || range.length < 0) return;
    const auto size = static_cast<CFIndex>(data->bytes.size());
    if (range.location > size || range.length > size - range.location) return;
    if (range.length > 0) memcpy(buffer, data->bytes.data() + range.location, static_cast<size_t>(range.length));
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length) {
    harlune::cf::guarded([&] {
        auto *data = mutableData(theData);
        if (data != nullptr && length >= 0) data->bytes.resize(static_cast<size_t>(length), 0);
    });
}

void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength) {
    harlune::cf::guarded([&] {
        auto *data = mutableData(theData);
        if (data != nullptr && extraLength > 0) data->bytes.resize(data->bytes.size() + static_cast<size_t>(extraLength), 0);
    });
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8 *bytes, CFIndex length) {
    harlune::cf::guarded([&] {
        auto *data = mutableData(theData);
        if (data == nullptr || bytes == nullptr || length <= 0) return;
        const UInt8 *begin = data->bytes.data();
        const bool aliases = !data->bytes.empty() && std::less_equal<const UInt8 *>()(begin, bytes) &&
                             std::less<const UInt8 *>()(bytes, begin + data->bytes.size());
        if (aliases) {
            // Appending part of itself: copy first, as growing may move the bytes.
            const std::vector<UInt8> copy(bytes, bytes + length);
            data->bytes.insert(data->bytes.end(), copy.begin(), copy.end());
        } else {
            data->bytes.insert(data->bytes.end(), bytes, bytes + length);
        }
    });
}

}  // extern "C"
