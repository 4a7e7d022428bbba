#include "threads/LQueuedNotifyDataSender.h"

void LQueuedNotifyDataSender::PostNotify(unsigned nCode, const void* pData, unsigned long lengthOrIntData) {
  if (pHandler == nullptr || !pHandler->IsQueuedNotifyDataHandlerLive()) return;
  LNotifyDataObject* pObject = LNotifyDataObject::Create(nCode, pData, lengthOrIntData);
  if (pObject == nullptr) return;
  pHandler->PostNotifyData(pObject);
  pObject->Release();
}
