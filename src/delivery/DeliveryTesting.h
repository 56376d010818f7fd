#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "delivery/Destination.h"
#include "foundation/base/ScratchFolderTesting.h"

namespace tasklane {

/// For the tests of lists: actions of one morning, and files in a folder of the test's own.
class DeliveryTesting : public testing::Test {
 protected:
  using Kind = DeliveryOutcome::Kind;
  using Type = TLXExternalActionType;

  static constexpr double kMorning = 1795420800;  // 2026-11-23, 08:00 UTC

  static DeliveryAction action(Type type, const std::string& uuid, const std::string& title = {}) {
    DeliveryAction action;
    action.type = type;
    action.uuid = uuid;
    action.title = title;
    action.moment = NSDate(NSTimeInterval(kMorning));
    return action;
  }
  void write(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ + "/" + name, std::ios::binary) << text;
  }
  std::string contents(const std::string& name) const {
    std::ifstream file(folder_ + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const ScratchFolder scratch_;
  const std::string folder_ = scratch_.path();
};

}  // namespace tasklane
