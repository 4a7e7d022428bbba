// The recorder's live line, drawn by the library's thread kit: a thread
// composes the line a few times a second and reports it as status line 0;
// the report travels as a queued notification and is drawn on the main
// thread, which runs its run loop while it waits (see RecordCommand.cpp).
#pragma once

#include "threads/LProcessInterfaceVoid.h"
#include "threads/LThreadNotifyInterface.h"

#include <functional>
#include <string>

namespace harlune::tools {

// Receives the live line on the main thread and draws it on standard error.
class LLiveLineDisplay : public LProcessInterfaceVoid {
public:
    void SetStatus(const char* szText, int nLine) override;
};

// Composes the line every nPeriodMs milliseconds (the first at once) until
// it is asked to stop. fnCompose runs on the thread; it must lock what it
// reads. Create, start and destroy it on the main thread; once it has been
// destroyed, no line it composed is drawn any more.
class LLiveLineThread : public LThreadNotifyInterface {
public:
    LLiveLineThread(LLiveLineDisplay* pDisplay, std::function<std::string()> fnCompose, unsigned nPeriodMs);
    ~LLiveLineThread() override;

protected:
    void ThreadCallback() override;

private:
    std::function<std::string()> fnCompose;  // builds the line; runs on the thread
    unsigned nPeriodMs;                      // milliseconds between two lines
};

} // namespace harlune::tools
