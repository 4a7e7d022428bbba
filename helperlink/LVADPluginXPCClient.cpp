#include "helperlink/LVADPluginXPCClient.h"

#include "helperlink/VADHelperProtocol.h"
#include "xpc/LXPCClientManager.h"

#include <cstring>
#include <new>

namespace {

// Made once and never freed: the client lives as long as the process, and
// the driver may call it from any thread until the very end.
LVADPluginXPCClient* gpVADPluginXPCClient = nullptr;

// A one-value list for a send; the list owns the value.
void SendOne(int nClientId, const char* szConnection, unsigned long nIndex, LXPCDataListable* pValue,
             bool bWithReply) {
    if (pValue == nullptr) {
        return;
    }
    LList<LXPCDataListable> values;
    values.Add(pValue);
    LXPCClientManager::SendMessage(nClientId, szConnection, nIndex, values, bWithReply);
}

} // namespace

LVADPluginXPCClient* LVADPluginXPCClient::GetInstance() {
    if (gpVADPluginXPCClient == nullptr) {
        gpVADPluginXPCClient = new (std::nothrow) LVADPluginXPCClient();
    }
    return gpVADPluginXPCClient;
}

void LVADPluginXPCClient::SendEndpointRequest() {
    SendOne(ClientId.load(), HelperServiceName, 0, new (std::nothrow) LXPCDataListable(LXPCData("REQUEST_ENDPOINT", kLXPCDataTypeNone, 1)),
            true);
}

void LVADPluginXPCClient::Connect() {
    // Every call registers a new client; only the newest is spoken through.
    const int nId = LXPCClientManager::Create(this);
    ClientId = nId;
    LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(nId);
    if (!client || !client->Connect(HelperServiceName, 0, true)) {
        return;
    }
    LXPCClientManager::AddKeys(nId, arVADHelperTxKeys, false);
    LXPCClientManager::AddKeys(nId, arVADHelperRxKeys, true);
    SendEndpointRequest();
}

void LVADPluginXPCClient::ConnectToApp() {
    std::lock_guard<std::mutex> lock(mtxApp);
    const int nId = ClientId.load();
    if (AppEndpoint == nullptr) {
        // A helper service that did not exist when it was first asked has
        // left a dead connection behind; a fresh one reaches it if it has
        // started since.
        if (bServiceLost.exchange(false)) {
            if (LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(nId)) {
                client->Disconnect(HelperServiceName, 0);
                client->Connect(HelperServiceName, 0, true);
            }
        }
        SendEndpointRequest();
        return;
    }
    if (LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(nId)) {
        client->Disconnect(EndPointConnection, 1);
    }
    if (LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(nId)) {
        client->ConnectEndPoint(EndPointConnection, 1, AppEndpoint);
    }
}

bool LVADPluginXPCClient::IsAppConnected() {
    LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(ClientId.load());
    return client && client->IsConnectionValid(EndPointConnection, 1);
}

void LVADPluginXPCClient::SendAudioData(void* data, int byteCount) {
    if (data == nullptr || byteCount < 0) {
        return;
    }
    SendOne(ClientId.load(), EndPointConnection, 1,
            new (std::nothrow) LXPCDataListable(LXPCData("AUDIO_DATA", kLXPCDataTypeNone,
                                                         static_cast<long>(reinterpret_cast<std::intptr_t>(data)),
                                                         static_cast<unsigned long>(static_cast<long>(byteCount)))),
            false);
}

void LVADPluginXPCClient::SendVolumeChanged(double volume) {
    SendOne(ClientId.load(), EndPointConnection, 1,
            new (std::nothrow) LXPCDataListable(LXPCData("VOLUME_CHANGED", kLXPCDataTypeNone, -1, 0, volume)), false);
}

void LVADPluginXPCClient::EvConnectionError(long, LXPCErrorType error) {
    // Errors change nothing of the link: the application's connection stays
    // registered until a new endpoint replaces it. An invalid connection
    // while no endpoint is held can only be the helper service's.
    if (error == kLXPCErrorConnectionInvalid) {
        bServiceLost = true;
    }
}

void LVADPluginXPCClient::EvMessageSent(long) {}

void LVADPluginXPCClient::EvMessageReceived(long, long, const LXPCData* values, unsigned long count) {
    TakeEndpoints(values, count);
}

void LVADPluginXPCClient::EvReplyReceived(long, const LXPCData* values, unsigned long count) {
    TakeEndpoints(values, count);
}

void LVADPluginXPCClient::TakeEndpoints(const LXPCData* values, unsigned long count) {
    if (values == nullptr || count == 0) {
        return;
    }
    for (unsigned long i = 0; i < count; ++i) {
        if (std::strcmp(values[i].szKey, "SEND_ENDPOINT") != 0) {
            continue;
        }
        auto endpoint = reinterpret_cast<xpc_object_t>(static_cast<std::intptr_t>(values[i].nValue));
        // Only an endpoint is kept and handed to the connection call.
        if (endpoint == nullptr || xpc_get_type(endpoint) != XPC_TYPE_ENDPOINT) {
            continue;
        }
        {
            std::lock_guard<std::mutex> lock(mtxApp);
            // The received object belongs to the message; keep a reference
            // of our own for later reconnections.
            xpc_retain(endpoint);
            if (AppEndpoint != nullptr) {
                xpc_release(AppEndpoint);
            }
            AppEndpoint = endpoint;
        }
        ConnectToApp();
    }
}
