#include "uikit/qt/WindowPeer.h"

#include <gtest/gtest.h>

#include "uikit/qt/Fixture.h"

namespace tasklane::qt {
namespace {

TEST(WindowPeer, ASizeThatAPersonGaveStaysAndALateAnswerIsNone) {
  const ShownWindow shown(std::make_shared<UIViewController>());
  const auto programWants = [&](CGSize size) {
    shown.window->setFrame({{0, 0}, size});
    UpdateQueue::shared().flush();
    return shown.widget()->size();
  };
  EXPECT_EQ(programWants({400, 420}), QSize(400, 420));
  EXPECT_EQ(programWants({400, 297}), QSize(400, 297));
  shown.widget()->resize(400, 421);  // the answer to the first, rounded at a fractional scale
  EXPECT_EQ(programWants({400, 320}), QSize(400, 320));
  shown.widget()->resize(500, 600);
  EXPECT_EQ(programWants({400, 420}), QSize(500, 600));
  EXPECT_EQ(shown.window->frame().size, (CGSize{500, 600}));
  EXPECT_EQ(shown.window->rootViewController()->view()->frame().size, (CGSize{500, 600}));
}

}  // namespace
}  // namespace tasklane::qt
