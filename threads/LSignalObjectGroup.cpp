#include "threads/LSignalObjectGroup.h"

#include "threads/LPoll.h"

bool LSignalObjectGroup::Add(LSignalObjectRef ref) {
  if (nEntries >= kLMaxEntries) return false;
  arEntries[nEntries] = pollfd{ref.nReadFd, POLLIN, 0};
  ++nEntries;
  return true;
}

void LSignalObjectGroup::Add(const LSignalObjectGroup& other) {
  // Copy the count first: adding a group to itself must stop at its old end.
  const uint64_t nOther = other.nEntries;
  for (uint64_t i = 0; i < nOther && nEntries < kLMaxEntries; ++i) {
    arEntries[nEntries] = pollfd{other.arEntries[i].fd, POLLIN, 0};
    ++nEntries;
  }
}

bool LSignalObjectGroup::Select(uint32_t dwMilliseconds) {
  if (nEntries == 0) return false;
  return LPollReadable(arEntries, nEntries, dwMilliseconds) > 0;
}

bool LSignalObjectGroup::IsEntrySignaled(std::size_t nIndex) const {
  return nIndex < nEntries && (arEntries[nIndex].revents & POLLIN) != 0;
}

long LSignalObjectGroup::FindDescriptor(int nReadFd) const {
  for (uint64_t i = 0; i < nEntries; ++i) {
    if (arEntries[i].fd == nReadFd) return static_cast<long>(i);
  }
  return -1;
}

int LSignalObjectGroup::SelectWithExtra(int nExtraReadFd, uint32_t dwMilliseconds) {
  pollfd arAll[kLMaxEntries + 1];
  std::size_t nAll = 0;
  for (; nAll < nEntries; ++nAll) arAll[nAll] = arEntries[nAll];
  if (nExtraReadFd >= 0) arAll[nAll++] = pollfd{nExtraReadFd, POLLIN, 0};
  if (nAll == 0) return 0;
  const int nReadable = LPollReadable(arAll, nAll, dwMilliseconds);
  int nResult = 0;
  for (uint64_t i = 0; i < nEntries; ++i) {
    arEntries[i].revents = arAll[i].revents;
    if (nReadable > 0 && (arAll[i].revents & POLLIN)) nResult |= 1;
  }
  if (nReadable > 0 && nExtraReadFd >= 0 && (arAll[nAll - 1].revents & POLLIN)) nResult |= 2;
  return nResult;
}
