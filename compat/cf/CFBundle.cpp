/*
 * Bundles: a folder with Contents/Info.plist, an executable under
 * Contents/Linux and resources under Contents/Resources. Every bundle made
 * is kept in a process-wide registry, so it can be found by identifier and
 * so that the unowned references Apple's API hands out stay valid.
 */
#include <CoreFoundation/CFBundle.h>

#include "cf/CFRuntime.h"
#include "cf/CFStringInternal.h"
#include "cf/ErrorSupport.h"

#include <CoreFoundation/CFPropertyList.h>

#include <dlfcn.h>
#include <fstream>
#include <limits.h>
#include <mutex>
#include <sys/stat.h>
#include <vector>

extern "C" {
const CFStringRef kCFBundleInfoDictionaryVersionKey = CFSTR("CFBundleInfoDictionaryVersion");
const CFStringRef kCFBundleExecutableKey = CFSTR("CFBundleExecutable");
const CFStringRef kCFBundleIdentifierKey = CFSTR("CFBundleIdentifier");
const CFStringRef kCFBundleVersionKey = CFSTR("CFBundleVersion");
const CFStringRef kCFBundleNameKey = CFSTR("CFBundleName");
}

namespace {

/* The folder under Contents that holds the executable, Contents/MacOS on Apple's platforms. */
constexpr const char *kExecutableFolder = "/Contents/Linux/";
constexpr const char *kResourcesFolder = "/Contents/Resources";
/* Larger Info.plist files are refused rather than read into memory. */
constexpr std::streamsize kMaxInfoPlistSize = 16 << 20;

bool exists(const std::string &path, bool *isDirectory = nullptr) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return false;
    if (isDirectory != nullptr) *isDirectory = S_ISDIR(info.st_mode);
    return true;
}

CFURLRef urlForPath(const std::string &path, bool isDirectory) {
    return CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8 *>(path.data()),
                                                   static_cast<CFIndex>(path.size()), isDirectory);
}

/* Reads and parses Contents/Info.plist; NULL unless it holds a dictionary. */
CFDictionaryRef readInfoDictionary(const std::string &bundlePath) {
    const std::string path = bundlePath + "/Contents/Info.plist";
    // Only a regular file: opening a FIFO or device could block or never end.
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > kMaxInfoPlistSize) return nullptr;
    std::ifstream file(path, std::ios::binary);
    if (!file) return nullptr;
    std::string bytes;
    char chunk[4096];
    while (file.read(chunk, sizeof chunk) || file.gcount() > 0) {
        bytes.append(chunk, static_cast<size_t>(file.gcount()));
        if (static_cast<std::streamsize>(bytes.size()) > kMaxInfoPlistSize) return nullptr;
    }
    CFDataRef data = CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(bytes.data()),
                                  static_cast<CFIndex>(bytes.size()));
    CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
    CFRelease(data);
    if (CFGetTypeID(plist) != CFDictionaryGetTypeID()) {
        CFRelease(plist);
        return nullptr;
    }
    return static_cast<CFDictionaryRef>(plist);
}

}  // namespace

struct __CFBundle final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kBundleTypeID;

    __CFBundle(std::string path, CFDictionaryRef info) : Object(kTypeID), path(std::move(path)), info(info) {}
    ~__CFBundle() override { CFRelease(info); }

    void describe(std::string &out, unsigned) const override {
        out += "CFBundle <" + path + "> (" + (isLoaded() ? "executable loaded" : "not loaded") + ")";
    }

    CFStringRef identifier() const {
        CFTypeRef value = CFDictionaryGetValue(info, kCFBundleIdentifierKey);
        return CFGetTypeID(value) == CFStringGetTypeID() ? static_cast<CFStringRef>(value) : nullptr;
    }

    /* The executable's path from the info dictionary, whether or not it exists. */
    std::string executablePath() const {
        if (!mainExecutable.empty()) return mainExecutable;
        const std::string_view name = harlune::cf::stringText(CFDictionaryGetValue(info, kCFBundleExecutableKey));
        return name.empty() ? std::string() : path + kExecutableFolder + std::string(name);
    }

    bool isLoaded() const {
        std::lock_guard<std::mutex> guard(lock);
        return handle != nullptr;
    }

    const std::string path;  // no trailing "/"
    const CFDictionaryRef info;
    std::string mainExecutable;  // the running program, for a main bundle that is a plain folder; else empty
    mutable std::mutex lock;  // guards handle
    void *handle = nullptr;
};

namespace {

using harlune::cf::as;

struct Registry {
    std::mutex lock;
    std::vector<__CFBundle *> bundles;  // each holds one reference, never given up
};

Registry &registry() {
    // Never destroyed: unowned bundle references must stay valid until exit.
    static Registry *instance = new Registry;
    return *instance;
}

bool load(__CFBundle *bundle, CFErrorRef *error) {
    std::lock_guard<std::mutex> guard(bundle->lock);
    if (bundle->handle != nullptr) return true;
    const std::string executable = bundle->executablePath();
    if (executable.empty()) {
        harlune::cf::reportError(error, kCFErrorDomainCocoa, 4,
                                 "The bundle at " + bundle->path + " names no executable (CFBundleExecutable).",
                                 bundle->path);
        return false;
    }
    if (!exists(executable)) {
        harlune::cf::reportError(error, kCFErrorDomainCocoa, 4,
                                 "The bundle's executable " + executable + " does not exist.", executable);
        return false;
    }
    dlerror();
    bundle->handle = dlopen(executable.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (bundle->handle == nullptr) {
        const char *reason = dlerror();
        harlune::cf::reportError(error, kCFErrorDomainCocoa, 3587,
                                 "The bundle's executable " + executable + " could not be loaded: " +
                                     (reason != nullptr ? reason : "unknown reason"),
                                 executable);
        return false;
    }
    return true;
}

void *lookUp(CFBundleRef bundleRef, CFStringRef name) {
    auto *bundle = as<__CFBundle>(bundleRef);
    const std::string symbol(harlune::cf::stringText(name));
    if (bundle == nullptr || symbol.empty() || !load(bundle, nullptr)) return nullptr;
    std::lock_guard<std::mutex> guard(bundle->lock);
    return bundle->handle == nullptr ? nullptr : dlsym(bundle->handle, symbol.c_str());
}

}  // namespace

extern "C" {

CFTypeID CFBundleGetTypeID(void) { return __CFBundle::kTypeID; }

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef bundleURL) {
    return harlune::cf::guarded<CFBundleRef>(nullptr, [&]() -> CFBundleRef {
        char buffer[PATH_MAX];
        if (!CFURLGetFileSystemRepresentation(bundleURL, true, reinterpret_cast<UInt8 *>(buffer), sizeof buffer)) {
            return nullptr;
        }
        std::string path(buffer);
        if (path.size() > 1 && path.back() == '/') path.pop_back();

        Registry &reg = registry();
        // Held while reading, so two threads opening one folder share one bundle.
        std::lock_guard<std::mutex> guard(reg.lock);
        for (__CFBundle *bundle : reg.bundles) {
            if (bundle->path == path) {
                bundle->retain();
                return bundle;
            }
        }
        bool isDirectory = false;
        if (!exists(path, &isDirectory) || !isDirectory) return nullptr;
        CFDictionaryRef info = readInfoDictionary(path);
        if (info == nullptr) return nullptr;
        auto *bundle = harlune::cf::make<__CFBundle>(path, info);
        if (bundle == nullptr) {
            CFRelease(info);
            return nullptr;
        }
        try {
            reg.bundles.push_back(bundle);
        } catch (...) {
            CFRelease(bundle);
            return nullptr;
        }
        bundle->retain();  // one reference for the registry, one for the caller
        return bundle;
    });
}

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID) {
    if (as<__CFString>(bundleID) == nullptr) return nullptr;
    Registry &reg = registry();
    std::lock_guard<std::mutex> guard(reg.lock);
    __CFBundle *match = nullptr;
    for (__CFBundle *bundle : reg.bundles) {
        if (!CFEqual(bundle->identifier(), bundleID)) continue;
        if (bundle->isLoaded()) return bundle;
        if (match == nullptr) match = bundle;
    }
    return match;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef bundle) {
    auto *b = as<__CFBundle>(bundle);
    return b == nullptr ? nullptr : b->identifier();
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle) {
    auto *b = as<__CFBundle>(bundle);
    return b == nullptr ? nullptr : b->info;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key) {
    auto *b = as<__CFBundle>(bundle);
    return b == nullptr ? nullptr : CFDictionaryGetValue(b->info, key);
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        auto *b = as<__CFBundle>(bundle);
        return b == nullptr ? nullptr : urlForPath(b->path, true);
    });
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        auto *b = as<__CFBundle>(bundle);
        if (b == nullptr) return nullptr;
        const std::string path = b->executablePath();
        bool isDirectory = false;
        if (path.empty() || !exists(path, &isDirectory) || isDirectory) return nullptr;
        return urlForPath(path, false);
    });
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        auto *b = as<__CFBundle>(bundle);
        return b == nullptr ? nullptr : urlForPath(b->path + kResourcesFolder, true);
    });
}

CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef resourceName, CFStringRef resourceType,
                                 CFStringRef subDirName) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        auto *b = as<__CFBundle>(bundle);
        const std::string_view name = harlune::cf::stringText(resourceName);
        if (b == nullptr || name.empty()) return nullptr;
        std::string path = b->path + kResourcesFolder + "/";
        if (const std::string_view subDir = harlune::cf::stringText(subDirName); !subDir.empty()) {
            path.append(subDir);
            path.push_back('/');
        }
        path.append(name);
        std::string_view type = harlune::cf::stringText(resourceType);
        if (type.starts_with('.')) type.remove_prefix(1);
        if (!type.empty()) {
            path.push_back('.');
            path.append(type);
        }
        bool isDirectory = false;
        if (!exists(path, &isDirectory)) return nullptr;
        return urlForPath(path, isDirectory);
    });
}

Boolean CFBundleLoadExecutable(CFBundleRef bundle) { return CFBundleLoadExecutableAndReturnError(bundle, nullptr); }

Boolean CFBundleLoadExecutableAndReturnError(CFBundleRef bundle, CFErrorRef *error) {
    return harlune::cf::guarded<Boolean>(false, [&]() -> Boolean {
        if (error != nullptr) *error = nullptr;
        auto *b = as<__CFBundle>(bundle);
        if (b == nullptr) {
            harlune::cf::reportError(error, kCFErrorDomainCocoa, 3587, "Not a bundle.");
            return false;
        }
        return load(b, error);
    });
}

Boolean CFBundleIsExecutableLoaded(CFBundleRef bundle) {
    auto *b = as<__CFBundle>(bundle);
    return b != nullptr && b->isLoaded();
}

void CFBundleUnloadExecutable(CFBundleRef bundle) {
    auto *b = as<__CFBundle>(bundle);
    if (b == nullptr) return;
    std::lock_guard<std::mutex> guard(b->lock);
    if (b->handle != nullptr) dlclose(b->handle);
    b->handle = nullptr;
}

void *CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef functionName) {
    return harlune::cf::guarded<void *>(nullptr, [&]() -> void * {
        return lookUp(bundle, functionName);
    });
}

void *CFBundleGetDataPointerForName(CFBundleRef bundle, CFStringRef symbolName) {
    return harlune::cf::guarded<void *>(nullptr, [&]() -> void * {
     return lookUp(bundle, symbolName); 
    });
}

}  // extern "C"

/*
 * The running program's bundle: the bundle folder when the executable sits
 * in NAME/Contents/Linux/, else the executable's folder with the executable
 * as its only content. Made once; never released.
 */
CFBundleRef CFBundleGetMainBundle(void) {
    static CFBundleRef gMain = []() -> CFBundleRef {
        char buffer[PATH_MAX];
        const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
        if (n <= 0) return nullptr;
        const std::string executable(buffer, static_cast<size_t>(n));
        const size_t slash = executable.rfind('/');
        const std::string folder = slash == 0 ? std::string("/") : executable.substr(0, slash);
        const std::string suffix = "/Contents/Linux";
        if (folder.size() > suffix.size() && folder.compare(folder.size() - suffix.size(), suffix.size(), suffix) == 0) {
            CFURLRef url = urlForPath(folder.substr(0, folder.size() - suffix.size()), true);
            CFBundleRef bundle = url ? CFBundleCreate(nullptr, url) : nullptr;
            if (url) CFRelease(url);
            if (bundle != nullptr) return bundle;
        }
        CFStringRef name = harlune::cf::makeString(executable.substr(slash + 1));
        const void *keys[] = {kCFBundleExecutableKey};
        const void *values[] = {name};
        CFDictionaryRef info = CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks,
                                                  &kCFTypeDictionaryValueCallBacks);
        CFRelease(name);
        auto *bundle = new __CFBundle(folder, info);
        bundle->mainExecutable = executable;
        return bundle;
    }();
    return gMain;
}
