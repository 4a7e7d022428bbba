// LQueuedNotifyDataSender: the sending end of queued notifications. Posts
// numbered notifications, with nothing, an integer or a copy of some bytes,
// to its handler; they are delivered on the main thread. Posting never waits
// for the main thread.
//
// Thread safety: any thread may post, at the same time as others. Lifetime:
// the handler is not owned and must outlive the sender's posts; posting to a
// destroyed handler, or through a sender without one, does nothing.
#pragma once

#include "threads/LQueuedNotifyDataHandler.h"

class LQueuedNotifyDataSender {
public:
  explicit LQueuedNotifyDataSender(LQueuedNotifyDataHandler* pHandler) : pHandler(pHandler) {}

  // Code 0 with nothing.
  void NotifyData() { PostNotify(0, nullptr, 0); }
  void NotifyData(unsigned nCode) { PostNotify(nCode, nullptr, 0); }
  // The integer arrives as the length, with data null.
  void NotifyData(unsigned nCode, long nValue) { PostNotify(nCode, nullptr, static_cast<unsigned long>(nValue)); }
  // A copy of the bytes is made now; the caller's buffer is not kept.
  void NotifyData(unsigned nCode, const void* pData, unsigned long nLength) { PostNotify(nCode, pData, nLength); }

  // The common operation: with data, copies lengthOrIntData bytes; without,
  // lengthOrIntData is the integer. Dropped (silently) when the handler is
  // gone or memory for the copy runs out.
  void PostNotify(unsigned nCode, const void* pData, unsigned long lengthOrIntData);

  LQueuedNotifyDataHandler* GetHandler() const { return pHandler; }

private:
  LQueuedNotifyDataHandler* pHandler;  // where notifications go; not owned
};
