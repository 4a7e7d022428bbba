// The library's threading kit: events and waits, locks, threads that can be
// asked to stop, and notifications queued to the main thread.
#pragma once

#include "threads/LSignalObject.h"
#include "threads/LSignalObjectGroup.h"
#include "threads/LSignalObjectNamed.h"
#include "threads/LProcessInterface.h"
#include "threads/LProcessInterfaceVoid.h"
#include "threads/LProcessInterfaceNested.h"
#include "threads/LLockObjectShared.h"
#include "threads/LSystemLockMutex.h"
#include "threads/LThread.h"
#include "threads/LDetachedThread.h"
#include "threads/LRefCounted.h"
#include "threads/LNotifyDataObject.h"
#include "threads/LNotifyMessageDispatcher.h"
#include "threads/LNotifyPartner.h"
#include "threads/LQueuedNotifyDataHandler.h"
#include "threads/LQueuedNotifyDataSender.h"
#include "threads/LThreadQueuedNotify.h"
#include "threads/LThreadNotifyInterface.h"
