#include "foundation/events/Interruption.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <csignal>
#include <cstdlib>

namespace tasklane {
namespace {

bool isReadable(int descriptor) {
  pollfd waiting = {descriptor, POLLIN, 0};
  return ::poll(&waiting, 1, 0) == 1;
}

TEST(Interruption, IsNotedForGoodAndSeenByEveryWaiter) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const auto live = [signal] {
      Interruption::startNoting();
      const bool before = Interruption::happened() || isReadable(Interruption::descriptor());
      ::raise(signal);
      ::raise(signal);
      Interruption::startNoting();
      const bool after = Interruption::happened() && isReadable(Interruption::descriptor()) &&
                         isReadable(Interruption::descriptor());
      std::_Exit(!before && after ? 42 : 1);
    };
    EXPECT_EXIT(live(), testing::ExitedWithCode(42), "") << signal;
  }
}

TEST(Interruption, LeavesWhatTheStarterIgnoresIgnored) {
  const auto live = [] {
    ::signal(SIGHUP, SIG_IGN);
    Interruption::startNoting();
    ::raise(SIGHUP);
    std::_Exit(Interruption::happened() ? 1 : 42);
  };
  EXPECT_EXIT(live(), testing::ExitedWithCode(42), "");
}

}  // namespace
}  // namespace tasklane
