// LSignalObjectGroup: a set of up to 256 events waited on together.
//
// The group holds poll() entries for the read ends of the events added to it;
// Select() reports whether any of them became signalled. After a Select() the
// entries' returned events tell which ones did (IsEntrySignaled()).
//
// Thread safety: a group is a plain value; one thread at a time may change or
// select it. The events it refers to are not owned and must outlive it.
#pragma once

#include "threads/LSignalObject.h"

#include <poll.h>

#include <cstddef>
#include <cstdint>

class LSignalObjectGroup {
public:
  static constexpr std::size_t kLMaxEntries = 256;

  // Appends the event's read end when fewer than 256 entries are in use; a
  // full group ignores further additions. Returns whether it was added.
  bool Add(LSignalObjectRef ref);
  // Appends as many of the other group's entries as fit.
  void Add(const LSignalObjectGroup& other);

  // False for an empty group, else true when any entry is signalled now or
  // becomes so within the time. A failed wait counts as a timeout.
  bool Select(uint32_t dwMilliseconds);
  bool IsSignaled() { return Select(0); }

  uint64_t GetCount() const { return nEntries; }
  int GetDescriptor(std::size_t nIndex) const { return nIndex < nEntries ? arEntries[nIndex].fd : -1; }
  // Whether the entry was found readable by the last Select().
  bool IsEntrySignaled(std::size_t nIndex) const;
  // Index of the entry with this read end, or -1.
  long FindDescriptor(int nReadFd) const;

  // Waits on the group's entries and, when it is not -1, one extra read end
  // that is not stored in the group. Returns 0 when nothing became readable
  // in time, else a bit set: 1 for a group entry, 2 for the extra one.
  int SelectWithExtra(int nExtraReadFd, uint32_t dwMilliseconds);

private:
  pollfd arEntries[kLMaxEntries] = {};  // descriptor, POLLIN, returned events
  uint64_t nEntries = 0;                // entries in use
};
