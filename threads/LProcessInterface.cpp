#include "threads/LProcessInterface.h"


#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace {
// Formatted reports are cut to this many characters.
constexpr std::size_t kFormatCapacity = 8192;
}  // namespace

LProcessInterface::~LProcessInterface() = default;

void LProcessInterface::ProcessWaitUntilStopped() { ProcessWait(kLWaitForever); }

int LProcessInterface::ProcessWaitSignalForever(LSignalObjectRef ref) {
  return ProcessWaitSignal(ref, kLWaitForever);
}

int LProcessInterface::ProcessWaitSignalObjectGroupForever(LSignalObjectGroup& group) {
  return ProcessWaitSignalObjectGroup(group, kLWaitForever);
}

void LProcessInterface::SetError(const char*) {}
void LProcessInterface::SetStatus(const char*, int) {}
void LProcessInterface::SetProgress(double) {}
void LProcessInterface::SetProgressIndeterminateOn() {}
void LProcessInterface::SetProgressIndeterminateOff() {}

namespace {
// Formats into the buffer of kFormatCapacity bytes; a format error gives
// the empty text.
__attribute__((format(printf, 2, 0))) void LFormatReport(char* szText, const char* szFormat, va_list args) {
  if (vsnprintf(szText, kFormatCapacity, szFormat, args) < 0) szText[0] = 0;
}
}  // namespace

void LProcessInterface::SetErrorF(const char* szFormat, ...) {
  if (szFormat == nullptr) return;
  char szText[kFormatCapacity];
  va_list args;
  va_start(args, szFormat);
  LFormatReport(szText, szFormat, args);
  va_end(args);
  SetError(szText);
}

void LProcessInterface::SetStatusF(int nLine, const char* szFormat, ...) {
  if (szFormat == nullptr) return;
  char szText[kFormatCapacity];
  va_list args;
  va_start(args, szFormat);
  LFormatReport(szText, szFormat, args);
  va_end(args);
  SetStatus(szText, nLine);
}
