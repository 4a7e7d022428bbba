// LQueuedNotifyDataHandler: the receiving end of notifications with data,
// delivered on the main thread in the order each thread posted them.
// Senders post to it through LQueuedNotifyDataSender.
//
// Lifetime: live from construction until QueuedNotifyDataHandlerDestroy()
// or the destructor; after that nothing posted later is delivered and
// deliveries already queued do nothing. Destroy the handler on the main
// thread (deliveries test it there), and in a derived class call
// QueuedNotifyDataHandlerDestroy() first thing in the destructor, so that no
// delivery reaches a half-destroyed object.
//
// The main thread runs deliveries only while it runs dispatch_main() or its
// run loop.
#pragma once

#include "threads/LNotifyPartner.h"

class LQueuedNotifyDataHandler {
public:
  LQueuedNotifyDataHandler();
  virtual ~LQueuedNotifyDataHandler();
  LQueuedNotifyDataHandler(const LQueuedNotifyDataHandler&) = delete;
  LQueuedNotifyDataHandler& operator=(const LQueuedNotifyDataHandler&) = delete;

  void QueuedNotifyDataHandlerDestroy();

  // On the main thread, for each notification: data is the copy of the bytes
  // posted (valid during the call only) and length their count; for a
  // notification without bytes, data is null and length is its integer.
  virtual void EvQueuedNotifyData(unsigned nCode, const void* pData, unsigned long nLength) = 0;

  // Still accepting notifications (not destroyed).
  bool IsQueuedNotifyDataHandlerLive() { return slot.IsLive(); }

private:
  friend class LQueuedNotifyDataSender;
  bool PostNotifyData(LNotifyDataObject* pData) { return slot.Post(pData); }

  LNotifyPartnerSlot slot;  // the partner (LQueuedNotifyDataHandlerImpl)
};
