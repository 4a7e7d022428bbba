// LXPCConnection.h: one platform connection handle with its suspend state
// and the count of references this object holds on it.
//
// A fresh object holds no handle (InvalidConnection), counts as suspended
// (a new platform connection starts suspended) and holds no reference. Its
// owner sets the handle; the destructor destroys it: resumed if suspended
// (a suspended connection is never cancelled or released), its event
// handler replaced by one that ignores everything (so a local cancel never
// reaches the user as an error), cancelled, one reference given back.
// Not thread-safe: the owning client serialises access.
#ifndef HARLUNE_XPC_LXPCCONNECTION_H
#define HARLUNE_XPC_LXPCCONNECTION_H

#include <xpc/xpc.h>

#include <cstdint>

// What an error event on a connection means.
enum LXPCErrorType : std::int32_t {
    kLXPCErrorUnknown = 0,
    kLXPCErrorConnectionInvalid = 1,
    kLXPCErrorConnectionInterrupted = 2,
    kLXPCErrorTerminationImminent = 3,
};

// The handle value that means "no connection": all bits set.
inline xpc_connection_t InvalidConnection() {
    return reinterpret_cast<xpc_connection_t>(~static_cast<std::uintptr_t>(0));
}

class LXPCConnection {
public:
    LXPCConnection() = default;
    virtual ~LXPCConnection();
    LXPCConnection(const LXPCConnection&) = delete;
    LXPCConnection& operator=(const LXPCConnection&) = delete;

    // Takes one more reference on the handle; returns what xpc_retain returns.
    xpc_object_t Retain();
    // Gives one reference back; at 0 the handle becomes InvalidConnection.
    // Does nothing when this object holds no reference.
    void Release();
    // Suspends or resumes the platform connection once, tracking the state.
    void Suspend();
    void Resume();
    // Silences the event handler, then cancels the connection.
    void Cancel();
    // Resumes if suspended, cancels, gives back one reference.
    void Destroy();
    bool IsValid() const { return hConnection != InvalidConnection(); }

    LXPCConnection* pNext = nullptr;               // next connection of the owning client
    xpc_connection_t hConnection = InvalidConnection(); // the platform connection
    bool bSuspended = true;                        // mirrors the platform's suspend state
    std::uint64_t nRetainCount = 0;                // references held on hConnection
};

#endif
