// LVADPluginXPCClient.h: the plug-in's one link to the outside: the helper
// service that hands out the recording application's endpoint, and the
// recording application that receives the device's audio and volume.
//
// A process-wide singleton, made by the first GetInstance() and never
// destroyed. The driver relies on these promises, which every operation
// keeps:
//   - no operation reports failure or throws; a missing helper service or
//     application only means that nothing is sent;
//   - no operation waits for a peer: sends are queued and return at once;
//   - no operation calls back into the driver's entries, so the driver may
//     hold its StateMutex across SendVolumeChanged;
//   - SendAudioData has finished with the bytes when it returns;
//   - nothing is sent while no application connection is registered, and
//     SendAudioData with null data sends nothing.
// Thread safety: the operations are called from the audio server's control
// threads, the device's IO thread and XPC queues at once. GetInstance()
// makes the singleton without a lock: its first call is in the driver's
// Initialize, before IO or XPC events can reach it.
#ifndef HARLUNE_HELPERLINK_LVADPLUGINXPCCLIENT_H
#define HARLUNE_HELPERLINK_LVADPLUGINXPCCLIENT_H

class LVADPluginXPCClient {
public:
    // The singleton, made on first use; null when it cannot be made.
    static LVADPluginXPCClient* GetInstance();

    // Registers with the helper service and asks it for the recording
    // application's endpoint.
    void Connect();
    // Connects to the endpoint already received, or asks for one again.
    void ConnectToApp();
    // True while an application connection is registered.
    bool IsAppConnected();
    // Sends byteCount bytes at data as one audio message to the application.
    // A negative count or null data sends nothing.
    void SendAudioData(void* data, int byteCount);
    // Sends the output volume (a scalar from 0.0 to 1.0) to the application.
    void SendVolumeChanged(double volume);

    LVADPluginXPCClient(const LVADPluginXPCClient&) = delete;
    LVADPluginXPCClient& operator=(const LVADPluginXPCClient&) = delete;

private:
    LVADPluginXPCClient() = default;
    ~LVADPluginXPCClient() = default;
};

#endif
