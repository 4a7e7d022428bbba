#include "threads/LNotifyDataObject.h"

#include <cstring>
#include <new>

LNotifyDataObject* LNotifyDataObject::Create(unsigned nCode, const void* pData, unsigned long lengthOrIntData) {
  auto* pObject = new (std::nothrow) LNotifyDataObject();
  if (pObject == nullptr) return nullptr;
  pObject->nCode = nCode;
  pObject->qwIntData = lengthOrIntData;
  if (pData != nullptr) {
    pObject->bHasData = true;
    if (lengthOrIntData > 0) {
      pObject->pBytes.reset(new (std::nothrow) unsigned char[lengthOrIntData]);
      if (!pObject->pBytes) {
        pObject->Release();
        return nullptr;
      }
      std::memcpy(pObject->pBytes.get(), pData, lengthOrIntData);
    }
  }
  return pObject;
}
