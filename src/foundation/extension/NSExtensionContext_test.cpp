#include "foundation/extension/NSExtensionContext.h"

#include <gmock/gmock.h>

#include "foundation/base/NSClassFromString.h"

namespace tasklane {
namespace {

using State = NSExtensionContext::State;

TEST(NSExtensionContext, EndsOnceWhateverIsCalledAfterwards) {
  auto context = std::make_shared<NSExtensionContext>(
      std::vector<std::shared_ptr<NSExtensionItem>>{std::make_shared<NSExtensionItem>()});
  std::vector<State> ends;
  context->setEndHandler([&](State state) {
    ends.push_back(state);
    context->cancelRequestWithError({NSError::Kind::Cancelled, "again"});
  });
  EXPECT_EQ(context->state(), State::Running);
  context->completeRequestReturningItems();
  context->cancelRequestWithError({NSError::Kind::Cancelled, "too late"});
  EXPECT_THAT(ends, testing::ElementsAre(State::Completed));
  EXPECT_EQ(context->state(), State::Completed);
}

TEST(NSExtensionContext, TellsAHandlerThatComesAfterTheEnd) {
  NSExtensionContext context({});
  context.cancelRequestWithError({NSError::Kind::Cancelled, "cancelled"});
  std::vector<State> ends;
  context.setEndHandler([&](State state) { ends.push_back(state); });
  EXPECT_THAT(ends, testing::ElementsAre(State::Cancelled));
}

TEST(NSClassFromString, MakesAFreshObjectOfARegisteredName) {
  registerClass("Sample", [] { return std::make_shared<NSExtensionItem>(); });
  const auto first = makeObjectOfClassNamed("Sample");
  EXPECT_NE(sharedFrom(dynamic_cast<NSExtensionItem*>(first.get())), nullptr);
  EXPECT_NE(makeObjectOfClassNamed("Sample"), first);
  EXPECT_EQ(makeObjectOfClassNamed("Missing"), nullptr);
}

}  // namespace
}  // namespace tasklane
