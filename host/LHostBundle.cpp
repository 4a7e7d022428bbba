#include "host/LHostBundle.h"

#include "host/LCFHelpers.h"

#include <sys/stat.h>

namespace harlune::host {
namespace {

using LFactory = void* (*)(CFAllocatorRef, CFUUIDRef);

bool Fail(const std::string& szPath, const std::string& szReason, std::string* pszError) {
    if (pszError != nullptr) {
        *pszError = "cannot load driver bundle '" + szPath + "': " + szReason;
    }
    return false;
}

bool IsDirectory(const std::string& szPath) {
    struct stat st = {};
    return stat(szPath.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsFile(const std::string& szPath) {
    struct stat st = {};
    return stat(szPath.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// The name of the factory function Info.plist registers for the audio server
// plug-in type; empty when there is none.
std::string FactoryNameFor(CFBundleRef bundle) {
    CFDictionaryRef info = CFBundleGetInfoDictionary(bundle);
    if (info == nullptr) {
        return {};
    }
    CFTypeRef types = CFDictionaryGetValue(info, CFSTR("CFPlugInTypes"));
    CFTypeRef factories = CFDictionaryGetValue(info, CFSTR("CFPlugInFactories"));
    if (types == nullptr || factories == nullptr || CFGetTypeID(types) != CFDictionaryGetTypeID() ||
        CFGetTypeID(factories) != CFDictionaryGetTypeID()) {
        return {};
    }
    // Type UUIDs are compared as UUIDs, so the letter case of the key does not matter.
    LCFOwned<CFStringRef> wantedType(CFUUIDCreateString(nullptr, kAudioServerPlugInTypeUUID));
    const CFIndex nTypes = CFDictionaryGetCount(static_cast<CFDictionaryRef>(types));
    std::vector<const void*> keys(static_cast<std::size_t>(nTypes)), values(static_cast<std::size_t>(nTypes));
    CFDictionaryGetKeysAndValues(static_cast<CFDictionaryRef>(types), keys.data(), values.data());
    for (CFIndex i = 0; i < nTypes; ++i) {
        if (CFGetTypeID(keys[i]) != CFStringGetTypeID()) {
            continue;
        }
        LCFOwned<CFUUIDRef> typeUUID(CFUUIDCreateFromString(nullptr, static_cast<CFStringRef>(keys[i])));
        if (!typeUUID || !CFEqual(typeUUID.get(), kAudioServerPlugInTypeUUID) ||
            CFGetTypeID(values[i]) != CFArrayGetTypeID()) {
            continue;
        }
        CFArrayRef factoryIDs = static_cast<CFArrayRef>(values[i]);
        for (CFIndex j = 0; j < CFArrayGetCount(factoryIDs); ++j) {
            CFTypeRef factoryID = CFArrayGetValueAtIndex(factoryIDs, j);
            if (factoryID == nullptr || CFGetTypeID(factoryID) != CFStringGetTypeID()) {
                continue;
            }
            CFTypeRef name = CFDictionaryGetValue(static_cast<CFDictionaryRef>(factories), factoryID);
            if (name != nullptr && CFGetTypeID(name) == CFStringGetTypeID()) {
                return LStringFromCF(static_cast<CFStringRef>(name));
            }
        }
    }
    return {};
}

} // namespace

bool LLoadDriverBundle(const std::string& szBundlePath, LLoadedDriver* pLoaded, std::string* pszError) {
    if (pLoaded == nullptr) {
        return Fail(szBundlePath, "no place to put the loaded driver", pszError);
    }
    if (!IsDirectory(szBundlePath)) {
        return Fail(szBundlePath, "no such folder", pszError);
    }
    if (!IsFile(szBundlePath + "/Contents/Info.plist")) {
        return Fail(szBundlePath, "no Contents/Info.plist", pszError);
    }
    LCFOwned<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(szBundlePath.c_str()), static_cast<CFIndex>(szBundlePath.size()),
        true));
    CFBundleRef bundle = url ? CFBundleCreate(nullptr, url.get()) : nullptr;
    if (bundle == nullptr) {
        return Fail(szBundlePath, "Contents/Info.plist is not a readable property list", pszError);
    }
    // From here on the bundle is kept for the process's life, whatever happens.
    const std::string szFactory = FactoryNameFor(bundle);
    if (szFactory.empty()) {
        return Fail(szBundlePath, "Info.plist names no factory for the audio server plug-in type", pszError);
    }
    CFErrorRef error = nullptr;
    if (!CFBundleLoadExecutableAndReturnError(bundle, &error)) {
        std::string szReason = "the executable does not load";
        if (error != nullptr) {
            LCFOwned<CFStringRef> description(CFErrorCopyDescription(error));
            if (description) {
                szReason += ": " + LStringFromCF(description.get());
            }
            CFRelease(error);
        }
        return Fail(szBundlePath, szReason, pszError);
    }
    auto pfnFactory = reinterpret_cast<LFactory>(
        CFBundleGetFunctionPointerForName(bundle, LCFOwned<CFStringRef>(LCFString(szFactory)).get()));
    if (pfnFactory == nullptr) {
        return Fail(szBundlePath, "the executable does not export the factory " + szFactory, pszError);
    }
    void* pUnknown = pfnFactory(kCFAllocatorDefault, kAudioServerPlugInTypeUUID);
    if (pUnknown == nullptr) {
        return Fail(szBundlePath, "the factory " + szFactory + " made no object of the plug-in type", pszError);
    }
    // The object starts with an IUnknown-compatible table.
    auto* pInterface = *static_cast<AudioServerPlugInDriverInterface**>(pUnknown);
    LPVOID pDriver = nullptr;
    if (pInterface == nullptr || pInterface->QueryInterface == nullptr ||
        pInterface->QueryInterface(pUnknown, CFUUIDGetUUIDBytes(kAudioServerPlugInDriverInterfaceUUID), &pDriver) !=
            S_OK ||
        pDriver == nullptr) {
        return Fail(szBundlePath, "the plug-in does not offer the audio server driver interface", pszError);
    }
    pLoaded->bundle = bundle;
    pLoaded->driver = static_cast<AudioServerPlugInDriverRef>(pDriver);
    CFStringRef identifier = CFBundleGetIdentifier(bundle);
    pLoaded->szIdentifier = identifier != nullptr ? LStringFromCF(identifier) : std::string();
    return true;
}

} // namespace harlune::host
