// Named events between processes of the same user: LSignalObjectNamed,
// LSignalObjectNamedSignaller and LSignalObjectNamedWaiter.
//
// A named event is a Unix-domain stream socket at a path built from the name
// in the user's application support folder. The waiter listens there; a
// signaller signals by connecting and writing one byte. Nothing blocks the
// signaller: it connects without waiting (a full backlog or a missing waiter
// simply drop the signal) and writes without raising SIGPIPE.
//
// The path must fit a socket address: names whose path is longer than 103
// characters are refused (the waiter never becomes readable, signals are
// dropped). Use short names.
//
// Thread safety: one object is used by one thread at a time; any number of
// signallers, in any processes, may signal one waiter at once.
#pragma once

#include "threads/LSignalObject.h"

#include <sys/un.h>

#include <cstddef>
#include <cstdint>

// Longest socket path accepted, in characters (the home platform's limit).
inline constexpr std::size_t kLMaxSocketPath = 103;

// Common part: the socket address built from the name.
class LSignalObjectNamedBase {
public:
  const char* GetPath() const { return addr.sun_path; }
  // The path was built and fits a socket address.
  bool HasAddress() const { return addr.sun_path[0] != 0; }

protected:
  explicit LSignalObjectNamedBase(const char* szName);
  // Connects to the waiter and writes one byte; closes the socket.
  void SignalAddress() const;

  sockaddr_un addr{};  // AF_UNIX address; empty path when the name was refused
};

// Signals and clears a named event. Its constructor opens nothing; Reset()
// reads its descriptor dry when it has one.
class LSignalObjectNamed : public LSignalObjectNamedBase {
public:
  explicit LSignalObjectNamed(const char* szName) : LSignalObjectNamedBase(szName) {}
  // Closes its descriptor and removes the path, only when it has one open.
  ~LSignalObjectNamed();
  LSignalObjectNamed(const LSignalObjectNamed&) = delete;
  LSignalObjectNamed& operator=(const LSignalObjectNamed&) = delete;

  void Signal() const { SignalAddress(); }
  void Reset();

private:
  int nSocket = -1;  // descriptor, -1 when closed
};

// Only signals.
class LSignalObjectNamedSignaller : public LSignalObjectNamedBase {
public:
  explicit LSignalObjectNamedSignaller(const char* szName) : LSignalObjectNamedBase(szName) {}
  void Signal() const { SignalAddress(); }
};

// Waits for signals: listens at the path (replacing any file there).
class LSignalObjectNamedWaiter : public LSignalObjectNamedBase {
public:
  explicit LSignalObjectNamedWaiter(const char* szName);
  // Closes the kept connection and the listening socket; removes the path
  // when a connection had been kept.
  ~LSignalObjectNamedWaiter();
  LSignalObjectNamedWaiter(const LSignalObjectNamedWaiter&) = delete;
  LSignalObjectNamedWaiter& operator=(const LSignalObjectNamedWaiter&) = delete;

  // Waits up to the time for a signaller, then accepts one pending
  // connection, which replaces the one kept before. True when a connection
  // was accepted and also when none was pending (the wait ran out); false
  // when the wait or the accept failed. WasSignaled() tells the two true
  // answers apart. A waiter that could not listen fails every wait: after
  // sleeping the time when it is limited, at once when it is not.
  bool WaitSignal(uint32_t dwMilliseconds);
  // Reads the kept connection dry.
  void Reset();

  // The last WaitSignal() accepted a connection.
  bool WasSignaled() const { return bSignaled; }
  bool IsListening() const { return nListenSocket >= 0; }

private:
  int nListenSocket = -1;  // listening socket, -1 when closed
  int nConnection = -1;    // connection last accepted, -1 when none
  bool bSignaled = false;  // the last wait accepted a connection
};
