// The xpc_connection_* entry points: argument checks, then the connection
// classes.

#include "connection_impl.h"
#include "error_objects.h"
#include "dictionary_impl.h"
#include "endpoint_impl.h"
#include "listener.h"

#include <Block.h>
#include <dispatch/dispatch.h>

namespace {

using namespace harlune::xpc;

ConnectionBase* base_of(xpc_connection_t connection) {
  return handle_as<ConnectionBase>(connection);
}

Connection* messaging_of(xpc_connection_t connection) {
  return dynamic_cast<Connection*>(base_of(connection));
}

xpc_connection_t handle_of(ConnectionBase* connection) {
  return static_cast<xpc_connection_t>(to_handle(connection));
}

}  // namespace

extern "C" xpc_connection_t xpc_connection_create(const char* name, dispatch_queue_t targetq) noexcept {
  if (name == nullptr) {
    return handle_of(Listener::make_anonymous(targetq));
  }
  return handle_of(Connection::make_named_client(name, targetq));
}

extern "C" xpc_connection_t xpc_connection_create_mach_service(const char* name, dispatch_queue_t targetq,
                                                               uint64_t flags) noexcept {
  if (name == nullptr) {
    return nullptr;
  }
  if ((flags & XPC_CONNECTION_MACH_SERVICE_LISTENER) != 0) {
    return handle_of(Listener::make_named(name, targetq));
  }
  return handle_of(Connection::make_named_client(name, targetq));
}

extern "C" xpc_connection_t xpc_connection_create_from_endpoint(xpc_endpoint_t endpoint) noexcept {
  const EndpointObject* object = handle_as<EndpointObject>(endpoint);
  return object != nullptr ? handle_of(Connection::make_endpoint_client(*object)) : nullptr;
}

extern "C" void xpc_connection_set_target_queue(xpc_connection_t connection, dispatch_queue_t targetq) noexcept {
  if (ConnectionBase* base = base_of(connection)) {
    base->set_target_queue(targetq);
  }
}

extern "C" void xpc_connection_set_event_handler(xpc_connection_t connection, xpc_handler_t handler) noexcept {
  if (ConnectionBase* base = base_of(connection)) {
    base->set_event_handler(handler);
  }
}

extern "C" void xpc_connection_suspend(xpc_connection_t connection) noexcept {
  if (ConnectionBase* base = base_of(connection)) {
    base->suspend();
  }
}

extern "C" void xpc_connection_resume(xpc_connection_t connection) noexcept {
  if (ConnectionBase* base = base_of(connection)) {
    base->resume();
  }
}

extern "C" void xpc_connection_activate(xpc_connection_t connection) noexcept {
  if (ConnectionBase* base = base_of(connection)) {
    base->activate();
  }
}

extern "C" void xpc_connection_cancel(xpc_connection_t connection) noexcept {
  if (ConnectionBase* base = base_of(connection)) {
    base->cancel();
  }
}

extern "C" void xpc_connection_send_message(xpc_connection_t connection, xpc_object_t message) noexcept {
  Connection* target = messaging_of(connection);
  const Dictionary* dictionary = handle_as<Dictionary>(message);
  if (target != nullptr && dictionary != nullptr) {
    target->send(*dictionary);
  }
}

extern "C" void xpc_connection_send_message_with_reply(xpc_connection_t connection, xpc_object_t message,
                                                       dispatch_queue_t replyq, xpc_handler_t handler) noexcept {
  Connection* target = messaging_of(connection);
  const Dictionary* dictionary = handle_as<Dictionary>(message);
  if (handler == nullptr) {
    return;
  }
  if (target != nullptr && dictionary != nullptr) {
    target->send_with_reply(*dictionary, replyq, handler);
  } else if (ConnectionBase* base = base_of(connection)) {
    // A listener sends nothing, but the handler still runs exactly once.
    xpc_handler_t copy = Block_copy(handler);
    if (replyq != nullptr) {
      dispatch_async(replyq, ^{
        copy(XPC_ERROR_CONNECTION_INVALID);
        Block_release(copy);
      });
    } else {
      base->run_reply(copy, connection_invalid_error());
    }
  }
}

extern "C" xpc_object_t xpc_connection_send_message_with_reply_sync(xpc_connection_t connection,
                                                                    xpc_object_t message) noexcept {
  Connection* target = messaging_of(connection);
  const Dictionary* dictionary = handle_as<Dictionary>(message);
  if (target == nullptr || dictionary == nullptr) {
    return nullptr;
  }
  dispatch_semaphore_t answered = dispatch_semaphore_create(0);
  __block xpc_object_t result = nullptr;
  target->send_with_reply(*dictionary, dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), ^(xpc_object_t reply) {
    result = xpc_retain(reply);
    dispatch_semaphore_signal(answered);
  });
  dispatch_semaphore_wait(answered, DISPATCH_TIME_FOREVER);
  dispatch_release(answered);
  return result;
}

extern "C" void xpc_connection_send_barrier(xpc_connection_t connection, dispatch_block_t barrier) noexcept {
  if (barrier == nullptr) {
    return;
  }
  if (Connection* target = messaging_of(connection)) {
    target->send_barrier(barrier);
  } else if (ConnectionBase* base = base_of(connection)) {
    // Nothing was queued on a listener: the barrier runs at once.
    base->run_barrier(Block_copy(barrier));
  }
}

extern "C" const char* xpc_connection_get_name(xpc_connection_t connection) noexcept {
  ConnectionBase* base = base_of(connection);
  return base != nullptr ? base->name() : nullptr;
}

extern "C" pid_t xpc_connection_get_pid(xpc_connection_t connection) noexcept {
  ConnectionBase* base = base_of(connection);
  return base != nullptr ? base->credentials().pid : 0;
}

extern "C" uid_t xpc_connection_get_euid(xpc_connection_t connection) noexcept {
  ConnectionBase* base = base_of(connection);
  return base != nullptr ? base->credentials().uid : 0;
}

extern "C" gid_t xpc_connection_get_egid(xpc_connection_t connection) noexcept {
  ConnectionBase* base = base_of(connection);
  return base != nullptr ? base->credentials().gid : 0;
}

extern "C" uint64_t harlune_xpc_connection_get_dropped_count(xpc_connection_t connection) noexcept {
  Connection* target = messaging_of(connection);
  return target != nullptr ? target->dropped() : 0;
}

extern "C" uint64_t harlune_xpc_connection_get_queued_bytes(xpc_connection_t connection) noexcept {
  Connection* target = messaging_of(connection);
  return target != nullptr ? target->queued_bytes() : 0;
}

extern "C" uint64_t harlune_xpc_connection_get_backlog_bytes(xpc_connection_t connection) noexcept {
  Connection* target = messaging_of(connection);
  return target != nullptr ? target->backlog_bytes() : 0;
}
