#include "xpc/LXPCClientManager.h"

#include <cstdlib>
#include <new>

namespace {

// Never destroyed, so no destructor of its own runs at exit: the
// end-of-process actions below decide what happens to the clients.
alignas(LList<LXPCClientListable>) unsigned char gaClientsStorage[sizeof(LList<LXPCClientListable>)];
bool gbInitialized = false; // the static set-up has run
bool gbClosed = false;      // the process is ending; mtxClients

class LManagerLock {
public:
    LManagerLock() { pthread_mutex_lock(&LXPCClientManager::mtxClients); }
    ~LManagerLock() { pthread_mutex_unlock(&LXPCClientManager::mtxClients); }
    LManagerLock(const LManagerLock&) = delete;
    LManagerLock& operator=(const LManagerLock&) = delete;
};

void Unpin(LXPCClientListable* p) {
    if (p != nullptr && p->nPins.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete p;
    }
}

void CloseRegistryAtExit() {
    LManagerLock lock;
    gbClosed = true;
}

void DeleteClientsAtExit() {
    LList<LXPCClientListable> lTaken;
    {
        LManagerLock lock;
        LXPCClientManager::lClients.Swap(lTaken);
    }
    while (LXPCClientListable* p = lTaken.TakeHead()) {
        Unpin(p);
    }
}

} // namespace

LList<LXPCClientListable>& LXPCClientManager::lClients =
    *new (gaClientsStorage) LList<LXPCClientListable>();
std::uint64_t LXPCClientManager::nClientCount = 0;
pthread_mutex_t LXPCClientManager::mtxClients = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

void LXPCClientManager::InitializeStatics() {
    if (gbInitialized) {
        return;
    }
    gbInitialized = true;
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) == 0) {
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mtxClients, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    // Run in reverse at exit: the registry closes first, then the clients go.
    std::atexit(DeleteClientsAtExit);
    std::atexit(CloseRegistryAtExit);
}

// After the protocol's key tables (priority 101), before any other static
// initialiser of a program or bundle that links this library.
__attribute__((constructor(102))) static void LXPCClientManagerStaticSetUp() {
    LXPCClientManager::InitializeStatics();
}

LXPCClientManager::LClientRef::~LClientRef() { Unpin(m_p); }

int LXPCClientManager::Create(LXPCClientEventNotify* notify) {
    // Made before the lock is taken, and without the notify, so a client
    // refused below goes without touching the caller's notify.
    auto* p = new (std::nothrow) LXPCClientListable(nullptr, 0);
    if (p == nullptr) {
        return 0;
    }
    {
        LManagerLock lock;
        if (!gbClosed) {
            ++nClientCount;
            p->nID = static_cast<int>(static_cast<std::uint32_t>(nClientCount));
            p->pNotify = notify;
            lClients.Add(p);
            return p->nID;
        }
    }
    delete p;
    return 0;
}

LXPCClient* LXPCClientManager::GetClient(int id) {
    LManagerLock lock;
    if (gbClosed || id == 0) {
        return nullptr;
    }
    for (LXPCClientListable* p = lClients.Head(); p != nullptr; p = p->pNext) {
        if (p->nID == id) {
            return p;
        }
    }
    return nullptr;
}

LXPCClientManager::LClientRef LXPCClientManager::AcquireClient(int id) {
    LManagerLock lock;
    if (gbClosed || id == 0) {
        return LClientRef();
    }
    for (LXPCClientListable* p = lClients.Head(); p != nullptr; p = p->pNext) {
        if (p->nID == id) {
            p->nPins.fetch_add(1, std::memory_order_relaxed);
            return LClientRef(p);
        }
    }
    return LClientRef();
}

void LXPCClientManager::Destroy(int id) {
    LXPCClientListable* pFound = nullptr;
    {
        LManagerLock lock;
        for (LXPCClientListable* p = lClients.Head(); p != nullptr; p = p->pNext) {
            if (p->nID == id) {
                pFound = p;
                break;
            }
        }
        if (pFound == nullptr) {
            return;
        }
        lClients.Unlink(pFound);
    }
    // Outside the lock, since it waits for the client's running handlers,
    // which may themselves be waiting to look a client up: the notify is let
    // go now, so the caller may free it as soon as this returns, even while
    // an operation on another thread still pins the client (whose deletion
    // then happens when that operation ends).
    pFound->DetachNotify();
    Unpin(pFound);
}

void LXPCClientManager::DestroyAll() {
    LList<LXPCClientListable> lTaken;
    {
        LManagerLock lock;
        lClients.Swap(lTaken);
        nClientCount = 0;
    }
    // Every connection goes first, so no client hears from a peer while
    // the others are being deleted. Outside the lock: cancelling platform
    // connections is slow next to the look-ups that wait for it, and the
    // clients are unregistered already, so no look-up finds them.
    for (LXPCClientListable* p = lTaken.Head(); p != nullptr; p = LList<LXPCClientListable>::Next(p)) {
        p->DisconnectAll();
    }
    while (LXPCClientListable* p = lTaken.TakeHead()) {
        p->DetachNotify();
        Unpin(p);
    }
}

bool LXPCClientManager::Connect(int id, const char* name, unsigned long index, bool bMachService) {
    LClientRef client = AcquireClient(id);
    return client && client->Connect(name, index, bMachService);
}

bool LXPCClientManager::ConnectEndPoint(int id, const char* name, unsigned long index, xpc_object_t endpoint) {
    LClientRef client = AcquireClient(id);
    return client && client->ConnectEndPoint(name, index, endpoint);
}

xpc_object_t LXPCClientManager::CreateEndPoint(int id, const char* name, unsigned long index) {
    LClientRef client = AcquireClient(id);
    return client ? client->CreateEndPoint(name, index) : nullptr;
}

void LXPCClientManager::Disconnect(int id, const char* name, unsigned long index) {
    if (LClientRef client = AcquireClient(id)) {
        client->Disconnect(name, index);
    }
}

void LXPCClientManager::Suspend(int id, const char* name, unsigned long index) {
    if (LClientRef client = AcquireClient(id)) {
        client->Suspend(name, index);
    }
}

void LXPCClientManager::Resume(int id, const char* name, unsigned long index) {
    if (LClientRef client = AcquireClient(id)) {
        client->Resume(name, index);
    }
}

bool LXPCClientManager::IsConnectionValid(int id, const char* name, unsigned long index) {
    LClientRef client = AcquireClient(id);
    return client && client->IsConnectionValid(name, index);
}

void LXPCClientManager::AddKey(int id, const char* key, LXPCDataType type, bool bReceive) {
    if (LClientRef client = AcquireClient(id)) {
        client->AddKey(key, type, bReceive);
    }
}

void LXPCClientManager::AddKeys(int id, const LXPCDictionaryKey* table, bool bReceive) {
    if (table == nullptr) {
        return;
    }
    for (const LXPCDictionaryKey* p = table; p->szKey[0] != '\0'; ++p) {
        AddKey(id, p->szKey, p->eType, bReceive);
    }
}

void LXPCClientManager::SendMessage(int id, const char* name, unsigned long index,
                                    const LList<LXPCDataListable>& values, bool bWithReply) {
    LClientRef client = AcquireClient(id);
    if (!client) {
        return;
    }
    unsigned long nCount = 0;
    LXPCData* pArray = LCopyXPCDataArrayFromList(values, &nCount);
    client->SendMessage(name, index, pArray, nCount, bWithReply);
    delete[] pArray;
}
