// LSignalObject and LSignalObjectRef: a manually reset event that can be
// waited on with a timeout, built on a pipe so that it works with poll().
//
// The event is signalled while at least one byte sits in the pipe; waiting
// does not consume the byte, only Reset() does. Because the state lives in a
// kernel object, one event can be signalled, waited on and reset from any
// number of threads at once without a lock. The one race is inherent: a byte
// written while another thread resets may be consumed by that reset.
//
// Lifetime: LSignalObject owns the two descriptors and closes them when it is
// destroyed. LSignalObjectRef is a plain copy of the two descriptors; it
// refers to an LSignalObject without owning it and must not outlive it. The
// wait operations of the library take references, so any mix of events can
// be waited on together.
#pragma once

#include <cstdint>

// A timeout is an unsigned count of milliseconds; this value waits without
// limit (it is what poll() reads as -1).
inline constexpr uint32_t kLWaitForever = 0xFFFFFFFFu;

class LSignalObjectRef {
public:
  // An empty reference: its waits return false at once, it never signals.
  LSignalObjectRef() = default;
  LSignalObjectRef(int nReadFd, int nWriteFd) : nReadFd(nReadFd), nWriteFd(nWriteFd) {}

  // Signals the event (writes one byte). A full pipe changes nothing: the
  // event is already signalled.
  void Signal() const;

  // Clears the event: reads the pipe dry.
  void Reset() const;

  // True when the event is signalled now or becomes so within the time.
  // A wait that fails (a closed descriptor, a hang-up) counts as a timeout.
  bool WaitSignal(uint32_t dwMilliseconds) const;
  bool IsSignaled() const;

  // True when any of the two or three events becomes signalled in time.
  bool WaitSignalDual(LSignalObjectRef other, uint32_t dwMilliseconds) const;
  bool WaitSignalTriple(LSignalObjectRef second, LSignalObjectRef third, uint32_t dwMilliseconds) const;

  bool IsValid() const { return nReadFd >= 0 && nWriteFd >= 0; }

  int nReadFd = -1;   // read end of the event's pipe, -1 for none
  int nWriteFd = -1;  // write end of the event's pipe, -1 for none
};

class LSignalObject {
public:
  // Creates the pipe, both ends non-blocking and close-on-exec. When the
  // system refuses a pipe (descriptor limit), the object stays invalid: it
  // never becomes signalled and waits on it time out.
  LSignalObject();
  ~LSignalObject();
  LSignalObject(const LSignalObject&) = delete;
  LSignalObject& operator=(const LSignalObject&) = delete;

  void Signal() const { Ref().Signal(); }
  void Reset() const { Ref().Reset(); }
  bool WaitSignal(uint32_t dwMilliseconds) const { return Ref().WaitSignal(dwMilliseconds); }
  bool IsSignaled() const { return Ref().IsSignaled(); }
  bool IsValid() const { return Ref().IsValid(); }

  LSignalObjectRef Ref() const { return LSignalObjectRef(nReadFd, nWriteFd); }
  operator LSignalObjectRef() const { return Ref(); }

private:
  int nReadFd = -1;   // read end of the pipe, -1 until it exists
  int nWriteFd = -1;  // write end of the pipe, -1 until it exists
};
