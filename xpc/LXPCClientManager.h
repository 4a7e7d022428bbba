// LXPCClientManager.h: the process-wide registry of LXPCClient objects,
// addressed by small integer ids.
//
// Client code never holds a client: it creates one with its notify, keeps
// the id and calls every operation through the manager, which finds the
// client under mtxClients and runs the operation with the lock released.
// mtxClients (a recursive mutex) is taken by every forwarder, the audio IO
// thread's included, so whoever holds it only walks the registry, links or
// unlinks one client, or counts a pin: clients are made before it is taken
// and disconnected and deleted after it is released.
// Ids start at 1 and grow with every Create; Destroy does not reuse them;
// DestroyAll starts again at 1. Id 0 names no client.
//
// Lifetime: a client stays alive while an operation on it runs. The
// forwarders pin the client for their duration, so a concurrent Destroy
// unregisters it at once but deletes it only when the last running
// operation has finished (on that operation's thread). Destroy and
// DestroyAll return only once no callback of the client can reach its
// notify any more (see LXPCBase::DetachNotify), so the caller may free the
// notify next. Deleting a client disconnects its connections and waits for
// its running handlers, which is why it never happens with mtxClients held.
//
// Process set-up and end: static initialisation (before any client code)
// makes the recursive mutex and registers two end-of-process actions,
// which run in reverse order: first the registry is closed (later calls
// find no client and Create returns 0); then the remaining clients are
// deleted, newest first. The mutex itself is never destroyed: threads of
// the hosting process may still call in while it exits.
//
// Thread safety: every function may be called from any thread, including
// from inside a notify callback.
#ifndef HARLUNE_XPC_LXPCCLIENTMANAGER_H
#define HARLUNE_XPC_LXPCCLIENTMANAGER_H

#include "xpc/LXPCClient.h"

#include <pthread.h>

#include <atomic>

class LXPCClientListable : public LXPCClient {
public:
    LXPCClientListable(LXPCEventNotify* pNotify, int id) : LXPCClient(pNotify), nID(id) {}

    int nID;                                // the client's id
    LXPCClientListable* pNext = nullptr;    // next registered client
    std::atomic<int> nPins{1};              // the registry's reference plus running operations
};

class LXPCClientManager {
public:
    // A pinned client: valid while the object lives, even across a
    // concurrent Destroy. Empty when there was no such client.
    class LClientRef {
    public:
        LClientRef() = default;
        explicit LClientRef(LXPCClientListable* p) : m_p(p) {}
        ~LClientRef();
        LClientRef(LClientRef&& other) noexcept : m_p(other.m_p) { other.m_p = nullptr; }
        LClientRef& operator=(LClientRef&&) = delete;
        LClientRef(const LClientRef&) = delete;
        LXPCClient* operator->() const { return m_p; }
        LXPCClient* get() const { return m_p; }
        explicit operator bool() const { return m_p != nullptr; }

    private:
        LXPCClientListable* m_p = nullptr;
    };

    // Registers a new client and returns its id (0 when none can be made).
    static int Create(LXPCClientEventNotify* notify);
    // The client of id, or null. The pointer is valid only while nobody
    // destroys that id; AcquireClient pins it instead.
    static LXPCClient* GetClient(int id);
    static LClientRef AcquireClient(int id);
    static void Destroy(int id);
    static void DestroyAll();

    // Forwarders: each finds the client and does nothing (false, null) without one.
    static bool Connect(int id, const char* name, unsigned long index, bool bMachService);
    static bool ConnectEndPoint(int id, const char* name, unsigned long index, xpc_object_t endpoint);
    static xpc_object_t CreateEndPoint(int id, const char* name, unsigned long index);
    static void Disconnect(int id, const char* name, unsigned long index);
    static void Suspend(int id, const char* name, unsigned long index);
    static void Resume(int id, const char* name, unsigned long index);
    static bool IsConnectionValid(int id, const char* name, unsigned long index);
    static void AddKey(int id, const char* key, LXPCDataType type, bool bReceive);
    // Adds a table's keys one by one, finding the client again for each.
    static void AddKeys(int id, const LXPCDictionaryKey* table, bool bReceive);
    // Sends the values encoded in the reverse of their list order, so of two
    // values with one name the earlier in the list stays.
    static void SendMessage(int id, const char* name, unsigned long index, const LList<LXPCDataListable>& values,
                            bool bWithReply);

    static LList<LXPCClientListable>& lClients; // registered clients, newest first; mtxClients
    static std::uint64_t nClientCount;          // the last id handed out; mtxClients
    static pthread_mutex_t mtxClients;          // recursive

    // Runs the static set-up if it has not run (it runs before main and
    // before a bundle's factory; calling it again does nothing).
    static void InitializeStatics();
};

#endif
