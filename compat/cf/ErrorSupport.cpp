#include "cf/ErrorSupport.h"

#include "cf/CFStringInternal.h"

namespace harlune::cf {

namespace {

CFErrorRef createError(CFErrorDomain domain, CFIndex code, const std::string &description,
                       const std::string &filePath) {
    CFMutableDictionaryRef info =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    if (info == nullptr) return nullptr;
    if (CFStringRef text = makeString(description)) {
        CFDictionarySetValue(info, kCFErrorLocalizedDescriptionKey, text);
        CFRelease(text);
    }
    if (!filePath.empty()) {
        if (CFStringRef path = makeString(filePath)) {
            CFDictionarySetValue(info, kCFErrorFilePathKey, path);
            CFRelease(path);
        }
    }
    CFErrorRef error = CFErrorCreate(nullptr, domain, code, info);
    CFRelease(info);
    return error;
}

}  // namespace

void reportError(CFErrorRef *out, CFErrorDomain domain, CFIndex code, const std::string &description,
                 const std::string &filePath) {
    if (out == nullptr) return;
    *out = guarded<CFErrorRef>(nullptr, [&] { return createError(domain, code, description, filePath); });
}

}  // namespace harlune::cf
