/*
 * The public property-list functions: format dispatch, errors, validation
 * and deep copies. The XML work is in PropertyListReader/Writer.
 */
#include <CoreFoundation/CFPropertyList.h>

#include "cf/CFStringInternal.h"
#include "cf/ErrorSupport.h"
#include "cf/PropertyListXML.h"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>

#include <vector>

using namespace harlune::cf;

namespace {

bool isValid(CFTypeRef plist, CFPropertyListFormat format, unsigned depth) {
    if (plist == nullptr || depth >= kMaxPropertyListDepth) return false;
    const CFTypeID type = CFGetTypeID(plist);
    if (type == CFStringGetTypeID() || type == CFDataGetTypeID()) return true;
    // The OpenStep format can only hold strings, data, arrays and dictionaries.
    if (type == CFNumberGetTypeID() || type == CFBooleanGetTypeID() || type == CFDateGetTypeID()) {
        return format != kCFPropertyListOpenStepFormat;
    }
    if (type == CFArrayGetTypeID()) {
        auto array = static_cast<CFArrayRef>(plist);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            if (!isValid(CFArrayGetValueAtIndex(array, i), format, depth + 1)) return false;
        }
        return true;
    }
    if (type == CFDictionaryGetTypeID()) {
        auto dict = static_cast<CFDictionaryRef>(plist);
        const auto count = static_cast<size_t>(CFDictionaryGetCount(dict));
        std::vector<const void *> keys(count), values(count);
        CFDictionaryGetKeysAndValues(dict, keys.data(), values.data());
        for (size_t i = 0; i < count; ++i) {
            if (CFGetTypeID(keys[i]) != CFStringGetTypeID() || !isValid(values[i], format, depth + 1)) return false;
        }
        return true;
    }
    return false;
}

CFPropertyListRef deepCopy(CFTypeRef plist, CFOptionFlags options, unsigned depth) {
    if (plist == nullptr || depth >= kMaxPropertyListDepth) return nullptr;
    const bool mutableLeaves = options & kCFPropertyListMutableContainersAndLeaves;
    const bool mutableContainers = mutableLeaves || (options & kCFPropertyListMutableContainers);
    const CFTypeID type = CFGetTypeID(plist);
    if (type == CFStringGetTypeID()) {
        auto string = static_cast<CFStringRef>(plist);
        return mutableLeaves ? CFStringCreateMutableCopy(nullptr, 0, string) : CFStringCreateCopy(nullptr, string);
    }
    if (type == CFDataGetTypeID()) {
        auto data = static_cast<CFDataRef>(plist);
        return mutableLeaves ? CFDataCreateMutableCopy(nullptr, 0, data) : CFDataCreateCopy(nullptr, data);
    }
    if (type == CFNumberGetTypeID() || type == CFBooleanGetTypeID() || type == CFDateGetTypeID()) {
        return CFRetain(plist);  // immutable already
    }
    if (type == CFArrayGetTypeID()) {
        auto array = static_cast<CFArrayRef>(plist);
        CFMutableArrayRef copy = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
        for (CFIndex i = 0; copy != nullptr && i < CFArrayGetCount(array); ++i) {
            CFPropertyListRef item = deepCopy(CFArrayGetValueAtIndex(array, i), options, depth + 1);
            if (item == nullptr) {
                CFRelease(copy);
                return nullptr;
            }
            CFArrayAppendValue(copy, item);
            CFRelease(item);
        }
        if (copy == nullptr || mutableContainers) return copy;
        CFArrayRef immutable = CFArrayCreateCopy(nullptr, copy);
        CFRelease(copy);
        return immutable;
    }
    if (type == CFDictionaryGetTypeID()) {
        auto dict = static_cast<CFDictionaryRef>(plist);
        const auto count = static_cast<size_t>(CFDictionaryGetCount(dict));
        std::vector<const void *> keys(count), values(count);
        CFDictionaryGetKeysAndValues(dict, keys.data(), values.data());
        CFMutableDictionaryRef copy = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                &kCFTypeDictionaryValueCallBacks);
        for (size_t i = 0; copy != nullptr && i < count; ++i) {
            CFPropertyListRef item = deepCopy(values[i], options, depth + 1);
            if (item == nullptr || CFGetTypeID(keys[i]) != CFStringGetTypeID()) {
                CFRelease(item);
                CFRelease(copy);
                return nullptr;
            }
            CFDictionarySetValue(copy, keys[i], item);
            CFRelease(item);
        }
        if (copy == nullptr || mutableContainers) return copy;
        CFDictionaryRef immutable = CFDictionaryCreateCopy(nullptr, copy);
        CFRelease(copy);
        return immutable;
    }
    return nullptr;
}

}  // namespace

extern "C" {

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags options,
                                               CFPropertyListFormat *format, CFErrorRef *error) {
    return harlune::cf::guarded<CFPropertyListRef>(nullptr, [&]() -> CFPropertyListRef {
        if (error != nullptr) *error = nullptr;
        if (CFGetTypeID(data) != CFDataGetTypeID()) {
            reportError(error, kCFErrorDomainCocoa, kCFPropertyListReadCorruptError, "No property-list data to read.");
            return nullptr;
        }
        const std::string_view bytes(reinterpret_cast<const char *>(CFDataGetBytePtr(data)),
                                     static_cast<size_t>(CFDataGetLength(data)));
        if (bytes.starts_with("bplist")) {
            reportError(error, kCFErrorDomainCocoa, kCFPropertyListReadUnknownVersionError,
                        "Binary property lists are not supported; only XML can be read.");
            return nullptr;
        }
        std::string reason;
        CFPropertyListRef plist = parseXMLPropertyList(bytes, options, reason);
        if (plist == nullptr) {
            reportError(error, kCFErrorDomainCocoa, kCFPropertyListReadCorruptError, reason);
            return nullptr;
        }
        if (format != nullptr) *format = kCFPropertyListXMLFormat_v1_0;
        return plist;
    });
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef propertyList, CFPropertyListFormat format,
                                   CFOptionFlags, CFErrorRef *error) {
    return harlune::cf::guarded<CFDataRef>(nullptr, [&]() -> CFDataRef {
        if (error != nullptr) *error = nullptr;
        if (format != kCFPropertyListXMLFormat_v1_0) {
            reportError(error, kCFErrorDomainCocoa, kCFPropertyListWriteStreamError,
                        "Only the XML property-list format can be written.");
            return nullptr;
        }
        std::string xml, reason;
        if (!writeXMLPropertyList(propertyList, xml, reason)) {
            reportError(error, kCFErrorDomainCocoa, kCFPropertyListWriteStreamError,
                        "Cannot write the property list: " + reason + ".");
            return nullptr;
        }
        return CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(xml.data()), static_cast<CFIndex>(xml.size()));
    });
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef propertyList,
                                               CFOptionFlags mutabilityOption) {
    return harlune::cf::guarded<CFPropertyListRef>(nullptr, [&]() -> CFPropertyListRef {
        return deepCopy(propertyList, mutabilityOption, 0);
    });
}

Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format) {
    return harlune::cf::guarded<Boolean>(false, [&]() -> Boolean {
        return isValid(plist, format, 0);
    });
}

}  // extern "C"
