#include "helperlink/LVADPluginExports.h"

#include "helperlink/LVADPluginXPCClient.h"

extern "C" {

void LVADPluginConnectToXPCService() {
    if (LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance()) {
        pClient->Connect();
    }
}

void LVADPluginConnectToApp() {
    if (LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance()) {
        pClient->ConnectToApp();
    }
}

bool LVADServerIsConnectionValid() {
    LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance();
    return pClient != nullptr && pClient->IsAppConnected();
}

void LVADSendAudioData(void* data, int byteCount) {
    // Counts below zero come only from a confused caller; they are dropped
    // here rather than reinterpreted as a huge unsigned size further down.
    if (data == nullptr || byteCount < 0) {
        return;
    }
    if (LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance()) {
        pClient->SendAudioData(data, byteCount);
    }
}

void LVADSendVolumeChanged(double volume) {
    if (LVADPluginXPCClient* pClient = LVADPluginXPCClient::GetInstance()) {
        pClient->SendVolumeChanged(volume);
    }
}

}
