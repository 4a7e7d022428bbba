#include "threads/LProcessInterfaceNested.h"

#include "threads/LProcessInterfaceVoid.h"

bool LProcessInterfaceNested::IsToStop() { return pParent != nullptr && pParent->IsToStop(); }

bool LProcessInterfaceNested::ProcessWait(uint32_t dwMilliseconds) {
  if (pParent == nullptr) return LProcessInterfaceVoid().ProcessWait(dwMilliseconds);
  return pParent->ProcessWait(dwMilliseconds);
}

int LProcessInterfaceNested::ProcessWaitSignal(LSignalObjectRef ref, uint32_t dwMilliseconds) {
  if (pParent == nullptr) return LProcessInterfaceVoid().ProcessWaitSignal(ref, dwMilliseconds);
  return pParent->ProcessWaitSignal(ref, dwMilliseconds);
}

int LProcessInterfaceNested::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, uint32_t dwMilliseconds) {
  if (pParent == nullptr) return LProcessInterfaceVoid().ProcessWaitSignalObjectGroup(group, dwMilliseconds);
  return pParent->ProcessWaitSignalObjectGroup(group, dwMilliseconds);
}

void LProcessInterfaceNested::ProcessWaitUntilStopped() {
  if (pParent == nullptr) return LProcessInterfaceVoid().ProcessWaitUntilStopped();
  pParent->ProcessWaitUntilStopped();
}

int LProcessInterfaceNested::ProcessWaitSignalForever(LSignalObjectRef ref) {
  if (pParent == nullptr) return LProcessInterfaceVoid().ProcessWaitSignalForever(ref);
  return pParent->ProcessWaitSignalForever(ref);
}

int LProcessInterfaceNested::ProcessWaitSignalObjectGroupForever(LSignalObjectGroup& group) {
  if (pParent == nullptr) return LProcessInterfaceVoid().ProcessWaitSignalObjectGroupForever(group);
  return pParent->ProcessWaitSignalObjectGroupForever(group);
}
