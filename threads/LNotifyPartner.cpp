#include "threads/LNotifyPartner.h"

LNotifyPartner::LNotifyPartner() : pDispatcher(LNotifyMessageDispatcher::Create()) {
  if (pDispatcher != nullptr) pDispatcher->SetReceiver(this);
}

LNotifyPartner::~LNotifyPartner() {
  if (pDispatcher != nullptr) {
    pDispatcher->SetReceiver(nullptr);
    pDispatcher->Release();
  }
}

void LNotifyPartner::PostNotifyData(LNotifyDataObject* pData) {
  if (pDispatcher != nullptr) pDispatcher->DispatchData(pData);
}

void LNotifyPartner::DestroyNotify() {
  if (pDispatcher != nullptr) {
    pDispatcher->DrainMessages();
    pDispatcher->SetReceiver(nullptr);
    pDispatcher->Release();
    pDispatcher = nullptr;
  }
  ClearInterface();
}

LNotifyPartnerSlot::LNotifyPartnerSlot(LNotifyPartner* pNewPartner) : pPartner(pNewPartner) {
  if (pPartner != nullptr && !pPartner->HasDispatcher()) {
    // Out of memory for the dispatcher: nothing could ever be delivered.
    pPartner->Release();
    pPartner = nullptr;
  }
}

bool LNotifyPartnerSlot::Post(LNotifyDataObject* pData) {
  std::lock_guard<std::mutex> lock(mtxPartner);
  if (pPartner == nullptr) return false;
  pPartner->PostNotifyData(pData);
  return true;
}

void LNotifyPartnerSlot::Destroy() {
  LNotifyPartner* pOld;
  {
    std::lock_guard<std::mutex> lock(mtxPartner);
    pOld = pPartner;
    pPartner = nullptr;
    if (pOld != nullptr) pOld->DestroyNotify();
  }
  if (pOld != nullptr) pOld->Release();
}

bool LNotifyPartnerSlot::IsLive() {
  std::lock_guard<std::mutex> lock(mtxPartner);
  return pPartner != nullptr;
}
