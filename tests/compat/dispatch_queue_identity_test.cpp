// Which queue is which: global queue identifiers and queue labels.

#include "dispatch_test_support.h"

#include <dispatch/dispatch.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using harlune::test::PrintTo;
using harlune::test::sync_serving_main;

struct SameQueueCase {
  const char* name;
  long priority;
  long qos_class;
};

class GlobalQueueIdentifiers : public testing::TestWithParam<SameQueueCase> {};

TEST_P(GlobalQueueIdentifiers, PriorityAndQosClassNameTheSameQueue) {
  dispatch_queue_t by_priority = dispatch_get_global_queue(GetParam().priority, 0);
  ASSERT_NE(by_priority, nullptr);
  EXPECT_EQ(by_priority, dispatch_get_global_queue(GetParam().qos_class, 0));
}

INSTANTIATE_TEST_SUITE_P(Pairs, GlobalQueueIdentifiers,
                         testing::Values(SameQueueCase{"High", DISPATCH_QUEUE_PRIORITY_HIGH, QOS_CLASS_USER_INITIATED},
                                         SameQueueCase{"Default", DISPATCH_QUEUE_PRIORITY_DEFAULT, QOS_CLASS_DEFAULT},
                                         SameQueueCase{"Low", DISPATCH_QUEUE_PRIORITY_LOW, QOS_CLASS_UTILITY},
                                         SameQueueCase{"Background", DISPATCH_QUEUE_PRIORITY_BACKGROUND,
                                                       QOS_CLASS_BACKGROUND}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(GlobalQueueIdentifiers, UnknownIdentifierOrFlagsGiveNull) {
  EXPECT_EQ(dispatch_get_global_queue(7, 0), nullptr);
  EXPECT_EQ(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 1), nullptr);
  EXPECT_NE(dispatch_get_global_queue(QOS_CLASS_USER_INTERACTIVE, 0), dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0));
}

struct LabelCase {
  const char* name;
  dispatch_queue_t (*make)();
  const char* label;
};

dispatch_queue_t created_from_a_reused_buffer() {
  char buffer[32];
  std::strcpy(buffer, "com.harlune.test");
  dispatch_queue_t queue = dispatch_queue_create(buffer, DISPATCH_QUEUE_CONCURRENT);
  std::strcpy(buffer, "overwritten");  // The queue must have copied its label.
  return queue;
}
dispatch_queue_t created_without_label() {
  return dispatch_queue_create(nullptr, nullptr);
}
dispatch_queue_t global_default() {
  return dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0);
}
dispatch_queue_t global_high() {
  return dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_HIGH, 0);
}
dispatch_queue_t main_queue() {
  return dispatch_get_main_queue();
}

class QueueLabels : public testing::TestWithParam<LabelCase> {};

TEST_P(QueueLabels, AreReportedForTheQueueAndFromItsRunningWork) {
  dispatch_queue_t queue = GetParam().make();
  EXPECT_STREQ(dispatch_queue_get_label(queue), GetParam().label);
  __block std::string current;
  sync_serving_main(queue, ^{
    current = dispatch_queue_get_label(DISPATCH_CURRENT_QUEUE_LABEL);
  });
  EXPECT_EQ(current, GetParam().label);
  dispatch_release(queue);
}

INSTANTIATE_TEST_SUITE_P(
    Queues, QueueLabels,
    testing::Values(LabelCase{"Created", &created_from_a_reused_buffer, "com.harlune.test"},
                    LabelCase{"Unlabelled", &created_without_label, ""},
                    LabelCase{"GlobalDefault", &global_default, "com.apple.root.default-qos"},
                    LabelCase{"GlobalHigh", &global_high, "com.apple.root.user-initiated-qos"},
                    LabelCase{"Main", &main_queue, "com.apple.main-thread"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(QueueLabels, CurrentLabelIsEmptyOutsideAnyQueue) {
  EXPECT_STREQ(dispatch_queue_get_label(DISPATCH_CURRENT_QUEUE_LABEL), "");
}

}  // namespace
