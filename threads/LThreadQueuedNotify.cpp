#include "threads/LThreadQueuedNotify.h"

#include <pthread.h>

#include <atomic>
#include <new>

namespace {

class LThreadQueuedNotifyImpl final : public LNotifyPartner {
public:
  explicit LThreadQueuedNotifyImpl(LThreadQueuedNotify* pNotify) : pInterface(pNotify) {}

  void InvokeEvNotify(LNotifyDataObject*) override {
    LThreadQueuedNotify* pNotify = pInterface.load();
    if (pNotify == nullptr) return;
    Retain();  // the callback may destroy its object
    pNotify->EvThreadQueuedNotify();
    Release();
  }

protected:
  void ClearInterface() override { pInterface.store(nullptr); }

private:
  std::atomic<LThreadQueuedNotify*> pInterface;  // the receiving end; not owned
};

}  // namespace

LThreadQueuedNotify::LThreadQueuedNotify() : slot(new (std::nothrow) LThreadQueuedNotifyImpl(this)) {}

LThreadQueuedNotify::~LThreadQueuedNotify() { ThreadQueuedNotifyDestroy(); }

void LThreadQueuedNotify::ThreadQueuedNotifyDestroy() { slot.Destroy(); }

void LThreadQueuedNotify::PostQueueNotify() {
  if (pthread_main_np()) {
    if (slot.IsLive()) EvThreadQueuedNotify();
    return;
  }
  slot.Post(nullptr);
}
