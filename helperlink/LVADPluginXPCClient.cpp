#include "helperlink/LVADPluginXPCClient.h"

#include "helperlink/VADHelperProtocol.h"
#include "xpc/LXPCClientManager.h"

#include <dispatch/dispatch.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// Made once and never freed: the client lives as long as the process, and
// the driver may call it from any thread until the very end.
LVADPluginXPCClient* gpVADPluginXPCClient = nullptr;

// Recovery pacing: the first request goes out soon after a failure, later
// ones less often while the service or the application stays away.
constexpr int kFirstRecoveryDelayMs = 50;
constexpr int kLongestRecoveryDelayMs = 2000;

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
    // The new connection has not failed (the old one's handler was silenced
    // by the disconnection, so no late error of it arrives).
    bAppFailed = false;
    if (LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(nId)) {
        client->ConnectEndPoint(EndPointConnection, 1, AppEndpoint);
    }
}

bool LVADPluginXPCClient::IsAppConnected() {
    if (bAppFailed.load(std::memory_order_relaxed)) {
        return false;
    }
    LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(ClientId.load());
    return client && client->IsConnectionValid(EndPointConnection, 1);
}

void LVADPluginXPCClient::ScheduleRecovery() {
    if (bRecoveryPending.exchange(true)) {
        return; // the run already scheduled handles this failure too
    }
    int nDelay = nRecoveryDelayMs.load();
    if (nDelay == 0) {
        nDelay = kFirstRecoveryDelayMs;
    }
    nRecoveryDelayMs = std::min(nDelay * 2, kLongestRecoveryDelayMs);
    // The singleton is never destroyed, so the block may hold it plainly.
    LVADPluginXPCClient* pSelf = this;
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(nDelay) * NSEC_PER_MSEC),
                   dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), ^{
                     // Cleared first: a failure of what this run starts
                     // schedules the next run.
                     pSelf->bRecoveryPending = false;
                     pSelf->Recover();
                   });
}

void LVADPluginXPCClient::Recover() {
    std::lock_guard<std::mutex> lock(mtxApp);
    LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(ClientId.load());
    if (!client) {
        return;
    }
    if (bAppFailed.load()) {
        // The endpoint leads to an application that is gone or broke the
        // connection: forget both and take whatever the service has now.
        client->Disconnect(EndPointConnection, 1);
        if (AppEndpoint != nullptr) {
            xpc_release(AppEndpoint);
            AppEndpoint = nullptr;
        }
        bAppFailed = false;
    }
    if (bServiceLost.exchange(false)) {
        client->Disconnect(HelperServiceName, 0);
        client->Connect(HelperServiceName, 0, true);
    }
    // An interrupted service connection reconnects on this send by itself.
    SendEndpointRequest();
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

void LVADPluginXPCClient::EvConnectionError(long connection, LXPCErrorType error) {
    // Which of the newest client's two connections failed; errors of older
    // clients (a second Connect leaves the first registered) or of a
    // connection already replaced match neither and change nothing.
    long nService = 0, nApp = 0;
    if (LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(ClientId.load())) {
        nService = client->ConnectionHandle(HelperServiceName, 0);
        nApp = client->ConnectionHandle(EndPointConnection, 1);
    }
    if (connection == 0) {
        return;
    }
    if (connection == nApp) {
        bAppFailed = true;
        ScheduleRecovery();
    } else if (connection == nService) {
        // Interrupted: the service restarted and no longer knows this
        // plug-in. Invalid: it never existed or refused us; only a new
        // connection can reach a service started since.
        if (error != kLXPCErrorConnectionInterrupted) {
            bServiceLost = true;
        }
        ScheduleRecovery();
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
        // The service answers again: later failures are retried promptly.
        nRecoveryDelayMs = 0;
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
