#include "foundation/events/NSNotificationCenter.h"

#include <gmock/gmock.h>

#include <vector>

namespace tasklane {
namespace {

using ::testing::ElementsAre;

NSNotificationCenter& center() { return NSNotificationCenter::defaultCenter(); }

TEST(NSNotificationCenter, TellsInOrderWhoAskedForTheNameAndTheSender) {
  const auto sender = std::make_shared<NSObject>();
  auto gone = std::make_shared<NSObject>();
  std::vector<std::string> heard;
  const auto note = [&](std::string who) {
    return [&heard, who = std::move(who)](const NSNotification&) { heard.push_back(who); };
  };
  const auto any = center().addObserver("n", nullptr, note("any"));
  const auto ofSender = center().addObserver("n", sender, note("sender"));
  const auto ofGone = center().addObserver("n", gone, note("gone"));
  const auto otherName = center().addObserver("N", nullptr, note("other"));
  gone.reset();
  center().postNotificationName("n", sender);
  EXPECT_THAT(heard, ElementsAre("any", "sender"));
  heard.clear();
  center().postNotificationName("n", nullptr);
  EXPECT_THAT(heard, ElementsAre("any")) << "also not the observer whose sender is gone";
}

TEST(NSNotificationCenter, ObservationsMayBeginAndEndWhileAPostRuns) {
  std::vector<std::string> heard;
  NSNotificationCenter::Token first, second, added;
  first = center().addObserver("n", nullptr, [&](const NSNotification&) {
    heard.push_back("first");
    second.reset();
    added = center().addObserver("n", nullptr,
                                 [&](const NSNotification&) { heard.push_back("added"); });
    first.reset();
    heard.push_back("still running");
  });
  second =
      center().addObserver("n", nullptr, [&](const NSNotification&) { heard.push_back("second"); });
  center().postNotificationName("n", nullptr);
  EXPECT_THAT(heard, ElementsAre("first", "still running"));
  center().postNotificationName("n", nullptr);
  EXPECT_THAT(heard, ElementsAre("first", "still running", "added"));
}

}  // namespace
}  // namespace tasklane
