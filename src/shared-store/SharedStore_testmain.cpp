#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "shared-store/SharedStoreTesting.h"

int main(int argc, char** argv) {
  using namespace tasklane::testing;
  if (argc > 2 && std::string(argv[1]) == "--role") {
    prepareProcess(argv[2]);
    return playRole({argv + 3, argv + argc});
  }
  ::testing::InitGoogleTest(&argc, argv);
  prepareProcess(scratchFolder());
  return RUN_ALL_TESTS();
}
