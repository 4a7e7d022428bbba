#include "threads/LSignalObjectNamed.h"

#include "diagnostics/LFilePath.h"
#include "threads/LPoll.h"
#include "threads/LSignalObject.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

void LReadDry(int nSocket) {
  if (nSocket < 0) return;
  unsigned char byte;
  for (;;) {
    const ssize_t nRead = recv(nSocket, &byte, 1, MSG_DONTWAIT);
    if (nRead > 0) continue;
    if (nRead < 0 && errno == EINTR) continue;
    break;
  }
}

}  // namespace

LSignalObjectNamedBase::LSignalObjectNamedBase(const char* szName) {
  addr.sun_family = AF_UNIX;
  if (szName == nullptr || szName[0] == 0) return;
  char szFolder[kLMaxPath];
  if (!GetUserSpecialFolder(szFolder, kLApplicationSupportDirectory, "Library/Application Support")) return;
  char szPath[kLMaxPath];
  LFile::_MakeFilePath(szPath, szFolder, szName, nullptr);
  const std::size_t nLength = std::strlen(szPath);
  // A path cut to the buffer, or longer than an address holds, would name
  // another socket: refuse it instead.
  if (nLength == 0 || nLength >= kLMaxPath - 1 || nLength > kLMaxSocketPath) return;
  std::memcpy(addr.sun_path, szPath, nLength + 1);
}

void LSignalObjectNamedBase::SignalAddress() const {
  if (!HasAddress()) return;
  const int nSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (nSocket < 0) return;
  int nResult;
  do {
    nResult = connect(nSocket, reinterpret_cast<const sockaddr*>(&addr), sizeof addr);
  } while (nResult != 0 && errno == EINTR);
  if (nResult == 0) {
    const unsigned char byte = 1;
    while (send(nSocket, &byte, 1, MSG_NOSIGNAL) < 0 && errno == EINTR) {
    }
  }
  close(nSocket);
}

LSignalObjectNamed::~LSignalObjectNamed() {
  if (nSocket < 0) return;
  close(nSocket);
  if (HasAddress()) unlink(addr.sun_path);
}

void LSignalObjectNamed::Reset() { LReadDry(nSocket); }

LSignalObjectNamedWaiter::LSignalObjectNamedWaiter(const char* szName) : LSignalObjectNamedBase(szName) {
  if (!HasAddress()) return;
  nListenSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (nListenSocket < 0) return;
  unlink(addr.sun_path);
  if (bind(nListenSocket, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0 ||
      listen(nListenSocket, 5) != 0) {
    close(nListenSocket);
    nListenSocket = -1;
  }
}

LSignalObjectNamedWaiter::~LSignalObjectNamedWaiter() {
  const bool bHadConnection = nConnection >= 0;
  if (nConnection >= 0) close(nConnection);
  if (nListenSocket >= 0) close(nListenSocket);
  if (bHadConnection && HasAddress()) unlink(addr.sun_path);
}

bool LSignalObjectNamedWaiter::WaitSignal(uint32_t dwMilliseconds) {
  bSignaled = false;
  if (nListenSocket < 0) {
    if (dwMilliseconds != kLWaitForever) LSleepMilliseconds(dwMilliseconds);
    return false;
  }
  pollfd entry{nListenSocket, POLLIN, 0};
  if (LPollReadable(&entry, 1, dwMilliseconds) < 0) return false;
  int nAccepted;
  do {
    nAccepted = accept4(nListenSocket, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  } while (nAccepted < 0 && errno == EINTR);
  if (nAccepted < 0) return errno == EAGAIN || errno == EWOULDBLOCK;
  if (nConnection >= 0) close(nConnection);
  nConnection = nAccepted;
  bSignaled = true;
  return true;
}

void LSignalObjectNamedWaiter::Reset() { LReadDry(nConnection); }
