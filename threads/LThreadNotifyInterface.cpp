#include "threads/LThreadNotifyInterface.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

LThreadNotifyInterface::LThreadNotifyInterface(LProcessInterface* pTarget)
    : pTarget(pTarget), sender(this), arszStatus{{0}, {0}} {}

LThreadNotifyInterface::~LThreadNotifyInterface() {
  StopThreadAndWait();
  QueuedNotifyDataHandlerDestroy();
}

void LThreadNotifyInterface::SetError(const char* szText) {
  if (szText == nullptr) return;
  sender.NotifyData(kLNotifyError, szText, static_cast<unsigned long>(std::strlen(szText) + 1));
}

void LThreadNotifyInterface::SetStatus(const char* szText, int nLine) {
  if (nLine != 0 && nLine != 1) return;
  {
    std::lock_guard<std::mutex> lock(mtxStatus);
    char* szLine = arszStatus[nLine];
    const std::size_t nLength = szText != nullptr ? strnlen(szText, kLStatusCapacity - 1) : 0;
    if (nLength > 0) std::memcpy(szLine, szText, nLength);
    szLine[nLength] = 0;
  }
  sender.NotifyData(nLine == 0 ? kLNotifyStatusLine0 : kLNotifyStatusLine1);
}

void LThreadNotifyInterface::SetProgress(double fFraction) {
  // The percentage must fit a signed 32-bit number; what does not (and
  // NaN) is clamped rather than turned into an undefined conversion.
  double fPercent = fFraction * 100.0;
  if (!(fPercent >= 0.0)) fPercent = 0.0;
  if (fPercent > static_cast<double>(INT32_MAX)) fPercent = static_cast<double>(INT32_MAX);
  const int32_t nPercent = static_cast<int32_t>(fPercent);
  sender.NotifyData(kLNotifyProgress, static_cast<long>(nPercent));
}

void LThreadNotifyInterface::SetProgressIndeterminateOn() { sender.NotifyData(kLNotifyProgressIndeterminateOn); }

void LThreadNotifyInterface::SetProgressIndeterminateOff() { sender.NotifyData(kLNotifyProgressIndeterminateOff); }

void LThreadNotifyInterface::EvQueuedNotifyData(unsigned nCode, const void* pData, unsigned long nLength) {
  if (pTarget == nullptr) return;
  switch (nCode) {
    case kLNotifyError: {
      if (pData == nullptr) return;
      // Another sender may post code 0 with bytes that lack the terminator:
      // never read past what was posted.
      const char* szText = static_cast<const char*>(pData);
      const std::string szError(szText, strnlen(szText, nLength));
      pTarget->SetError(szError.c_str());
      return;
    }
    case kLNotifyStatusLine0:
    case kLNotifyStatusLine1: {
      const int nLine = nCode == kLNotifyStatusLine0 ? 0 : 1;
      char szCopy[kLStatusCapacity];
      {
        std::lock_guard<std::mutex> lock(mtxStatus);
        std::memcpy(szCopy, arszStatus[nLine], kLStatusCapacity);
      }
      pTarget->SetStatus(szCopy, nLine);
      return;
    }
    case kLNotifyProgress:
      // The integer was widened from 32 bits with its sign.
      pTarget->SetProgress(static_cast<double>(static_cast<int32_t>(static_cast<long>(nLength))) * 0.01);
      return;
    case kLNotifyProgressIndeterminateOn:
      pTarget->SetProgressIndeterminateOn();
      return;
    case kLNotifyProgressIndeterminateOff:
      pTarget->SetProgressIndeterminateOff();
      return;
    default:
      return;  // codes of other senders
  }
}
