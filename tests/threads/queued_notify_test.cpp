// Notifications queued to the main thread: what arrives, in which order, on
// which thread, and that nothing arrives after its handler is destroyed.
#include "threads/LThreads.h"

#include "main_thread_support.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using harlune::test::RunMainFor;
using harlune::test::RunMainUntil;

struct Delivery {
  unsigned nCode;
  bool bHasData;
  std::string szBytes;  // the bytes delivered, when any
  unsigned long nLength;
  bool bOnMain;
};

class RecordingHandler : public LQueuedNotifyDataHandler {
public:
  ~RecordingHandler() override { QueuedNotifyDataHandlerDestroy(); }
  void EvQueuedNotifyData(unsigned nCode, const void* pData, unsigned long nLength) override {
    arDeliveries.push_back(Delivery{nCode, pData != nullptr,
                                    pData != nullptr ? std::string(static_cast<const char*>(pData), nLength) : "",
                                    nLength, pthread_main_np() != 0});
    if (bDestroyOnFirst) delete this;
  }
  std::vector<Delivery> arDeliveries;  // main thread only
  bool bDestroyOnFirst = false;
};

// Posts from a thread of its own, as workers do, and waits for the posts.
template <class Post>
void PostFromAnotherThread(Post post) {
  std::thread poster(post);
  poster.join();
}

const char gszBytes[] = "abc";

struct SendCase {
  const char* name;
  void (*post)(LQueuedNotifyDataSender& sender);
  Delivery expected;
};

class QueuedNotifyData : public testing::TestWithParam<SendCase> {};

TEST_P(QueuedNotifyData, ArrivesOnTheMainThreadAsPosted) {
  RecordingHandler handler;
  LQueuedNotifyDataSender sender(&handler);
  PostFromAnotherThread([&] { GetParam().post(sender); });
  EXPECT_TRUE(handler.arDeliveries.empty());  // not before the main thread runs
  ASSERT_TRUE(RunMainUntil([&] { return !handler.arDeliveries.empty(); }));
  const Delivery& got = handler.arDeliveries[0];
  const Delivery& want = GetParam().expected;
  EXPECT_EQ(got.nCode, want.nCode);
  EXPECT_EQ(got.bHasData, want.bHasData);
  EXPECT_EQ(got.szBytes, want.szBytes);
  EXPECT_EQ(got.nLength, want.nLength);
  EXPECT_TRUE(got.bOnMain);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, QueuedNotifyData,
    testing::Values(
        SendCase{"Nothing", [](LQueuedNotifyDataSender& s) { s.NotifyData(); }, {0, false, "", 0, true}},
        SendCase{"CodeOnly", [](LQueuedNotifyDataSender& s) { s.NotifyData(7); }, {7, false, "", 0, true}},
        SendCase{"Integer", [](LQueuedNotifyDataSender& s) { s.NotifyData(7, 42L); }, {7, false, "", 42, true}},
        SendCase{"NegativeInteger", [](LQueuedNotifyDataSender& s) { s.NotifyData(7, -1L); },
                 {7, false, "", ULONG_MAX, true}},
        SendCase{"Bytes",
                 [](LQueuedNotifyDataSender& s) {
                   char arBuffer[3];
                   std::memcpy(arBuffer, gszBytes, 3);
                   s.NotifyData(7, arBuffer, 3);
                   std::memset(arBuffer, 'x', 3);  // the copy was made at posting
                 },
                 {7, true, "abc", 3, true}},
        SendCase{"EmptyBytes", [](LQueuedNotifyDataSender& s) { s.NotifyData(8, gszBytes, 0); },
                 {8, true, "", 0, true}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(QueuedNotifyDataOrder, IsKeptPerPostingThread) {
  constexpr unsigned kThreads = 4;
  constexpr long kEach = 300;
  RecordingHandler handler;
  std::vector<std::thread> posters;
  for (unsigned t = 0; t < kThreads; ++t) {
    posters.emplace_back([&handler, t] {
      LQueuedNotifyDataSender sender(&handler);
      for (long i = 0; i < kEach; ++i) sender.NotifyData(t, i);
    });
  }
  for (auto& poster : posters) poster.join();
  ASSERT_TRUE(RunMainUntil([&] { return handler.arDeliveries.size() == kThreads * kEach; }));
  std::vector<unsigned long> arNext(kThreads, 0);
  for (const Delivery& delivery : handler.arDeliveries) {
    ASSERT_LT(delivery.nCode, kThreads);
    EXPECT_EQ(delivery.nLength, arNext[delivery.nCode]++) << "thread " << delivery.nCode;
  }
}

TEST(QueuedNotifyDataDestroy, NothingArrivesAfterTheHandlerIsDestroyed) {
  auto* pHandler = new RecordingHandler();
  std::vector<Delivery>* parSeen = &pHandler->arDeliveries;
  LQueuedNotifyDataSender sender(pHandler);
  PostFromAnotherThread([&] {
    for (int i = 0; i < 100; ++i) sender.NotifyData(1, gszBytes, 3);
  });
  pHandler->QueuedNotifyDataHandlerDestroy();
  EXPECT_FALSE(pHandler->IsQueuedNotifyDataHandlerLive());
  sender.NotifyData(2);  // after the destroy: dropped at once
  EXPECT_TRUE(parSeen->empty());
  delete pHandler;  // the queued deliveries now refer to a deleted handler
  RunMainFor(0.1);  // and must do nothing (AddressSanitizer checks)
  LQueuedNotifyDataSender none(nullptr);
  none.NotifyData(3);
  SUCCEED();
}

TEST(QueuedNotifyDataDestroy, AHandlerMayDestroyItselfInItsCallback) {
  auto* pHandler = new RecordingHandler();
  pHandler->bDestroyOnFirst = true;
  LQueuedNotifyDataSender sender(pHandler);
  for (int i = 0; i < 5; ++i) sender.NotifyData(1);
  RunMainFor(0.1);  // the first delivery deletes it; the other four must not touch it
  SUCCEED();
}

class CountingReceiver : public LNotifyReceiver {
public:
  void InvokeEvNotify(LNotifyDataObject* pData) override { arCodes.push_back(pData->GetCode()); }
  std::vector<unsigned> arCodes;
};

TEST(NotifyMessageDispatcher, DropsWhatIsPostedDuringADrainAndAcceptsAfterIt) {
  CountingReceiver receiver;
  LNotifyMessageDispatcher* pDispatcher = LNotifyMessageDispatcher::Create();
  ASSERT_NE(pDispatcher, nullptr);
  pDispatcher->SetReceiver(&receiver);
  LNotifyDataObject* arData[3] = {LNotifyDataObject::Create(1, nullptr, 0), LNotifyDataObject::Create(2, nullptr, 0),
                                  LNotifyDataObject::Create(3, nullptr, 0)};
  pDispatcher->DispatchData(arData[0]);
  pDispatcher->DrainMessages();
  EXPECT_TRUE(pDispatcher->IsDraining());
  pDispatcher->DispatchData(arData[1]);  // dropped
  ASSERT_TRUE(RunMainUntil([&] { return !pDispatcher->IsDraining(); }));
  pDispatcher->DispatchData(arData[2]);
  ASSERT_TRUE(RunMainUntil([&] { return receiver.arCodes.size() == 2; }));
  EXPECT_EQ(receiver.arCodes, (std::vector<unsigned>{1, 3}));
  for (auto* pData : arData) pData->Release();
  pDispatcher->SetReceiver(nullptr);
  pDispatcher->Release();
}

class CountingQueuedNotify : public LThreadQueuedNotify {
public:
  ~CountingQueuedNotify() override { ThreadQueuedNotifyDestroy(); }
  void EvThreadQueuedNotify() override {
    ++nCalls;
    bAllOnMain = bAllOnMain && pthread_main_np() != 0;
  }
  int nCalls = 0;
  bool bAllOnMain = true;
};

TEST(ThreadQueuedNotify, OnTheMainThreadCallsAtOnce) {
  CountingQueuedNotify notify;
  notify.PostQueueNotify();
  EXPECT_EQ(notify.nCalls, 1);
}

TEST(ThreadQueuedNotify, FromAnotherThreadCallsLaterOnTheMainThread) {
  CountingQueuedNotify notify;
  PostFromAnotherThread([&] {
    notify.PostQueueNotify();
    notify.PostQueueNotify();
  });
  EXPECT_EQ(notify.nCalls, 0);
  ASSERT_TRUE(RunMainUntil([&] { return notify.nCalls == 2; }));
  EXPECT_TRUE(notify.bAllOnMain);
}

TEST(ThreadQueuedNotify, NothingAfterDestroy) {
  CountingQueuedNotify notify;
  PostFromAnotherThread([&] { notify.PostQueueNotify(); });
  notify.ThreadQueuedNotifyDestroy();
  notify.PostQueueNotify();
  PostFromAnotherThread([&] { notify.PostQueueNotify(); });
  RunMainFor(0.1);
  EXPECT_EQ(notify.nCalls, 0);
}

}  // namespace
