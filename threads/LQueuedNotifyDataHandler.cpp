#include "threads/LQueuedNotifyDataHandler.h"

#include <atomic>
#include <new>

namespace {

// The handler's partner: what the dispatcher delivers to.
class LQueuedNotifyDataHandlerImpl final : public LNotifyPartner {
public:
  explicit LQueuedNotifyDataHandlerImpl(LQueuedNotifyDataHandler* pHandler) : pInterface(pHandler) {}

  void InvokeEvNotify(LNotifyDataObject* pData) override {
    LQueuedNotifyDataHandler* pHandler = pInterface.load();
    if (pHandler == nullptr || pData == nullptr) return;
    // The handler may destroy itself from its callback: keep this partner
    // alive until the call returned.
    Retain();
    const void* pBytes = pData->GetData();
    const unsigned long nLength =
        pBytes != nullptr ? static_cast<unsigned long>(pData->GetDataLength()) : static_cast<unsigned long>(pData->GetIntData());
    pHandler->EvQueuedNotifyData(pData->GetCode(), pBytes, nLength);
    Release();
  }

protected:
  void ClearInterface() override { pInterface.store(nullptr); }

private:
  std::atomic<LQueuedNotifyDataHandler*> pInterface;  // the handler; not owned
};

}  // namespace

LQueuedNotifyDataHandler::LQueuedNotifyDataHandler()
    : slot(new (std::nothrow) LQueuedNotifyDataHandlerImpl(this)) {}

LQueuedNotifyDataHandler::~LQueuedNotifyDataHandler() { QueuedNotifyDataHandlerDestroy(); }

void LQueuedNotifyDataHandler::QueuedNotifyDataHandlerDestroy() { slot.Destroy(); }
