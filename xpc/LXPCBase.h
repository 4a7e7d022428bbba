// LXPCBase.h: the message layer over connections: the two key lists, sends
// with and without reply, replies, and the handlers that turn platform
// events into calls of the user's notify object.
//
// All sends are asynchronous: nothing waits for delivery or a reply. A
// one-way send or a reply is followed by a barrier that calls
// EvMessageSent once the message has been passed on; a send with reply
// gets exactly one EvReplyReceived or EvConnectionError later (none when
// the reply decodes to nothing or the notify is disabled).
//
// Threads: sends run on the caller's thread; handlers, reply handlers and
// barriers on the connection's platform queue. The key lists are filled
// before traffic and read without a lock afterwards. Handlers reach the
// base only through its LXPCHandlerGate, so none runs on a destroyed base
// or calls a notify after the base's destructor has returned.
#ifndef HARLUNE_XPC_LXPCBASE_H
#define HARLUNE_XPC_LXPCBASE_H

#include "xpc/LXPCConnection.h"
#include "xpc/LXPCData.h"
#include "xpc/LXPCEventNotify.h"
#include "xpc/LXPCHandlerGate.h"

#include <memory>

class LXPCBase {
public:
    // pNotify is not owned and must outlive this object.
    explicit LXPCBase(LXPCEventNotify* pNotify);
    // Disables the notify, waits for running handlers to finish, frees the keys.
    virtual ~LXPCBase();
    LXPCBase(const LXPCBase&) = delete;
    LXPCBase& operator=(const LXPCBase&) = delete;

    // Prepends a key (name cut at 259 characters) to the receive or the send
    // list. No duplicate test: adding a name twice keeps both.
    void AddKey(const LXPCDictionaryKey& key, bool bReceive);
    void AddKey(const char* szKey, LXPCDataType eType, bool bReceive);
    // Adds a table's keys in table order (so the list holds them reversed),
    // up to the entry with an empty name.
    void AddKeys(const LXPCDictionaryKey* pTable, bool bReceive);

    // Encodes values with the send keys and sends them on connection.
    void SendMessage(long connection, const LList<LXPCDataListable>& values, bool bWithReply);
    // Answers a received message that expects a reply; does nothing for one
    // that does not (the platform gives no reply object then).
    void SendReply(long connection, long message, const LList<LXPCDataListable>& values);
    // Installs this base's event handler; a suspended connection delivers
    // nothing until it is resumed.
    void SetupConnectionHandler(LXPCConnection& connection);
    // Installs this base's event handler and resumes the connection if it is suspended.
    void SetupConnectionHandlerAndResume(LXPCConnection& connection);
    // Parts from the notify for good: shuts every handler out (waiting for
    // those running on other threads), clears the notify's bEnabled and
    // forgets it. Once it returns, nothing of this base calls the notify,
    // so its owner may free it even while other threads still hold the
    // base. Idempotent; the destructor does it too.
    void DetachNotify();

    LXPCEventNotify* pNotify;                       // not owned
    LList<LXPCDictionaryKeyListable> lSendKeys;     // encode outgoing messages and replies
    LList<LXPCDictionaryKeyListable> lReceiveKeys;  // decode incoming messages and replies

protected:
    // Shuts every handler of this base out, waiting for running ones; a
    // derived class calls it first in its destructor, before its own
    // members go. Idempotent.
    void CloseHandlers();
    LXPCHandlerGate* Gate() const { return m_pGate; }

private:
    // Delivers one event or reply received on hOwn; runs inside the gate.
    void Deliver(xpc_object_t event, bool bReply, xpc_connection_t hOwn);
    void SendWithBarrier(xpc_connection_t hConnection, xpc_object_t message);

    LXPCHandlerGate* m_pGate; // shared with every handler installed by this base
};

// Maps an error object to its LXPCErrorType by identity and reports it.
void ErrorHandler(xpc_object_t error, long connection, LXPCEventNotify* notify);

#endif
