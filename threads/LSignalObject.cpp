#include "threads/LSignalObject.h"

#include "threads/LPoll.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

LSignalObject::LSignalObject() {
  int arFds[2];
  if (pipe2(arFds, O_NONBLOCK | O_CLOEXEC) != 0) return;
  nReadFd = arFds[0];
  nWriteFd = arFds[1];
}

LSignalObject::~LSignalObject() {
  if (nReadFd >= 0) close(nReadFd);
  if (nWriteFd >= 0) close(nWriteFd);
}

void LSignalObjectRef::Signal() const {
  if (nWriteFd < 0) return;
  const unsigned char byte = 1;
  // EAGAIN means the pipe is full: the event is signalled already.
  while (write(nWriteFd, &byte, 1) < 0 && errno == EINTR) {
  }
}

void LSignalObjectRef::Reset() const {
  if (nReadFd < 0) return;
  // Read until the pipe is empty: many signals may have left many bytes.
  unsigned char arBuffer[64];
  for (;;) {
    const ssize_t nRead = read(nReadFd, arBuffer, sizeof arBuffer);
    if (nRead > 0) continue;
    if (nRead < 0 && errno == EINTR) continue;
    break;
  }
}

bool LSignalObjectRef::WaitSignal(uint32_t dwMilliseconds) const {
  pollfd entry{nReadFd, POLLIN, 0};
  return LPollReadable(&entry, 1, dwMilliseconds) > 0;
}

bool LSignalObjectRef::IsSignaled() const { return WaitSignal(0); }

bool LSignalObjectRef::WaitSignalDual(LSignalObjectRef other, uint32_t dwMilliseconds) const {
  pollfd arEntries[2] = {{nReadFd, POLLIN, 0}, {other.nReadFd, POLLIN, 0}};
  return LPollReadable(arEntries, 2, dwMilliseconds) > 0;
}

bool LSignalObjectRef::WaitSignalTriple(LSignalObjectRef second, LSignalObjectRef third,
                                        uint32_t dwMilliseconds) const {
  pollfd arEntries[3] = {{nReadFd, POLLIN, 0}, {second.nReadFd, POLLIN, 0}, {third.nReadFd, POLLIN, 0}};
  return LPollReadable(arEntries, 3, dwMilliseconds) > 0;
}
