// LNotifyPartner and LNotifyPartnerSlot: what the two receiving ends of
// queued notifications (LQueuedNotifyDataHandler, LThreadQueuedNotify)
// share.
//
// The partner is the reference-counted object the dispatcher delivers to on
// the main thread; it holds the dispatcher and, in the derived partner, a
// plain pointer back to its receiving end. The slot is the receiving end's
// hold on its partner: posting goes through it under a mutex, so a post on
// any thread and a destroy on the main thread never overlap, and once the
// slot is destroyed nothing posted later is queued.
#pragma once

#include "threads/LNotifyMessageDispatcher.h"

#include <mutex>

class LNotifyPartner : public LRefCounted, public LNotifyReceiver {
public:
  // Queues a delivery of pData (may be null) to this partner.
  void PostNotifyData(LNotifyDataObject* pData);
  // Drains the dispatcher, clears its receiver and releases it, then lets
  // the derived partner forget its receiving end. On the main thread.
  void DestroyNotify();
  bool HasDispatcher() const { return pDispatcher != nullptr; }

protected:
  LNotifyPartner();
  ~LNotifyPartner() override;
  // Forgets the receiving end (clears `interface`).
  virtual void ClearInterface() = 0;

private:
  LNotifyMessageDispatcher* pDispatcher;  // owned; null after DestroyNotify
};

class LNotifyPartnerSlot {
public:
  // Takes over the caller's reference to the partner (may be null: the slot
  // is then destroyed from the start).
  explicit LNotifyPartnerSlot(LNotifyPartner* pPartner);
  ~LNotifyPartnerSlot() { Destroy(); }
  LNotifyPartnerSlot(const LNotifyPartnerSlot&) = delete;
  LNotifyPartnerSlot& operator=(const LNotifyPartnerSlot&) = delete;

  // Queues pData through the partner; false when the slot is destroyed.
  bool Post(LNotifyDataObject* pData);
  // Ends every delivery: later posts do nothing, queued ones find no
  // receiver. Idempotent.
  void Destroy();
  bool IsLive();

private:
  std::mutex mtxPartner;     // guards pPartner against posts during a destroy
  LNotifyPartner* pPartner;  // one reference held; null once destroyed
};
