/*
 * UUIDs: sixteen bytes, compared by value. Constant UUIDs are interned in a
 * process-wide table so the same bytes always give the same immortal object.
 */
#include <CoreFoundation/CFUUID.h>

#include "cf/CFRuntime.h"
#include "cf/CFStringInternal.h"

#include <array>
#include <cstring>
#include <map>
#include <mutex>
#include <random>

using harlune::cf::as;
using Bytes = std::array<UInt8, 16>;

struct __CFUUID final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kUUIDTypeID;

    explicit __CFUUID(const Bytes &bytes) : Object(kTypeID), bytes(bytes) {}
    __CFUUID(const Bytes &bytes, harlune::cf::Immortal immortal) : Object(kTypeID, immortal), bytes(bytes) {}

    bool equals(const Object &other) const override { return bytes == static_cast<const __CFUUID &>(other).bytes; }
    CFHashCode hash() const override { return harlune::cf::hashBytes(bytes.data(), bytes.size()); }
    void describe(std::string &out, unsigned) const override { out += text(); }

    /* The canonical upper-case form. */
    std::string text() const {
        static const char digits[] = "0123456789ABCDEF";
        std::string out;
        for (size_t i = 0; i < bytes.size(); ++i) {
            if (i == 4 || i == 6 || i == 8 || i == 10) out.push_back('-');
            out.push_back(digits[bytes[i] >> 4]);
            out.push_back(digits[bytes[i] & 0xF]);
        }
        return out;
    }

    const Bytes bytes;
};

namespace {

struct ConstantTable {
    std::mutex lock;
    std::map<Bytes, CFUUIDRef> uuids;
};

ConstantTable &constantTable() {
    // Never destroyed: constant UUIDs must outlive every static destructor.
    static ConstantTable *table = new ConstantTable;
    return *table;
}

Bytes fromStruct(const CFUUIDBytes &in) {
    Bytes bytes;
    static_assert(sizeof(CFUUIDBytes) == 16);
    memcpy(bytes.data(), &in, 16);
    return bytes;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

/* Parses "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX"; false for anything else. */
bool parse(std::string_view text, Bytes &bytes) {
    if (text.size() != 36) return false;
    size_t pos = 0;
    for (size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            if (text[pos++] != '-') return false;
        }
        const int high = hexValue(text[pos]);
        const int low = hexValue(text[pos + 1]);
        if (high < 0 || low < 0) return false;
        bytes[i] = static_cast<UInt8>(high << 4 | low);
        pos += 2;
    }
    return true;
}

}  // namespace

extern "C" {

CFTypeID CFUUIDGetTypeID(void) { return __CFUUID::kTypeID; }

CFUUIDRef CFUUIDCreate(CFAllocatorRef) {
    Bytes bytes;
    try {
        std::random_device random;
        for (size_t i = 0; i < bytes.size(); i += 4) {
            const uint32_t word = random();
            memcpy(bytes.data() + i, &word, 4);
        }
    } catch (...) {
        return nullptr;
    }
    // Mark the bytes as a random (version 4, RFC 4122 variant) UUID.
    bytes[6] = static_cast<UInt8>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<UInt8>((bytes[8] & 0x3F) | 0x80);
    return harlune::cf::make<__CFUUID>(bytes);
}

CFUUIDRef CFUUIDCreateWithBytes(CFAllocatorRef, UInt8 b0, UInt8 b1, UInt8 b2, UInt8 b3, UInt8 b4, UInt8 b5,
                                UInt8 b6, UInt8 b7, UInt8 b8, UInt8 b9, UInt8 b10, UInt8 b11, UInt8 b12, UInt8 b13,
                                UInt8 b14, UInt8 b15) {
    return harlune::cf::make<__CFUUID>(Bytes{b0, b1, b2, b3, b4, b5, b6, b7, b8, b9, b10, b11, b12, b13, b14, b15});
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef, CFUUIDBytes bytes) {
    return harlune::cf::make<__CFUUID>(fromStruct(bytes));
}

CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef, CFStringRef uuidStr) {
    Bytes bytes;
    if (!parse(harlune::cf::stringText(uuidStr), bytes)) return nullptr;
    return harlune::cf::make<__CFUUID>(bytes);
}

CFStringRef CFUUIDCreateString(CFAllocatorRef, CFUUIDRef uuid) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        auto *object = as<__CFUUID>(uuid);
        return object == nullptr ? nullptr : harlune::cf::makeString(object->text());
    });
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef, UInt8 b0, UInt8 b1, UInt8 b2, UInt8 b3, UInt8 b4, UInt8 b5,
                                         UInt8 b6, UInt8 b7, UInt8 b8, UInt8 b9, UInt8 b10, UInt8 b11, UInt8 b12,
                                         UInt8 b13, UInt8 b14, UInt8 b15) {
    const Bytes bytes{b0, b1, b2, b3, b4, b5, b6, b7, b8, b9, b10, b11, b12, b13, b14, b15};
    ConstantTable &table = constantTable();
    std::lock_guard<std::mutex> guard(table.lock);
    if (auto found = table.uuids.find(bytes); found != table.uuids.end()) return found->second;
    auto *uuid = harlune::cf::make<__CFUUID>(bytes, harlune::cf::Immortal{});
    if (uuid == nullptr) return nullptr;
    try {
        table.uuids.emplace(bytes, uuid);
    } catch (...) {
        // The UUID still works; it is merely not shared with later requests.
    }
    return uuid;
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid) {
    CFUUIDBytes result;
    memset(&result, 0, sizeof result);
    if (auto *object = as<__CFUUID>(uuid)) memcpy(&result, object->bytes.data(), 16);
    return result;
}

}  // extern "C"
