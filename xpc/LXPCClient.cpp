#include "xpc/LXPCClient.h"

#include <strings.h>

#include <memory>
#include <new>
#include <string>

LXPCConnectionClient::LXPCConnectionClient(const char* szConnectionName, unsigned long index) : nIndex(index) {
    LCopyXPCKey(szName, szConnectionName);
}

LXPCClient::~LXPCClient() {
    // Handlers first: the listener's handler uses this client's members,
    // which go before the base part's destructor would shut it out.
    CloseHandlers();
    DisconnectAll();
}

LXPCConnectionClient* LXPCClient::Find(const char* szName, unsigned long index) {
    if (szName == nullptr) {
        return nullptr;
    }
    for (LXPCConnectionClient* p = lConnections.Head(); p != nullptr; p = LList<LXPCConnectionClient>::Next(p)) {
        if (p->nIndex == index && strcasecmp(p->szName, szName) == 0) {
            return p;
        }
    }
    return nullptr;
}

void LXPCClient::Insert(LXPCConnectionClient* pRecord) {
    std::lock_guard<std::mutex> lock(mtxConnections);
    lConnections.Add(pRecord);
}

bool LXPCClient::Adopt(xpc_connection_t hConnection, const char* szName, unsigned long index,
                       bool bTakeOwnReference) {
    auto* pRecord = new (std::nothrow) LXPCConnectionClient(szName, index);
    if (pRecord == nullptr) {
        if (!bTakeOwnReference) {
            xpc_connection_cancel(hConnection);
            xpc_release(hConnection);
        }
        return false;
    }
    pRecord->hConnection = hConnection;
    pRecord->bSuspended = true;
    if (bTakeOwnReference) {
        pRecord->Retain();
    } else {
        pRecord->nRetainCount = 1; // the reference from creation
    }
    // Still suspended: the handler sees nothing before the record is
    // listed, and every event after finds it.
    SetupConnectionHandler(*pRecord);
    Insert(pRecord);
    pRecord->Resume();
    return true;
}

bool LXPCClient::Connect(const char* szName, unsigned long index, bool bMachService) {
    if (szName == nullptr) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> changes(mtxChanges);
    if (Find(szName, index) != nullptr) {
        return false;
    }
    xpc_connection_t hConnection = bMachService ? xpc_connection_create_mach_service(szName, nullptr, 0)
                                                : xpc_connection_create(szName, nullptr);
    return hConnection != nullptr && Adopt(hConnection, szName, index, false);
}

bool LXPCClient::ConnectEndPoint(const char* szName, unsigned long index, xpc_object_t endpoint) {
    // Only an endpoint may be handed to the connection call.
    if (szName == nullptr || endpoint == nullptr || xpc_get_type(endpoint) != XPC_TYPE_ENDPOINT) {
        return false;
    }
    std::lock_guard<std::recursive_mutex> changes(mtxChanges);
    if (Find(szName, index) != nullptr) {
        return false;
    }
    xpc_connection_t hConnection = xpc_connection_create_from_endpoint(static_cast<xpc_endpoint_t>(endpoint));
    return hConnection != nullptr && Adopt(hConnection, szName, index, false);
}

xpc_object_t LXPCClient::CreateEndPoint(const char* szName, unsigned long index) {
    if (szName == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::recursive_mutex> changes(mtxChanges);
    if (Find(szName, index) != nullptr) {
        return nullptr;
    }
    xpc_connection_t hListener = xpc_connection_create(nullptr, nullptr);
    if (hListener == nullptr) {
        return nullptr;
    }
    // Failing half-way leaves nothing behind: the listener was never
    // resumed, so cancelling and releasing it frees it at once.
    auto abandon = [hListener] {
        xpc_connection_cancel(hListener);
        xpc_release(hListener);
    };
    xpc_endpoint_t endpoint = xpc_endpoint_create(hListener);
    if (endpoint == nullptr) {
        abandon();
        return nullptr;
    }
    auto* pRecord = new (std::nothrow) LXPCConnectionClient("AnonymousConnection", 0);
    if (pRecord == nullptr) {
        xpc_release(endpoint);
        abandon();
        return nullptr;
    }
    // The listener keeps its own copy of the name: the caller's may not
    // outlive it. Peers are adopted only when they are connections; the
    // listener's error events (its cancellation, for one) are not peers.
    // A peer that connects before the listener's record is listed waits
    // for mtxChanges, so the peers still come after the listener.
    auto pName = std::make_shared<std::string>(szName);
    auto pReference = std::make_shared<LXPCGateReference>(Gate());
    xpc_connection_set_event_handler(hListener, ^(xpc_object_t event) {
      if (event == nullptr || xpc_get_type(event) != XPC_TYPE_CONNECTION) {
          return;
      }
      LXPCGateScope scope(pReference->Gate());
      if (auto* pClient = static_cast<LXPCClient*>(scope.Base())) {
          std::lock_guard<std::recursive_mutex> changes(pClient->mtxChanges);
          pClient->Adopt(static_cast<xpc_connection_t>(event), pName->c_str(), index, true);
      }
    });
    xpc_connection_resume(hListener);
    pRecord->hConnection = hListener;
    pRecord->bSuspended = false;
    // The record owns the reference from creation, so disconnecting it
    // cancels and frees the listener; left at no reference, every endpoint
    // ever published would stay allocated for the life of the process.
    pRecord->nRetainCount = 1;
    Insert(pRecord);
    return endpoint;
}

void LXPCClient::Disconnect(const char* szName, unsigned long index) {
    std::lock_guard<std::recursive_mutex> changes(mtxChanges);
    LXPCConnectionClient* pRecord = Find(szName, index);
    if (pRecord == nullptr) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mtxConnections);
        lConnections.Unlink(pRecord);
    }
    // Unlisted, so no look-up reaches it: silencing its handler, cancelling
    // and releasing the connection happen without the look-up lock.
    delete pRecord;
}

void LXPCClient::DisconnectAll() {
    std::lock_guard<std::recursive_mutex> changes(mtxChanges);
    LList<LXPCConnectionClient> lTaken;
    {
        std::lock_guard<std::mutex> lock(mtxConnections);
        lConnections.Swap(lTaken);
    }
    lTaken.Clear(); // newest first, as the list was
}

void LXPCClient::Suspend(const char* szName, unsigned long index) {
    std::lock_guard<std::recursive_mutex> changes(mtxChanges);
    if (LXPCConnectionClient* pRecord = Find(szName, index)) {
        pRecord->Suspend();
    }
}

void LXPCClient::Resume(const char* szName, unsigned long index) {
    std::lock_guard<std::recursive_mutex> changes(mtxChanges);
    if (LXPCConnectionClient* pRecord = Find(szName, index)) {
        pRecord->Resume();
    }
}

bool LXPCClient::IsConnectionValid(const char* szName, unsigned long index) {
    std::lock_guard<std::mutex> lock(mtxConnections);
    return Find(szName, index) != nullptr;
}

long LXPCClient::ConnectionHandle(const char* szName, unsigned long index) {
    std::lock_guard<std::mutex> lock(mtxConnections);
    LXPCConnectionClient* pRecord = Find(szName, index);
    return pRecord == nullptr ? 0 : static_cast<long>(reinterpret_cast<std::intptr_t>(pRecord->hConnection));
}

void LXPCClient::SendMessage(const char* szName, unsigned long index, const LList<LXPCDataListable>& values,
                             bool bWithReply) {
    xpc_connection_t hConnection = nullptr;
    {
        std::lock_guard<std::mutex> lock(mtxConnections);
        LXPCConnectionClient* pRecord = Find(szName, index);
        if (pRecord == nullptr || !pRecord->IsValid()) {
            return;
        }
        hConnection = pRecord->hConnection;
        xpc_retain(hConnection);
    }
    LXPCBase::SendMessage(static_cast<long>(reinterpret_cast<std::intptr_t>(hConnection)), values, bWithReply);
    xpc_release(hConnection);
}

void LXPCClient::SendMessage(const char* szName, unsigned long index, const LXPCData* values, unsigned long count,
                             bool bWithReply) {
    LList<LXPCDataListable> list;
    LCopyXPCDataListFromArray(values, count, list);
    SendMessage(szName, index, list, bWithReply);
}
