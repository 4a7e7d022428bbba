// One-time initialisation under racing callers.

#include "dispatch_test_support.h"

#include <dispatch/dispatch.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace {

using harlune::test::PrintTo;

struct Initialised {
  std::atomic<int> runs{0};
  int value = 0;  // Plain int: dispatch_once must publish it to every caller.
};

void initialise(void* context) {
  auto* state = static_cast<Initialised*>(context);
  // Slow enough that the racing callers arrive while it runs.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  state->value = 42;
  ++state->runs;
}

struct OnceCase {
  const char* name;
  void (*call)(dispatch_once_t* predicate, Initialised* state);
};

void with_block(dispatch_once_t* predicate, Initialised* state) {
  dispatch_once(predicate, ^{
    initialise(state);
  });
}

void with_function(dispatch_once_t* predicate, Initialised* state) {
  dispatch_once_f(predicate, state, &initialise);
}

class DispatchOnce : public testing::TestWithParam<OnceCase> {};

TEST_P(DispatchOnce, RunsExactlyOnceAndEveryCallerSeesTheResult) {
  constexpr int kThreads = 8;
  static dispatch_once_t predicate;
  predicate = 0;
  Initialised state;
  std::latch start(kThreads);
  std::vector<int> seen(kThreads, -1);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      GetParam().call(&predicate, &state);
      seen[t] = state.value;
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  GetParam().call(&predicate, &state);  // Long after: still not again.
  EXPECT_EQ(state.runs, 1);
  EXPECT_EQ(seen, std::vector<int>(kThreads, 42));
}

INSTANTIATE_TEST_SUITE_P(Forms, DispatchOnce,
                         testing::Values(OnceCase{"Block", &with_block}, OnceCase{"Function", &with_function}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
