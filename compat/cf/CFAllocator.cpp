/*
 * Allocators and the null object. Every allocator but kCFAllocatorNull hands
 * out malloc memory; they exist so that product code written against Apple's
 * API can name them.
 */
#include "cf/CFRuntime.h"

#include <cstdlib>

struct __CFAllocator final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kAllocatorTypeID;
    constexpr __CFAllocator(const char *name, bool allocates)
        : Object(kTypeID, harlune::cf::Immortal{}), name(name), allocates(allocates) {}

    void describe(std::string &out, unsigned) const override {
        out += "<CFAllocator ";
        out += name;
        out += ">";
    }

    const char *const name;
    const bool allocates;
};

struct __CFNull final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kNullTypeID;
    constexpr __CFNull() : Object(kTypeID, harlune::cf::Immortal{}) {}
    void describe(std::string &out, unsigned) const override { out += "<null>"; }
};

namespace {

using harlune::cf::NoDestroy;

constinit NoDestroy<__CFAllocator> systemDefault("kCFAllocatorSystemDefault", true);
constinit NoDestroy<__CFAllocator> mallocAllocator("kCFAllocatorMalloc", true);
constinit NoDestroy<__CFAllocator> mallocZone("kCFAllocatorMallocZone", true);
constinit NoDestroy<__CFAllocator> nullAllocator("kCFAllocatorNull", false);
constinit NoDestroy<__CFAllocator> useContext("kCFAllocatorUseContext", true);
constinit NoDestroy<__CFNull> nullObject;

bool allocates(CFAllocatorRef allocator) {
    auto *known = harlune::cf::as<__CFAllocator>(allocator);
    return known == nullptr || known->allocates;
}

}  // namespace

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = &systemDefault.value;
const CFAllocatorRef kCFAllocatorMalloc = &mallocAllocator.value;
const CFAllocatorRef kCFAllocatorMallocZone = &mallocZone.value;
const CFAllocatorRef kCFAllocatorNull = &nullAllocator.value;
const CFAllocatorRef kCFAllocatorUseContext = &useContext.value;
const CFNullRef kCFNull = &nullObject.value;

CFTypeID CFAllocatorGetTypeID(void) { return __CFAllocator::kTypeID; }

CFAllocatorRef CFAllocatorGetDefault(void) { return kCFAllocatorSystemDefault; }

void *CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags) {
    if (size <= 0 || !allocates(allocator)) return nullptr;
    return malloc(static_cast<size_t>(size));
}

void *CFAllocatorReallocate(CFAllocatorRef allocator, void *ptr, CFIndex newsize, CFOptionFlags) {
    if (!allocates(allocator)) return nullptr;
    if (newsize <= 0) {
        free(ptr);
        return nullptr;
    }
    return realloc(ptr, static_cast<size_t>(newsize));
}

void CFAllocatorDeallocate(CFAllocatorRef allocator, void *ptr) {
    if (allocates(allocator)) free(ptr);
}

CFTypeID CFNullGetTypeID(void) { return __CFNull::kTypeID; }

}  // extern "C"
