/*
 * The object model shared by every CF type: reference counting and the
 * polymorphic functions of CFBase.h.
 */
#include "cf/CFRuntime.h"

#include "cf/CFStringInternal.h"

#include <cinttypes>
#include <cstdio>

namespace harlune::cf {

Object::~Object() = default;

void Object::retain() const {
    if (immortal_) return;
    // Taking a new reference needs no ordering: the caller already holds one.
    refs_.fetch_add(1, std::memory_order_relaxed);
}

void Object::release() const {
    if (immortal_) return;
    // Release ordering publishes this thread's use of the object to the
    // thread that frees it, and acquire ordering makes that use visible
    // there. (acq_rel on the decrement rather than a separate fence, which
    // ThreadSanitizer cannot follow.)
    if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

CFIndex Object::retainCount() const {
    if (immortal_) return kCFRetainCountImmortal;
    return refs_.load(std::memory_order_relaxed);
}

bool Object::equals(const Object &other) const { return this == &other; }

CFHashCode Object::hash() const { return reinterpret_cast<uintptr_t>(this); }

void Object::describe(std::string &out, unsigned) const {
    char text[64];
    snprintf(text, sizeof text, "<CFType %p>", static_cast<const void *>(this));
    out += text;
}

void describeValue(std::string &out, CFTypeRef value, unsigned depth) {
    if (value == nullptr) {
        out += "(null)";
    } else if (depth > kMaxDescriptionDepth) {
        out += "...";
    } else {
        object(value)->describe(out, depth);
    }
}

void describeElement(std::string &out, const void *value, unsigned depth, CFStringRef (*copyDescription)(const void *)) {
    if (copyDescription == CFCopyDescription) {
        describeValue(out, value, depth);
    } else if (copyDescription != nullptr) {
        CFStringRef description = copyDescription(value);
        out += stringText(description);
        CFRelease(description);
    } else {
        char text[32];
        snprintf(text, sizeof text, "<%p>", value);
        out += text;
    }
}

void appendIndent(std::string &out, unsigned depth) { out.append(4 * static_cast<size_t>(depth), ' '); }

CFHashCode hashBytes(const void *bytes, size_t length) {
    // FNV-1a: simple, and good enough for the short keys CF collections hold.
    const auto *p = static_cast<const unsigned char *>(bytes);
    uint64_t hash = 0xcbf29ce484222325ULL;
    for (size_t i = 0; i < length; ++i) {
        hash ^= p[i];
        hash *= 0x100000001b3ULL;
    }
    return static_cast<CFHashCode>(hash);
}

}  // namespace harlune::cf

using namespace harlune::cf;

extern "C" {

CFTypeID CFGetTypeID(CFTypeRef cf) { return cf == nullptr ? kNotATypeID : object(cf)->typeID(); }

CFStringRef CFCopyTypeIDDescription(CFTypeID typeID) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        static const char *const names[kTypeIDCount] = {
            nullptr,    "CFType", "CFAllocator", "CFNull", "CFString", "CFBoolean", "CFNumber", "CFUUID",
            "CFData", "CFDate", "CFArray",     "CFDictionary", "CFURL", "CFError", "CFBundle",
            "CFRunLoop",
            "CFLocale",
        };
        if (typeID >= kTypeIDCount || names[typeID] == nullptr) return nullptr;
        return makeString(names[typeID]);
    });
}

CFTypeRef CFRetain(CFTypeRef cf) {
    if (cf != nullptr) object(cf)->retain();
    return cf;
}

void CFRelease(CFTypeRef cf) {
    if (cf != nullptr) object(cf)->release();
}

CFIndex CFGetRetainCount(CFTypeRef cf) { return cf == nullptr ? 0 : object(cf)->retainCount(); }

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
    if (cf1 == nullptr || cf2 == nullptr) return false;
    if (cf1 == cf2) return true;
    const Object *a = object(cf1);
    const Object *b = object(cf2);
    return a->typeID() == b->typeID() && a->equals(*b);
}

CFHashCode CFHash(CFTypeRef cf) { return cf == nullptr ? 0 : object(cf)->hash(); }

CFStringRef CFCopyDescription(CFTypeRef cf) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        // A string describes itself; sharing it saves a copy.
        if (auto *string = as<__CFString>(cf); string != nullptr && !string->isMutable) {
            return static_cast<CFStringRef>(CFRetain(string));
        }
        std::string text;
        describeValue(text, cf, 0);
        return makeStringLenient(text);
    });
}

CFAllocatorRef CFGetAllocator(CFTypeRef cf) { return cf == nullptr ? nullptr : kCFAllocatorSystemDefault; }

void CFShow(CFTypeRef obj) {
    harlune::cf::guarded([&] {
        std::string text;
        describeValue(text, obj, 0);
        text.push_back('\n');
        fwrite(text.data(), 1, text.size(), stderr);
    });
}

}  // extern "C"
