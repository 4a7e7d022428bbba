#include "xpc/LXPCBase.h"

#include "xpc/LXPCDictionary.h"

#include <memory>
#include <new>

namespace {

long AsHandle(const void* p) { return static_cast<long>(reinterpret_cast<std::intptr_t>(p)); }

} // namespace

void ErrorHandler(xpc_object_t error, long connection, LXPCEventNotify* notify) {
    if (notify == nullptr) {
        return;
    }
    LXPCErrorType eType = kLXPCErrorUnknown;
    if (error == XPC_ERROR_CONNECTION_INVALID) {
        eType = kLXPCErrorConnectionInvalid;
    } else if (error == XPC_ERROR_CONNECTION_INTERRUPTED) {
        eType = kLXPCErrorConnectionInterrupted;
    } else if (error == XPC_ERROR_TERMINATION_IMMINENT) {
        eType = kLXPCErrorTerminationImminent;
    }
    notify->EvConnectionError(connection, eType);
}

LXPCBase::LXPCBase(LXPCEventNotify* pNotifyIn) : pNotify(pNotifyIn), m_pGate(new LXPCHandlerGate(this)) {}

void LXPCBase::CloseHandlers() { m_pGate->Close(); }

void LXPCBase::DetachNotify() {
    // First shut the handlers out (waiting for any that are running), so
    // the notify is not called once it has been told it is disabled.
    m_pGate->Close();
    if (pNotify != nullptr) {
        pNotify->bEnabled = false;
        pNotify = nullptr;
    }
}

LXPCBase::~LXPCBase() {
    DetachNotify();
    m_pGate->Release();
    lReceiveKeys.Clear();
    lSendKeys.Clear();
}

void LXPCBase::AddKey(const LXPCDictionaryKey& key, bool bReceive) { AddKey(key.szKey, key.eType, bReceive); }

void LXPCBase::AddKey(const char* szKey, LXPCDataType eType, bool bReceive) {
    auto* pKey = new (std::nothrow) LXPCDictionaryKeyListable(szKey, eType);
    (bReceive ? lReceiveKeys : lSendKeys).Add(pKey);
}

void LXPCBase::AddKeys(const LXPCDictionaryKey* pTable, bool bReceive) {
    if (pTable == nullptr) {
        return;
    }
    for (const LXPCDictionaryKey* p = pTable; p->szKey[0] != '\0'; ++p) {
        AddKey(*p, bReceive);
    }
}

void LXPCBase::SendWithBarrier(xpc_connection_t hConnection, xpc_object_t message) {
    xpc_connection_send_message(hConnection, message);
    // The barrier holds its own references on the connection and the gate
    // until it has run.
    xpc_retain(hConnection);
    LXPCHandlerGate* pGate = m_pGate;
    pGate->Retain();
    xpc_connection_send_barrier(hConnection, ^{
      {
          LXPCGateScope scope(pGate);
          // EvMessageSent does not depend on bEnabled, but there must be a
          // notify to call.
          if (LXPCBase* pBase = scope.Base(); pBase != nullptr && pBase->pNotify != nullptr) {
              pBase->pNotify->EvMessageSent(AsHandle(hConnection));
          }
      }
      pGate->Release();
      xpc_release(hConnection);
    });
}

void LXPCBase::SendMessage(long connection, const LList<LXPCDataListable>& values, bool bWithReply) {
    auto hConnection = reinterpret_cast<xpc_connection_t>(static_cast<std::intptr_t>(connection));
    if (hConnection == nullptr || hConnection == InvalidConnection()) {
        return;
    }
    xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
    if (message == nullptr) {
        return;
    }
    SetXPCDictionary(message, lSendKeys, values);
    if (bWithReply) {
        LXPCHandlerGate* pGate = m_pGate;
        pGate->Retain();
        xpc_connection_send_message_with_reply(hConnection, message, nullptr, ^(xpc_object_t reply) {
          {
              LXPCGateScope scope(pGate);
              if (LXPCBase* pBase = scope.Base()) {
                  pBase->Deliver(reply, true, hConnection);
              }
          }
          pGate->Release();
        });
    } else {
        SendWithBarrier(hConnection, message);
    }
    xpc_release(message);
}

void LXPCBase::SendReply(long connection, long message, const LList<LXPCDataListable>& values) {
    auto hConnection = reinterpret_cast<xpc_connection_t>(static_cast<std::intptr_t>(connection));
    auto received = reinterpret_cast<xpc_object_t>(static_cast<std::intptr_t>(message));
    if (hConnection == nullptr || hConnection == InvalidConnection() || received == nullptr) {
        return;
    }
    xpc_object_t reply = xpc_dictionary_create_reply(received);
    if (reply == nullptr) {
        return; // the message expects no reply, or has been answered already
    }
    SetXPCDictionary(reply, lSendKeys, values);
    SendWithBarrier(hConnection, reply);
    xpc_release(reply);
}

void LXPCBase::SetupConnectionHandlerAndResume(LXPCConnection& connection) {
    SetupConnectionHandler(connection);
    connection.Resume();
}

void LXPCBase::SetupConnectionHandler(LXPCConnection& connection) {
    if (!connection.IsValid()) {
        return;
    }
    // The handler lives as long as the connection; the gate reference it
    // holds is given back when the handler block is released with it.
    auto pReference = std::make_shared<LXPCGateReference>(m_pGate);
    xpc_connection_t hConnection = connection.hConnection;
    xpc_connection_set_event_handler(connection.hConnection, ^(xpc_object_t event) {
      LXPCGateScope scope(pReference->Gate());
      if (LXPCBase* pBase = scope.Base()) {
          pBase->Deliver(event, false, hConnection);
      }
    });
}

void LXPCBase::Deliver(xpc_object_t event, bool bReply, xpc_connection_t hOwn) {
    LXPCEventNotify* pTarget = pNotify;
    if (pTarget == nullptr || !pTarget->bEnabled || event == nullptr) {
        return;
    }
    // The remote connection of a message; an error object has none, and is
    // reported on the connection whose handler received it.
    xpc_connection_t hRemote =
        xpc_get_type(event) == XPC_TYPE_DICTIONARY ? xpc_dictionary_get_remote_connection(event) : nullptr;
    const long connection = AsHandle(hRemote != nullptr ? hRemote : hOwn);
    if (xpc_get_type(event) == XPC_TYPE_ERROR) {
        ErrorHandler(event, connection, pTarget);
        return;
    }
    if (xpc_get_type(event) != XPC_TYPE_DICTIONARY) {
        return;
    }
    LList<LXPCDataListable> values;
    GetXPCDictionary(event, lReceiveKeys, values);
    if (values.IsEmpty()) {
        return;
    }
    if (pTarget->bDeliverArray) {
        unsigned long nCount = 0;
        LXPCData* pArray = LCopyXPCDataArrayFromList(values, &nCount);
        if (pArray == nullptr) {
            return;
        }
        if (bReply) {
            pTarget->EvReplyReceived(connection, pArray, nCount);
        } else {
            pTarget->EvMessageReceived(connection, AsHandle(event), pArray, nCount);
        }
        delete[] pArray;
    } else if (bReply) {
        pTarget->EvReplyReceived(connection, values);
    } else {
        pTarget->EvMessageReceived(connection, AsHandle(event), values);
    }
}
