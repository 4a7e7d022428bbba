// LNotifyMessageDispatcher: queues deliveries of notifications to the main
// thread for one receiver, in the order they were posted from each thread.
//
// Each delivery is a block on the main queue, tracked by a dispatch group;
// it keeps the dispatcher and the notification alive until it has run, and
// calls the receiver then, if the dispatcher still has one. A drain
// (DrainMessages) drops everything posted after it starts, until every
// delivery queued before it has run; clearing the receiver after a drain
// turns the deliveries still queued into nothing.
//
// Thread safety: DispatchData may be called from any thread and never
// waits. The receiver is not retained: it is set and cleared on the main
// thread, where deliveries read it.
#pragma once

#include "threads/LNotifyDataObject.h"
#include "threads/LRefCounted.h"

#include <dispatch/dispatch.h>

#include <atomic>

// What a dispatcher delivers to, on the main thread.
class LNotifyReceiver {
public:
  // pData is null for a notification without data; it is only borrowed.
  virtual void InvokeEvNotify(LNotifyDataObject* pData) = 0;

protected:
  ~LNotifyReceiver() = default;
};

class LNotifyMessageDispatcher : public LRefCounted {
public:
  // One reference owned by the caller; null when out of memory.
  static LNotifyMessageDispatcher* Create();

  // Queues a delivery of pData (may be null) to the receiver on the main
  // thread, unless a drain is under way (then the notification is dropped).
  void DispatchData(LNotifyDataObject* pData);
  // Drops new notifications until every delivery queued now has run.
  void DrainMessages();

  LNotifyReceiver* GetReceiver() const { return pReceiver.load(); }
  void SetReceiver(LNotifyReceiver* pNewReceiver) { pReceiver.store(pNewReceiver); }
  bool IsDraining() const { return bDrainingMessages.load(); }

private:
  LNotifyMessageDispatcher() = default;
  ~LNotifyMessageDispatcher() override;

  dispatch_group_t dispatchGroup = nullptr;           // deliveries still queued
  std::atomic<bool> bDrainingMessages{false};         // from DrainMessages until its deliveries ran
  std::atomic<LNotifyReceiver*> pReceiver{nullptr};   // called on the main thread; not retained
};
