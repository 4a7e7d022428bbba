#include "helperlink/LVADPluginXPCClient.h"

#include <new>

namespace {

// Made once and never freed: the client lives as long as the process, and
// the driver may call it from any thread until the very end.
LVADPluginXPCClient* gpVADPluginXPCClient = nullptr;

} // namespace

LVADPluginXPCClient* LVADPluginXPCClient::GetInstance() {
    if (gpVADPluginXPCClient == nullptr) {
        gpVADPluginXPCClient = new (std::nothrow) LVADPluginXPCClient();
    }
    return gpVADPluginXPCClient;
}

// The link to the helper service is not wired yet: there is no connection
// behind the client, so it never registers an application connection and
// every send finds nothing to send to.
void LVADPluginXPCClient::Connect() {}

void LVADPluginXPCClient::ConnectToApp() {}

bool LVADPluginXPCClient::IsAppConnected() { return false; }

void LVADPluginXPCClient::SendAudioData(void* data, int byteCount) {
    if (data == nullptr || byteCount < 0 || !IsAppConnected()) {
        return;
    }
}

void LVADPluginXPCClient::SendVolumeChanged(double) {
    if (!IsAppConnected()) {
        return;
    }
}
