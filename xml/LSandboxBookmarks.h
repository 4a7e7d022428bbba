// LSandboxBookmarks.h: the security-scoped grants of a sandboxed
// application, kept across launches as bookmarks in the user defaults.
//
// LSandboxBookmarkManager remembers each granted path as an item with its
// URL and started access, stores the item's bookmark data in the user
// defaults (the preferences of kLSettingsApplicationId) under one or more
// keys, lists every key under "SECURITY_BOOKMARK_KEYS", and restores it all
// at the next launch. Items live in two lists, newest first: regular files,
// and everything else (folders, and paths that cannot be examined). A
// look-up picks the list by the path's current type and compares paths
// without regard to case; keys are compared exactly.
//
// On Linux (see LSandboxPaths.h and <CoreFoundation/CFURLBookmark.h>):
// without HARLUNE_SANDBOX_CONTAINER every path is allowed by entitlement and
// the manager stores nothing. With it, the bookkeeping is real but the
// bookmarks are compat's records of path, device and inode: they grant
// nothing (permissions stay as they are), a moved file does not follow its
// bookmark (it is dropped at the next launch), and bookmarks made on Apple's
// platform do not resolve (they are dropped too). The defaults are the
// preferences file under ${XDG_CONFIG_HOME:-~/.config}/harlune/Preferences/.
//
// Thread safety: the static functions and the instance's members may be
// called from any thread; the manager's recursive mutex guards the lists and
// keys, an item's own recursive mutex guards its keys and access flag.
// Create and Destroy must not race with other calls.
//
// Lifetime: items belong to the manager. A pointer from InstanceGetBookmark
// or InstanceGetParentBookmark stays valid until the item is released to a
// use count of zero or the manager is destroyed.
#ifndef HARLUNE_XML_LSANDBOXBOOKMARKS_H
#define HARLUNE_XML_LSANDBOXBOOKMARKS_H

#include <CoreFoundation/CoreFoundation.h>

#include <mutex>
#include <string>
#include <vector>

// The preference key listing every stored bookmark key.
inline constexpr const char* kLSandboxBookmarkKeysKey = "SECURITY_BOOKMARK_KEYS";

class LSandboxBookmarkItem {
public:
    // Retains `url` (which may be null for an item that gets its URL later
    // through CopyFrom).
    explicit LSandboxBookmarkItem(CFURLRef url);
    // Stops access when it is started and releases the URL.
    ~LSandboxBookmarkItem();
    LSandboxBookmarkItem(const LSandboxBookmarkItem&) = delete;
    LSandboxBookmarkItem& operator=(const LSandboxBookmarkItem&) = delete;

    // True when access is started afterwards (also when it already was).
    bool StartAccessingSecurityScopedResource();
    // True when access is stopped afterwards (also when it never started).
    bool StopAccessingSecurityScopedResource();
    // False (and no change) for null or a key already present; otherwise the
    // key is appended and the use count grows by one.
    bool AddKey(const char* key);
    // False when the key is not present; otherwise it is removed and the
    // use count falls by one.
    bool RemoveKey(const char* key);
    // Takes the path, URL, flag, saved state, keys and use count of `item`.
    // Access is not copied: this item's access stays as it is, because each
    // started access is stopped by the item that started it.
    void CopyFrom(const LSandboxBookmarkItem& item);
    // A copy of the keys, taken under the item's mutex.
    std::vector<std::string> CopyKeys() const;

    LSandboxBookmarkItem* pNext = nullptr; // the next item of its list
    char szPath[260] = {};                 // the granted path as added
    CFURLRef url = nullptr;                // the grant's URL, retained
    bool bAccessStarted = false;           // access has been started and not stopped
    bool bFlag = false;                    // the caller's flag given when the item was added
    bool bBookmarkSaved = false;           // the bookmark is stored in the user defaults
    std::vector<std::string> lKeys;        // the keys its bookmark is stored under
    mutable std::recursive_mutex mtxKeys;  // guards lKeys and bAccessStarted
    int nUseCount = 0;                     // keys plus retains
};

class LSandboxBookmarkManager {
public:
    static LSandboxBookmarkManager* pInstance; // the singleton, or null

    // Makes the singleton and restores the stored bookmarks; returns the
    // existing one when there is one already.
    static LSandboxBookmarkManager* Create();
    // Stops every access and frees the singleton; the stored bookmarks stay.
    static void Destroy();

    // Grants `path` (through `url`, or a URL made from the path when null)
    // and, when `save` is set, stores its bookmark under `key`. True when the
    // path needs no grant, is already granted, or the grant started.
    static bool AddFilePath(const char* path, CFURLRef url, bool save, bool flag, const char* key);
    // Stores the bookmark of an already granted path under `key` as well.
    static bool AddFilePathToSettings(const char* path, bool flag, const char* key);
    // Starts access of the path's item; false when there is no item or its
    // access was already started.
    static bool StartAccessingSecurityScopedResource(const char* path);
    // Stops access of the path's item; false when there is no item or its
    // access was not started.
    static bool StopAccessingSecurityScopedResource(const char* path);
    static bool IsAccessStarted(const char* path);
    // Adds one to the item's use count; false when there is no item.
    static bool Retain(const char* path);
    // Takes one from the item's use count; at zero the grant is forgotten:
    // access stops, the item leaves its list and its keys leave the user
    // defaults. False when there is no item.
    static bool Release(const char* path);
    // True when the path needs no grant: the process is not sandboxed, or the
    // path is in the container and leads nowhere outside it. `bForWriting`
    // is accepted for callers that distinguish read-only grants; the
    // container gives read and write alike, so it changes nothing here.
    static bool IsAccessAllowedByEntitlement(const char* path, bool bForWriting);

    // Restores the stored bookmarks (see the source for the steps); true
    // unless the process is not sandboxed.
    bool InstanceLoadBookmarksFromFile();
    // Stores again the bookmarks of every saved item of the file list
    // (`files`) or the folder list; false when the defaults could not be
    // written.
    bool InstanceSaveBookmarksToFile(bool files);
    // Stores the bookmark of `item` under `key`; false on any failure.
    bool InstanceSaveBookmarkToFile(LSandboxBookmarkItem* item, const char* key);
    // Adds `key` to the key array and stores it when it is new.
    bool InstanceAddKey(const char* key);
    LSandboxBookmarkItem* InstanceGetBookmark(const char* path);
    // The first folder item whose path is a prefix of `path`, or null.
    LSandboxBookmarkItem* InstanceGetParentBookmark(const char* path);
    // A copy of the key array.
    std::vector<std::string> InstanceCopyKeys() const;

private:
    LSandboxBookmarkManager() = default;
    ~LSandboxBookmarkManager();

    LSandboxBookmarkItem*& ListFor(const char* path);
    static LSandboxBookmarkItem* FindIn(LSandboxBookmarkItem* pList, const char* path);
    // Calls use(item) with the path's item under both mutexes; false when
    // there is no manager or no item.
    template <typename Use>
    static bool WithItem(const char* path, Use use);
    bool StoreKeys();
    void DropKey(const std::string& szKey);
    void Unlink(LSandboxBookmarkItem* item);

    mutable std::recursive_mutex mtxLists;   // guards both lists and arKeys
    LSandboxBookmarkItem* pFiles = nullptr;   // items of regular files, newest first
    LSandboxBookmarkItem* pFolders = nullptr; // every other item, newest first
    std::vector<std::string> arKeys;          // every stored bookmark key
};

#endif
