// LXPCClient.h: one messaging party: an LXPCBase plus named connections.
//
// A connection is addressed by its name (compared without regard to ASCII
// case) together with an index; look-ups take the newest match. Connections
// are made to a named Mach service, to a named service of the application,
// or from an endpoint a peer sent; CreateEndPoint publishes an anonymous
// endpoint and adopts every peer that connects to it, under the name and
// index given, newest first (the listener itself is kept as
// "AnonymousConnection", index 0, and freed when that record goes).
//
// Thread safety: every operation may be called from any thread, and the
// listener's handler adds peers from a platform queue. Two locks:
//   - mtxConnections guards the list for the look-ups (IsConnectionValid,
//     ConnectionHandle, SendMessage), which the audio IO thread makes every
//     cycle. Whoever holds it only walks the list, links or unlinks one
//     record, or takes a reference on a handle: no allocation, no platform
//     call, no callback. A send retains the platform connection under it
//     and sends after releasing it, so a concurrent Disconnect never frees
//     what a send is using.
//   - mtxChanges serialises the operations that change connections
//     (Connect, ConnectEndPoint, CreateEndPoint, the listener's adoption of
//     peers, Disconnect, DisconnectAll, Suspend, Resume). They make, set up,
//     resume, cancel and release platform connections under it, which may
//     take a while, but never under mtxConnections; look-ups never take it.
// The list is changed only with both held and read with either, so a
// change is atomic for the look-ups (a duplicate test and the insertion
// that follows it happen under one mtxChanges), and two replacements of one
// name never interleave. A new connection (a listener's peer included) gets
// its event handler while it is still suspended, is listed, and is resumed
// only then: its first error event already finds it by handle, and a
// Disconnect, waiting for mtxChanges, never destroys a connection whose
// set-up is unfinished.
#ifndef HARLUNE_XPC_LXPCCLIENT_H
#define HARLUNE_XPC_LXPCCLIENT_H

#include "xpc/LXPCBase.h"

#include <mutex>

class LXPCConnectionClient : public LXPCConnection {
public:
    LXPCConnectionClient(const char* szConnectionName, unsigned long index);

    char szName[kLXPCKeySize]; // the connection's name, cut at 259 characters
    unsigned long nIndex;      // the connection's index
};

class LXPCClient : public LXPCBase {
public:
    explicit LXPCClient(LXPCEventNotify* pNotify) : LXPCBase(pNotify) {}
    // Disconnects every connection, then the LXPCBase part goes.
    ~LXPCClient() override;

    // False when (name, index) is taken or the platform makes no connection.
    // Success means only that a handle exists: a missing service shows later
    // as an error event.
    bool Connect(const char* szName, unsigned long index, bool bMachService);
    // As Connect, from an endpoint (not retained or released here).
    bool ConnectEndPoint(const char* szName, unsigned long index, xpc_object_t endpoint);
    // A new anonymous endpoint (the caller owns it), or null.
    xpc_object_t CreateEndPoint(const char* szName, unsigned long index);
    void Disconnect(const char* szName, unsigned long index);
    void DisconnectAll();
    void Suspend(const char* szName, unsigned long index);
    void Resume(const char* szName, unsigned long index);
    // True when a record of (name, index) exists; the peer is not tested.
    bool IsConnectionValid(const char* szName, unsigned long index);
    // The platform handle of (name, index) as the notify callbacks report
    // connections, or 0: for telling the events of one connection apart.
    long ConnectionHandle(const char* szName, unsigned long index);
    void SendMessage(const char* szName, unsigned long index, const LList<LXPCDataListable>& values, bool bWithReply);
    // Sends the array's values; they are encoded in reverse array order, so
    // of two values with one name the first in the array stays.
    void SendMessage(const char* szName, unsigned long index, const LXPCData* values, unsigned long count,
                     bool bWithReply);

    LList<LXPCConnectionClient> lConnections; // newest first; changed under both locks, read under either

private:
    // The newest record of (name, index); the caller holds either lock.
    LXPCConnectionClient* Find(const char* szName, unsigned long index);
    // Makes a record of hConnection, sets it up, lists it and resumes it.
    // The caller holds mtxChanges and has tested for a duplicate.
    bool Adopt(xpc_connection_t hConnection, const char* szName, unsigned long index, bool bTakeOwnReference);
    // Lists a record set up beforehand, under mtxConnections for the list work only.
    void Insert(LXPCConnectionClient* pRecord);

    std::recursive_mutex mtxChanges; // serialises connection changes; never taken by a look-up
    std::mutex mtxConnections;       // guards the list for look-ups; held for list work only
};

#endif
