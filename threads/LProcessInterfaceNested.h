// LProcessInterfaceNested: a process interface for a part of an operation.
// Its seven query and wait operations go to the parent, so a stop request
// to the parent stops the part; the reporting operations are the base's
// (nothing) unless a derived class passes them on. The parent is not owned
// and must outlive this object; thread safety is the parent's.
#pragma once

#include "threads/LProcessInterface.h"

class LProcessInterfaceNested : public LProcessInterface {
public:
  // A null parent behaves as a process that is never stopped.
  explicit LProcessInterfaceNested(LProcessInterface* pParent) : pParent(pParent) {}

  bool IsToStop() override;
  bool ProcessWait(uint32_t dwMilliseconds) override;
  int ProcessWaitSignal(LSignalObjectRef ref, uint32_t dwMilliseconds) override;
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, uint32_t dwMilliseconds) override;
  void ProcessWaitUntilStopped() override;
  int ProcessWaitSignalForever(LSignalObjectRef ref) override;
  int ProcessWaitSignalObjectGroupForever(LSignalObjectGroup& group) override;

  LProcessInterface* GetParent() const { return pParent; }

protected:
  LProcessInterface* pParent;  // the operation this one is part of; not owned
};
