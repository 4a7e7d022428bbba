// LSandboxBookmarkStore.cpp: storing bookmarks and their keys in the user
// defaults, and restoring them at launch.
#include <algorithm>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include "xml/LSandboxBookmarks.h"
#include "xml/LSandboxPaths.h"
#include "xml/LSettings.h"

namespace {

CFStringRef MakeText(const char* sz) {
    return CFStringCreateWithCString(kCFAllocatorDefault, sz, kCFStringEncodingUTF8);
}

CFStringRef AppId() {
    static const CFStringRef str = MakeText(kLSettingsApplicationId);
    return str;
}

void SetValue(const std::string& szKey, CFPropertyListRef value) {
    CFStringRef strKey = MakeText(szKey.c_str());
    if (strKey != nullptr) {
        CFPreferencesSetAppValue(strKey, value, AppId());
        CFRelease(strKey);
    }
}

CFPropertyListRef CopyValue(const std::string& szKey) {
    CFStringRef strKey = MakeText(szKey.c_str());
    if (strKey == nullptr) {
        return nullptr;
    }
    CFPropertyListRef value = CFPreferencesCopyAppValue(strKey, AppId());
    CFRelease(strKey);
    return value;
}

bool TextOf(CFTypeRef value, std::string& szOut) {
    if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) {
        return false;
    }
    char sz[1024];
    if (!CFStringGetCString(static_cast<CFStringRef>(value), sz, sizeof sz, kCFStringEncodingUTF8)) {
        return false;
    }
    szOut = sz;
    return !szOut.empty();
}

CFDataRef MakeBookmark(CFURLRef url) {
    return url != nullptr ? CFURLCreateBookmarkData(kCFAllocatorDefault, url, kCFURLBookmarkCreationWithSecurityScope,
                                                    nullptr, nullptr, nullptr)
                          : nullptr;
}

} // namespace

bool LSandboxBookmarkManager::InstanceSaveBookmarkToFile(LSandboxBookmarkItem* item, const char* key) {
    if (item == nullptr || key == nullptr || key[0] == '\0') {
        return false;
    }
    CFDataRef data = MakeBookmark(item->url);
    if (data == nullptr) {
        return false;
    }
    SetValue(key, data);
    CFRelease(data);
    if (!CFPreferencesAppSynchronize(AppId())) {
        return false;
    }
    item->bBookmarkSaved = true;
    return true;
}

bool LSandboxBookmarkManager::StoreKeys() {
    std::lock_guard<std::recursive_mutex> lock(mtxLists);
    CFMutableArrayRef arStored = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    if (arStored == nullptr) {
        return false;
    }
    for (const std::string& szKey : arKeys) {
        CFStringRef strKey = MakeText(szKey.c_str());
        if (strKey != nullptr) {
            CFArrayAppendValue(arStored, strKey);
            CFRelease(strKey);
        }
    }
    SetValue(kLSandboxBookmarkKeysKey, arStored);
    CFRelease(arStored);
    return CFPreferencesAppSynchronize(AppId());
}

bool LSandboxBookmarkManager::InstanceAddKey(const char* key) {
    if (key == nullptr || key[0] == '\0') {
        return false;
    }
    std::lock_guard<std::recursive_mutex> lock(mtxLists);
    for (const std::string& szKey : arKeys) {
        if (szKey == key) {
            return true;
        }
    }
    arKeys.emplace_back(key);
    return StoreKeys();
}

// Takes the key out of the key array and its data out of the defaults; the
// caller stores the key array afterwards.
void LSandboxBookmarkManager::DropKey(const std::string& szKey) {
    std::lock_guard<std::recursive_mutex> lock(mtxLists);
    std::erase(arKeys, szKey);
    SetValue(szKey, nullptr);
    CFPreferencesAppSynchronize(AppId());
}

bool LSandboxBookmarkManager::InstanceSaveBookmarksToFile(bool files) {
    std::lock_guard<std::recursive_mutex> lock(mtxLists);
    for (LSandboxBookmarkItem* p = files ? pFiles : pFolders; p != nullptr; p = p->pNext) {
        if (!p->bBookmarkSaved) {
            continue;
        }
        CFDataRef data = MakeBookmark(p->url);
        if (data == nullptr) {
            continue;
        }
        for (const std::string& szKey : p->CopyKeys()) {
            SetValue(szKey, data);
        }
        CFRelease(data);
    }
    return CFPreferencesAppSynchronize(AppId());
}

// Restoring: every key of "SECURITY_BOOKMARK_KEYS" whose bookmark resolves
// to an existing path becomes (or joins) an item with started access; a
// stale bookmark is stored again; every other key leaves the key array and
// the defaults. The key array is stored again whenever a key was dropped, so
// it never names data that is gone.
bool LSandboxBookmarkManager::InstanceLoadBookmarksFromFile() {
    char szContainer[260];
    if (!LSandboxGetContainer(szContainer)) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> lock(mtxLists);
    arKeys.clear();
    CFPropertyListRef value = CopyValue(kLSandboxBookmarkKeysKey);
    if (value != nullptr && CFGetTypeID(value) == CFArrayGetTypeID()) {
        const auto arStored = static_cast<CFArrayRef>(value);
        for (CFIndex i = 0; i < CFArrayGetCount(arStored); ++i) {
            std::string szKey;
            if (TextOf(CFArrayGetValueAtIndex(arStored, i), szKey) && std::find(arKeys.begin(), arKeys.end(), szKey) == arKeys.end()) {
                arKeys.push_back(szKey);
            }
        }
    }
    if (value != nullptr) {
        CFRelease(value);
    }

    bool bChanged = false;
    bool bKeysChanged = false;
    for (const std::string& szKey : std::vector<std::string>(arKeys)) {
        CFPropertyListRef data = CopyValue(szKey);
        if (data == nullptr || CFGetTypeID(data) != CFDataGetTypeID() ||
            CFDataGetLength(static_cast<CFDataRef>(data)) == 0) {
            if (data != nullptr) {
                CFRelease(data);
            }
            DropKey(szKey);
            bKeysChanged = true;
            continue;
        }
        Boolean bStale = false;
        CFURLRef url = CFURLCreateByResolvingBookmarkData(kCFAllocatorDefault, static_cast<CFDataRef>(data),
                                                          kCFURLBookmarkResolutionWithSecurityScope, nullptr,
                                                          nullptr, &bStale, nullptr);
        CFRelease(data);
        char szPath[260];
        struct stat st {};
        if (url == nullptr ||
            !CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8*>(szPath), sizeof szPath) ||
            stat(szPath, &st) != 0) {
            if (url != nullptr) {
                CFRelease(url);
            }
            DropKey(szKey);
            bKeysChanged = bChanged = true;
            continue;
        }
        // A path stored under several keys is one grant with several keys.
        LSandboxBookmarkItem*& pList = S_ISREG(st.st_mode) ? pFiles : pFolders;
        if (LSandboxBookmarkItem* pExisting = FindIn(pList, szPath); pExisting != nullptr) {
            CFRelease(url);
            pExisting->AddKey(szKey.c_str());
            if (bStale && !InstanceSaveBookmarkToFile(pExisting, szKey.c_str())) {
                pExisting->RemoveKey(szKey.c_str());
                DropKey(szKey);
                bKeysChanged = bChanged = true;
            }
            continue;
        }
        auto* pItem = new LSandboxBookmarkItem(url);
        CFRelease(url);
        std::strcpy(pItem->szPath, szPath);
        pItem->bBookmarkSaved = true;
        pItem->AddKey(szKey.c_str());
        if (bStale && !InstanceSaveBookmarkToFile(pItem, szKey.c_str())) {
            delete pItem;
            DropKey(szKey);
            bKeysChanged = bChanged = true;
            continue;
        }
        // A bookmark stored again is usable at once, so its access starts
        // like that of a fresh one.
        if (!pItem->StartAccessingSecurityScopedResource()) {
            delete pItem;
            continue;
        }
        pItem->pNext = pList;
        pList = pItem;
    }
    if (bKeysChanged) {
        StoreKeys();
    }
    if (bChanged) {
        InstanceSaveBookmarksToFile(true);
        InstanceSaveBookmarksToFile(false);
    }
    return true;
}
