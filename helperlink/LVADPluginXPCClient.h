// LVADPluginXPCClient.h: the plug-in's one link to the outside: the helper
// service that hands out the recording application's endpoint, and the
// recording application that receives the device's audio and volume.
//
// A process-wide singleton, made by the first GetInstance() and never
// destroyed. It registers itself with LXPCClientManager as the notify of
// its client, connects to the helper service (HelperServiceName, index 0),
// asks it for the recording application's endpoint ("REQUEST_ENDPOINT"),
// and connects to every endpoint it is given ("SEND_ENDPOINT", as a reply
// or as a message at any time) as EndPointConnection, index 1, replacing the
// previous one.
//
// Recovery. The link survives restarts of the helper service and of the
// recording application in any order. When the service connection is
// interrupted (the service restarted) or found dead, the client asks for
// the endpoint again, which also makes the new service know this plug-in;
// when the application's connection fails, it no longer counts as
// connected and the client drops the dead endpoint and asks again. These
// requests run on a global queue after a delay that grows from 50 ms to 2 s
// while nothing answers, and falls back once an endpoint arrives.
//
// The driver relies on these promises, which every operation keeps:
//   - no operation reports failure or throws; a missing helper service or
//     application only means that nothing is sent;
//   - no operation waits for a peer: sends are queued and return at once;
//   - no operation calls back into the driver's entries, so the driver may
//     hold its StateMutex across SendVolumeChanged;
//   - SendAudioData has finished with the bytes when it returns;
//   - nothing is sent while no application connection is registered, and
//     SendAudioData with null data or a negative count sends nothing.
//
// Threads and locks: the operations are called from the audio server's
// control threads, the device's IO thread and (through the notify
// callbacks) XPC queues, all at once. GetInstance() makes the singleton
// without a lock: its first call is in the driver's Initialize, before IO
// or XPC events can reach it.
//
// The IO cycle (IsAppConnected, then SendAudioData) takes these locks, in
// this order, each one released before the next is taken:
//   1. the client manager's mtxClients, to find and pin the newest client
//      (twice: once per call). Every manager call on any thread takes it,
//      as do Create and Destroy; its holders only walk the registry (one
//      client per Connect), link or unlink one client or count a pin.
//      Clients are made before it is taken and disconnected and deleted
//      after it is released.
//   2. that client's mtxConnections, to find EndPointConnection (again
//      once per call; the send takes a reference on the platform connection
//      under it and sends after releasing it). ConnectionHandle (on XPC
//      queues) and every connection change take it too, but only to walk
//      the client's few records or to link or unlink one: platform
//      connections are made, set up, cancelled and released outside it.
//   3. the platform connection's send-queue lock, inside the send and the
//      barrier that follows it, which append to the queue and return; the
//      transport thread takes it only to take the whole queue at once, and
//      it inherits priority, so a preempted holder cannot keep the IO
//      thread waiting.
// Building the message allocates, so the allocator's own short locks come
// on top. None of these is held across an allocation, a system call or a
// callback by anyone else, so the IO thread never waits behind slow work.
// Not taken on the IO path: mtxApp, which serialises replacing the
// application connection and the held endpoint (ConnectToApp, Recover,
// TakeEndpoints) and is held across disconnecting and connecting; the
// client's mtxChanges, which orders connection changes; the message
// layer's handler gate; and the driver's StateMutex, under which mtxApp is
// never taken either. The plug-in never destroys its clients while the
// process runs, so the IO thread's unpin never deletes one.
#ifndef HARLUNE_HELPERLINK_LVADPLUGINXPCCLIENT_H
#define HARLUNE_HELPERLINK_LVADPLUGINXPCCLIENT_H

#include "xpc/LXPCEventNotify.h"

#include <xpc/xpc.h>

#include <atomic>
#include <mutex>

class LVADPluginXPCClient : public LXPCClientEventNotify {
public:
    // The singleton, made on first use; null when it cannot be made.
    static LVADPluginXPCClient* GetInstance();

    // Registers a new client with the manager, connects to the helper
    // service and asks it for the recording application's endpoint.
    void Connect();
    // Connects to the endpoint already received, or asks for one again.
    void ConnectToApp();
    // True while an application connection is registered and has reported
    // no failure.
    bool IsAppConnected();
    // Sends byteCount bytes at data as one "AUDIO_DATA" message.
    void SendAudioData(void* data, int byteCount);
    // Sends the output volume (a scalar from 0.0 to 1.0) as one "VOLUME_CHANGED" message.
    void SendVolumeChanged(double volume);

    // Notify callbacks (XPC queues): only "SEND_ENDPOINT" has an effect.
    void EvConnectionError(long connection, LXPCErrorType error) override;
    void EvMessageSent(long connection) override;
    void EvMessageReceived(long connection, long message, const LXPCData* values, unsigned long count) override;
    void EvReplyReceived(long connection, const LXPCData* values, unsigned long count) override;

    LVADPluginXPCClient(const LVADPluginXPCClient&) = delete;
    LVADPluginXPCClient& operator=(const LVADPluginXPCClient&) = delete;

    std::atomic<int> ClientId{0};    // id of the newest client in LXPCClientManager; 0 is none
    xpc_object_t AppEndpoint = nullptr; // the last endpoint received, retained; mtxApp

private:
    LVADPluginXPCClient() : LXPCClientEventNotify(true, true) {}
    ~LVADPluginXPCClient() override = default;

    void SendEndpointRequest();
    void TakeEndpoints(const LXPCData* values, unsigned long count);
    // Runs Recover() once after the current delay unless a run is pending.
    void ScheduleRecovery();
    // Replaces what failed and asks for the endpoint again.
    void Recover();

    std::mutex mtxApp;                        // serialises endpoint replacement and reconnection
    std::atomic<bool> bServiceLost{false};    // an error said the service connection is unusable
    std::atomic<bool> bAppFailed{false};      // the application connection reported an error
    std::atomic<bool> bRecoveryPending{false}; // a Recover() run is scheduled
    std::atomic<int> nRecoveryDelayMs{0};     // delay of the next scheduled run, ms
};

#endif
