#include "xpc/LXPCConnection.h"

LXPCConnection::~LXPCConnection() { Destroy(); }

xpc_object_t LXPCConnection::Retain() {
    xpc_object_t result = xpc_retain(hConnection);
    ++nRetainCount;
    return result;
}

void LXPCConnection::Release() {
    if (nRetainCount == 0) {
        return;
    }
    xpc_release(hConnection);
    if (--nRetainCount == 0) {
        hConnection = InvalidConnection();
    }
}

void LXPCConnection::Suspend() {
    if (!bSuspended && IsValid()) {
        xpc_connection_suspend(hConnection);
        bSuspended = true;
    }
}

void LXPCConnection::Resume() {
    if (bSuspended && IsValid()) {
        xpc_connection_resume(hConnection);
        bSuspended = false;
    }
}

void LXPCConnection::Cancel() {
    if (!IsValid()) {
        return;
    }
    xpc_connection_set_event_handler(hConnection, ^(xpc_object_t) {
    });
    xpc_connection_cancel(hConnection);
}

void LXPCConnection::Destroy() {
    if (!IsValid()) {
        return;
    }
    Resume();
    Cancel();
    Release();
}
