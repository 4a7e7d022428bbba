// LDetachedThread and LDetachedThreadsOwner: threads that nobody joins.
// Each belongs to an owner's list; when its body returns it deletes itself
// through its owner, and the owner can ask all of them to stop, stop and
// delete them now, or wait a bounded time for them.
//
// Use: allocate a derived thread with new, Add() it to the owner, then
// StartDetached(owner, priority). From then on the owner (or the thread
// itself) deletes it; never delete it yourself. Add and StartDetached of a
// thread run on one thread and not at the same time as StopThreadsNow() or
// WaitToStop() on the same owner.
//
// Thread safety: the owner's operations may be called from any thread; the
// list mutex is never held while a thread is waited for or deleted. The
// owner must outlive its threads: its destructor stops and deletes every
// thread still listed.
#pragma once

#include "threads/LThread.h"

#include <condition_variable>
#include <mutex>

class LDetachedThreadsOwner;

class LDetachedThread : public LThread {
public:
  LDetachedThread() = default;
  ~LDetachedThread() override;

  // Starts the body on a detached thread and waits until it began. Returns
  // 0, or the error number of the thread's creation (the thread is then not
  // running and stays on the owner's list until the owner deletes it).
  int StartDetached(LDetachedThreadsOwner& owner, int nPriority = 0);

  LDetachedThreadsOwner* GetOwner() const { return pOwner; }

private:
  friend class LDetachedThreadsOwner;
  static void* DetachedThreadEntry(void* pThread);

  LDetachedThread* pNext = nullptr;          // next thread in the owner's list
  LDetachedThreadsOwner* pOwner = nullptr;   // the owner that deletes this thread
};

class LDetachedThreadsOwner {
public:
  LDetachedThreadsOwner() = default;
  // Stops and deletes every thread still listed (StopThreadsNow).
  ~LDetachedThreadsOwner();
  LDetachedThreadsOwner(const LDetachedThreadsOwner&) = delete;
  LDetachedThreadsOwner& operator=(const LDetachedThreadsOwner&) = delete;

  // Puts the thread at the head of the list (before StartDetached). A null
  // thread or one listed already is ignored.
  void Add(LDetachedThread* pThread);
  // Takes the thread off the list, waits for its end and deletes it;
  // nothing when it is not listed. Not from the thread's own body.
  void Destruct(LDetachedThread* pThread);
  // Asks every listed thread to stop; does not wait.
  void StopThreadsSoon();
  // Asks every thread to stop, then takes each off the list, waits for its
  // end and deletes it, until the list is empty. It also waits for threads
  // that finished on their own and are deleting themselves, so when it
  // returns no thread of this owner runs any more of its code.
  void StopThreadsNow();
  // Waits up to the time, through the process interface, for the listed
  // threads to end, deleting each that did. True when the list is empty;
  // false when the time ran out or the process interface was asked to stop
  // (the thread being waited for is then put back at the head of the list).
  bool WaitToStop(LProcessInterface& process, uint32_t dwMilliseconds);

  // Threads listed now (for diagnostics and tests).
  std::size_t GetCount();
  bool Contains(LDetachedThread* pThread);

private:
  friend class LDetachedThread;
  // Takes the thread off the list when it is listed; true when it was.
  bool Unlink(LDetachedThread* pThread);
  bool UnlinkLocked(LDetachedThread* pThread);
  // Takes the first thread off the list, or null.
  LDetachedThread* TakeFirst();
  void PutBackFirst(LDetachedThread* pThread);
  // Waits for the end of a thread that nobody else references any more.
  void WaitForEnd(LDetachedThread* pThread);
  // After a thread's stopped signal: waits until the thread has let go of
  // the list mutex, under which it signalled, so that it no longer touches
  // its object.
  void PassThreadsSignal();

  // Waits until no finished thread is still deleting itself.
  void WaitForSelfDeletions();

  LDetachedThread* pHead = nullptr;  // first thread of the list
  std::mutex mtxList;                // guards the list and nSelfDeleting
  // Threads that unlinked themselves and are deleting themselves now; the
  // owner must outlive each of them until it is done.
  int nSelfDeleting = 0;
  std::condition_variable cvSelfDeleted;  // signalled when nSelfDeleting drops
};
