#include "threads/LNotifyMessageDispatcher.h"

#include <new>

LNotifyMessageDispatcher* LNotifyMessageDispatcher::Create() {
  auto* pDispatcher = new (std::nothrow) LNotifyMessageDispatcher();
  if (pDispatcher == nullptr) return nullptr;
  pDispatcher->dispatchGroup = dispatch_group_create();
  if (pDispatcher->dispatchGroup == nullptr) {
    pDispatcher->Release();
    return nullptr;
  }
  return pDispatcher;
}

LNotifyMessageDispatcher::~LNotifyMessageDispatcher() {
  if (dispatchGroup != nullptr) dispatch_release(dispatchGroup);
}

void LNotifyMessageDispatcher::DispatchData(LNotifyDataObject* pData) {
  if (bDrainingMessages.load()) return;
  Retain();
  if (pData != nullptr) pData->Retain();
  LNotifyMessageDispatcher* pSelf = this;
  dispatch_group_async(dispatchGroup, dispatch_get_main_queue(), ^{
    // On the main thread, where the receiver is set and cleared: calling it
    // directly is the perform-on-main-thread of the home platform, whether
    // or not a drain is under way.
    if (LNotifyReceiver* pTarget = pSelf->pReceiver.load()) pTarget->InvokeEvNotify(pData);
    if (pData != nullptr) pData->Release();
    pSelf->Release();
  });
}

void LNotifyMessageDispatcher::DrainMessages() {
  bDrainingMessages.store(true);
  Retain();
  LNotifyMessageDispatcher* pSelf = this;
  dispatch_group_notify(dispatchGroup, dispatch_get_main_queue(), ^{
    pSelf->bDrainingMessages.store(false);
    pSelf->Release();
  });
}
