// LSandboxBookmarks.cpp: the grant items, their lists, and their bookmarks
// in the user defaults.
#include "xml/LSandboxBookmarks.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <strings.h>
#include <sys/stat.h>

#include "xml/LSandboxPaths.h"

LSandboxBookmarkManager* LSandboxBookmarkManager::pInstance = nullptr;

namespace {

bool IsRegularFile(const char* path) {
    struct stat st {};
    return stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

} // namespace

// ---------------------------------------------------------------- item

LSandboxBookmarkItem::LSandboxBookmarkItem(CFURLRef urlGiven) : url(urlGiven) {
    if (url != nullptr) {
        CFRetain(url);
    }
    // Most items carry one or two keys; reserving avoids regrowth for the rest.
    lKeys.reserve(255);
}

LSandboxBookmarkItem::~LSandboxBookmarkItem() {
    StopAccessingSecurityScopedResource();
    if (url != nullptr) {
        CFRelease(url);
    }
}

bool LSandboxBookmarkItem::StartAccessingSecurityScopedResource() {
    std::lock_guard<std::recursive_mutex> lock(mtxKeys);
    if (!bAccessStarted && url != nullptr) {
        bAccessStarted = CFURLStartAccessingSecurityScopedResource(url);
    }
    return bAccessStarted;
}

bool LSandboxBookmarkItem::StopAccessingSecurityScopedResource() {
    std::lock_guard<std::recursive_mutex> lock(mtxKeys);
    if (bAccessStarted && url != nullptr) {
        CFURLStopAccessingSecurityScopedResource(url);
    }
    bAccessStarted = false;
    return true;
}

bool LSandboxBookmarkItem::AddKey(const char* key) {
    if (key == nullptr) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> lock(mtxKeys);
    if (std::find(lKeys.begin(), lKeys.end(), key) != lKeys.end()) {
        return false;
    }
    lKeys.emplace_back(key);
    ++nUseCount;
    return true;
}

bool LSandboxBookmarkItem::RemoveKey(const char* key) {
    if (key == nullptr) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> lock(mtxKeys);
    const auto it = std::find(lKeys.begin(), lKeys.end(), key);
    if (it == lKeys.end()) {
        return false;
    }
    lKeys.erase(it);
    --nUseCount;
    return true;
}

void LSandboxBookmarkItem::CopyFrom(const LSandboxBookmarkItem& item) {
    if (&item == this) {
        return;
    }
    std::scoped_lock lock(mtxKeys, item.mtxKeys);
    std::memcpy(szPath, item.szPath, sizeof szPath);
    if (item.url != nullptr) {
        CFRetain(item.url);
    }
    if (url != nullptr) {
        if (bAccessStarted) {
            CFURLStopAccessingSecurityScopedResource(url);
            bAccessStarted = false;
        }
        CFRelease(url);
    }
    url = item.url;
    bFlag = item.bFlag;
    bBookmarkSaved = item.bBookmarkSaved;
    lKeys = item.lKeys;
    nUseCount = item.nUseCount;
}

std::vector<std::string> LSandboxBookmarkItem::CopyKeys() const {
    std::lock_guard<std::recursive_mutex> lock(mtxKeys);
    return lKeys;
}

// ---------------------------------------------------------------- manager

LSandboxBookmarkManager* LSandboxBookmarkManager::Create() {
    // The Downloads, Movies, Music and Pictures folders that Apple's
    // platform can grant by entitlement have no such meaning on Linux, so
    // construction only restores the stored bookmarks.
    if (pInstance == nullptr) {
        pInstance = new LSandboxBookmarkManager();
        pInstance->InstanceLoadBookmarksFromFile();
    }
    return pInstance;
}

void LSandboxBookmarkManager::Destroy() {
    delete pInstance;
    pInstance = nullptr;
}

LSandboxBookmarkManager::~LSandboxBookmarkManager() {
    for (LSandboxBookmarkItem* pList : {pFiles, pFolders}) {
        while (pList != nullptr) {
            LSandboxBookmarkItem* pNext = pList->pNext;
            delete pList;
            pList = pNext;
        }
    }
}

bool LSandboxBookmarkManager::IsAccessAllowedByEntitlement(const char* path, bool /*bForWriting*/) {
    char szContainer[260];
    if (!LSandboxGetContainer(szContainer)) {
        return true;
    }
    if (path == nullptr || !LFile::IsPathInSandbox(path)) {
        return false;
    }
    char szOutside[260];
    return !LFile::MakeNonSandboxedFilePath(szOutside, path);
}

LSandboxBookmarkItem*& LSandboxBookmarkManager::ListFor(const char* path) {
    return IsRegularFile(path) ? pFiles : pFolders;
}

LSandboxBookmarkItem* LSandboxBookmarkManager::FindIn(LSandboxBookmarkItem* pList, const char* path) {
    for (LSandboxBookmarkItem* p = pList; p != nullptr; p = p->pNext) {
        if (strcasecmp(p->szPath, path) == 0) {
            return p;
        }
    }
    return nullptr;
}

template <typename Use>
bool LSandboxBookmarkManager::WithItem(const char* path, Use use) {
    LSandboxBookmarkManager* pManager = pInstance;
    if (pManager == nullptr || path == nullptr) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> lock(pManager->mtxLists);
    LSandboxBookmarkItem* pItem = pManager->InstanceGetBookmark(path);
    if (pItem == nullptr) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> lockItem(pItem->mtxKeys);
    return use(*pItem);
}

bool LSandboxBookmarkManager::AddFilePath(const char* path, CFURLRef url, bool save, bool flag, const char* key) {
    if (path == nullptr || path[0] == '\0' || std::strlen(path) >= sizeof LSandboxBookmarkItem::szPath) {
        return false;
    }
    if (IsAccessAllowedByEntitlement(path, true)) {
        return true;
    }
    LSandboxBookmarkManager* pManager = pInstance;
    if (pManager == nullptr || (save && key == nullptr)) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> lock(pManager->mtxLists);
    LSandboxBookmarkItem*& pList = pManager->ListFor(path);
    if (FindIn(pList, path) != nullptr) {
        return true;
    }
    CFURLRef urlMade = nullptr;
    if (url == nullptr) {
        urlMade = CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path),
                                                          static_cast<CFIndex>(std::strlen(path)),
                                                          !IsRegularFile(path));
        url = urlMade;
    }
    auto* pItem = new LSandboxBookmarkItem(url);
    if (urlMade != nullptr) {
        CFRelease(urlMade);
    }
    if (!pItem->StartAccessingSecurityScopedResource()) {
        delete pItem;
        return false;
    }
    std::strcpy(pItem->szPath, path);
    pItem->bFlag = flag;
    pItem->pNext = pList;
    pList = pItem;
    if (save && pManager->InstanceSaveBookmarkToFile(pItem, key)) {
        pManager->InstanceAddKey(key);
        pItem->AddKey(key);
    }
    return true;
}

bool LSandboxBookmarkManager::AddFilePathToSettings(const char* path, bool flag, const char* key) {
    if (path == nullptr || key == nullptr || IsAccessAllowedByEntitlement(path, true)) {
        return false;
    }
    LSandboxBookmarkManager* pManager = pInstance;
    if (pManager == nullptr) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> lock(pManager->mtxLists);
    LSandboxBookmarkItem* pItem = pManager->InstanceGetBookmark(path);
    if (pItem == nullptr || !pManager->InstanceSaveBookmarkToFile(pItem, key)) {
        return false;
    }
    // The flag of an item stays the one it was granted with; a later store
    // of its bookmark does not change what the grant was for.
    (void)flag;
    pItem->AddKey(key);
    pManager->InstanceAddKey(key);
    return true;
}

bool LSandboxBookmarkManager::StartAccessingSecurityScopedResource(const char* path) {
    return WithItem(path, [](LSandboxBookmarkItem& item) {
        return !item.bAccessStarted && item.StartAccessingSecurityScopedResource();
    });
}

bool LSandboxBookmarkManager::StopAccessingSecurityScopedResource(const char* path) {
    return WithItem(path, [](LSandboxBookmarkItem& item) {
        return item.bAccessStarted && item.StopAccessingSecurityScopedResource();
    });
}

bool LSandboxBookmarkManager::IsAccessStarted(const char* path) {
    return WithItem(path, [](LSandboxBookmarkItem& item) { return item.bAccessStarted; });
}

bool LSandboxBookmarkManager::Retain(const char* path) {
    return WithItem(path, [](LSandboxBookmarkItem& item) {
        ++item.nUseCount;
        return true;
    });
}

bool LSandboxBookmarkManager::Release(const char* path) {
    LSandboxBookmarkManager* pManager = pInstance;
    if (pManager == nullptr) {
        return false;
    }
    // Held across the count and the removal, so no Retain comes between.
    std::lock_guard<std::recursive_mutex> lock(pManager->mtxLists);
    LSandboxBookmarkItem* pDone = nullptr;
    const bool bFound = WithItem(path, [&pDone](LSandboxBookmarkItem& item) {
        if (--item.nUseCount <= 0) {
            pDone = &item;
        }
        return true;
    });
    if (pDone != nullptr) {
        // Forget the grant wholly, so the lists and the stored keys agree.
        for (const std::string& szKey : pDone->CopyKeys()) {
            pManager->DropKey(szKey);
        }
        pManager->StoreKeys();
        pManager->Unlink(pDone);
        delete pDone;
    }
    return bFound;
}

void LSandboxBookmarkManager::Unlink(LSandboxBookmarkItem* item) {
    for (LSandboxBookmarkItem** pp : {&pFiles, &pFolders}) {
        for (; *pp != nullptr; pp = &(*pp)->pNext) {
            if (*pp == item) {
                *pp = item->pNext;
                item->pNext = nullptr;
                return;
            }
        }
    }
}

LSandboxBookmarkItem* LSandboxBookmarkManager::InstanceGetBookmark(const char* path) {
    if (path == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::recursive_mutex> lock(mtxLists);
    return FindIn(ListFor(path), path);
}

LSandboxBookmarkItem* LSandboxBookmarkManager::InstanceGetParentBookmark(const char* path) {
    if (path == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::recursive_mutex> lock(mtxLists);
    for (LSandboxBookmarkItem* p = pFolders; p != nullptr; p = p->pNext) {
        if (strncasecmp(p->szPath, path, std::strlen(p->szPath)) == 0) {
            return p;
        }
    }
    return nullptr;
}

std::vector<std::string> LSandboxBookmarkManager::InstanceCopyKeys() const {
    std::lock_guard<std::recursive_mutex> lock(mtxLists);
    return arKeys;
}
