// LXPCEventNotify.h: the interface through which the messaging framework
// hands events to its user.
//
// Callback contract: every callback runs on a platform queue of the
// connection the event belongs to (never on the caller's thread), one event
// of a connection at a time; different connections may call at once. Values
// are valid only during the call; in the list forms the callee may take
// elements out of the list and the framework deletes the rest. Connections
// and messages travel as long handles (the xpc_connection_t and the
// received xpc_object_t). Callbacks run only while bEnabled is set, except
// EvMessageSent, which follows every one-way send and reply; no callback
// runs once the LXPCBase using this notify has been destroyed. The notify
// must outlive that LXPCBase.
#ifndef HARLUNE_XPC_LXPCEVENTNOTIFY_H
#define HARLUNE_XPC_LXPCEVENTNOTIFY_H

#include "xpc/LXPCConnection.h"
#include "xpc/LXPCData.h"

#include <atomic>

class LXPCEventNotify {
public:
    LXPCEventNotify(bool bArray, bool bEnable) : bDeliverArray(bArray), bEnabled(bEnable) {}

    // An error event on connection, or an error in place of a reply.
    virtual void EvConnectionError(long connection, LXPCErrorType error) = 0;
    // A one-way message or a reply sent on connection has been passed on.
    virtual void EvMessageSent(long connection) = 0;
    // List forms, used when bDeliverArray is false.
    virtual void EvMessageReceived(long connection, long message, LList<LXPCDataListable>& values) {}
    virtual void EvReplyReceived(long connection, LList<LXPCDataListable>& values) {}
    // Array forms, used when bDeliverArray is true.
    virtual void EvMessageReceived(long connection, long message, const LXPCData* values, unsigned long count) {}
    virtual void EvReplyReceived(long connection, const LXPCData* values, unsigned long count) {}
    virtual ~LXPCEventNotify() = default;

    bool bDeliverArray;              // deliver values as an array rather than as a list
    // Events are delivered while set; cleared when an LXPCBase using this
    // notify goes. Atomic because one notify may serve several clients,
    // whose handlers read it while another client's destruction clears it.
    std::atomic<bool> bEnabled;
};

// The notify type client code implements and hands to LXPCClientManager.
class LXPCClientEventNotify : public LXPCEventNotify {
public:
    using LXPCEventNotify::LXPCEventNotify;
};

#endif
