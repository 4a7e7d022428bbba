#include "tools/harlune/LiveLineThread.h"

#include "tools/harlune/CommandSupport.h"

namespace harlune::tools {

void LLiveLineDisplay::SetStatus(const char* szText, int nLine) {
    if (nLine == 0 && szText != nullptr) {
        LShowLiveLine(szText);
    }
}

LLiveLineThread::LLiveLineThread(LLiveLineDisplay* pDisplay, std::function<std::string()> fnComposeLine,
                                 unsigned nPeriod)
    : LThreadNotifyInterface(pDisplay), fnCompose(std::move(fnComposeLine)), nPeriodMs(nPeriod) {}

LLiveLineThread::~LLiveLineThread() {
    StopThreadAndWait();
}

void LLiveLineThread::ThreadCallback() {
    do {
        SetStatus(fnCompose().c_str(), 0);
    } while (!ProcessWait(nPeriodMs));
}

} // namespace harlune::tools
