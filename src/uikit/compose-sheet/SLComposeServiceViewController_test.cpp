#include "uikit/compose-sheet/SLComposeServiceViewController.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>

#include "foundation/base/NSClassFromString.h"
#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/events/Interruption.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/extension/NSBundle.h"
#include "uikit/compose-sheet/NSExtensionMain.h"
#include "uikit/controls/UIButton.h"
#include "uikit/controls/UILabel.h"
#include "uikit/headless/Headless.h"
#include "uikit/tables/UITableView.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

using testing::ElementsAre;

template <class View>
std::shared_ptr<View> findView(const std::shared_ptr<UIView>& root) {
  if (auto found = std::dynamic_pointer_cast<View>(root)) return found;
  for (const auto& subview : root->subviews()) {
    if (auto found = findView<View>(subview)) return found;
  }
  return nullptr;
}

class Sheet : public SLComposeServiceViewController {
 public:
  void viewDidLoad() override {
    SLComposeServiceViewController::viewDidLoad();
    setTitle("Quick");
    if (onLoad) onLoad();
  }
  bool isContentValid() override { return contentText() != "invalid"; }
  std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> configurationItems() override {
    ++itemsAsked;
    return items;
  }
  void didSelectPost() override {
    ended.push_back("post");
    SLComposeServiceViewController::didSelectPost();
  }
  void didSelectCancel() override {
    ended.push_back("cancel");
    SLComposeServiceViewController::didSelectCancel();
  }
  bool isContentLoading() const override { return isLoading; }
  void loadIsDone() {
    isLoading = false;
    contentDidLoad();
  }
  Result<void> postContent() override {
    if (onPost) onPost();
    if (fault) return *fault;
    return SLComposeServiceViewController::postContent();
  }
  bool shouldCancel() override { return mayCancel; }
  std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> items;
  std::vector<std::string> ended;
  std::optional<NSError> fault;
  std::function<void()> onPost;
  bool isLoading = false, mayCancel = true;
  std::function<void()> onLoad;
  int itemsAsked = 0;
};

class SLComposeServiceViewControllerTest : public testing::Test {
 protected:
  SLComposeServiceViewControllerTest() {
    headless::reset();
    for (const char* title : {"Notes", "Project", "Context"}) {
      sheet->items.push_back(std::make_shared<SLComposeSheetConfigurationItem>());
      sheet->items.back()->setTitle(title);
    }
    sheet->beginRequestWithExtensionContext(context);
  }
  ~SLComposeServiceViewControllerTest() override { headless::reset(); }

  void show(CGSize size) {
    window = std::make_shared<UIWindow>(CGRect{{}, size});
    window->setRootViewController(sheet);
    window->makeKeyAndVisible();
    window->layoutIfNeeded();
    rows = findView<UITableView>(sheet->view());
    bar = findView<UINavigationBar>(sheet->view());
  }
  std::string row(std::size_t i) {
    const auto cell = rows->cellForRowAtIndexPath({0, i});
    return cell->accessibilityLabel().value_or("-") + ", " +
           cell->accessibilityValue().value_or("-");
  }

  std::shared_ptr<NSExtensionContext> context =
      std::make_shared<NSExtensionContext>(std::vector<std::shared_ptr<NSExtensionItem>>{});
  std::shared_ptr<Sheet> sheet = std::make_shared<Sheet>();
  std::shared_ptr<UIWindow> window;
  std::shared_ptr<UITableView> rows;
  std::shared_ptr<UINavigationBar> bar;
};

TEST_F(SLComposeServiceViewControllerTest, ShowsBarTextAndRowsAndFollowsTheirChanges) {
  show({400, 300});
  EXPECT_EQ(bar->topItem()->title(), "Quick");
  EXPECT_EQ(bar->topItem()->leftBarButtonItem()->title(), "Cancel");
  bar->topItem()->rightBarButtonItem()->setTitle("Save");
  window->layoutIfNeeded();
  EXPECT_EQ(findView<UIButton>(bar)->title(), "Cancel");
  EXPECT_EQ(sheet->itemsAsked, 1);
  EXPECT_EQ(row(1), "Project, -");
  sheet->items[1]->setValue("Home");
  EXPECT_EQ(row(1), "Project, Home");
  std::string tapped;
  sheet->items[1]->setTapHandler([&] { tapped = "Project"; });
  rows->userDidChooseRow({0, 1});
  EXPECT_EQ(tapped, "Project");
  EXPECT_EQ(rows->indexPathForSelectedRow(), std::nullopt);
  EXPECT_EQ(window->firstResponder(), sheet->textView());
}

TEST_F(SLComposeServiceViewControllerTest, TheTextHasRoomForFourLinesAndGrowsToEight) {
  show({400, 600});
  const CGFloat line = sheet->textView()->font().lineHeight();
  struct Case {
    int lines, room;
  };
  const CGFloat around = sheet->textView()->frame().size.height - 4 * line;
  const CGFloat rest = sheet->preferredContentSize().height - 4 * line;
  EXPECT_NEAR(rest, 44 + 3 * 44 + around + 1, 1);
  for (const Case c : {Case{1, 4}, Case{4, 4}, Case{6, 6}, Case{8, 8}, Case{20, 8}}) {
    std::string text = "1";
    for (int i = 1; i < c.lines; ++i) text += "\nx";
    sheet->textView()->userDidChangeText(text);
    window->layoutIfNeeded();
    EXPECT_NEAR(sheet->textView()->frame().size.height, c.room * line + around, 1) << c.lines;
    EXPECT_NEAR(sheet->preferredContentSize().height, c.room * line + rest, 1) << c.lines;
    EXPECT_NEAR(rows->frame().minY(), sheet->textView()->frame().maxY(), 1);
    EXPECT_EQ(rows->indexPathsForVisibleRows().size(), 3u);
  }
}

TEST_F(SLComposeServiceViewControllerTest, ScrollsWhereTheScreenIsTooSmallForIt) {
  show({360, 200});
  const auto content = std::dynamic_pointer_cast<UIScrollView>(rows->superview());
  ASSERT_TRUE(content);
  EXPECT_EQ(content->frame(), (CGRect{0, 44, 360, 156}));
  EXPECT_EQ(content->contentSize().height, rows->frame().maxY());
  EXPECT_GT(content->contentSize().height, 156);
}

TEST_F(SLComposeServiceViewControllerTest, ThumbnailsTakeTheirPlaceFromTheText) {
  show({400, 400});
  auto pixels = std::make_shared<CGImage>();
  pixels->width = pixels->height = 1;
  pixels->argb = {0xFFFFFFFF};
  const auto image = std::make_shared<UIImage>(pixels, 1);
  // Two thumbnails and six points between them are as high as four lines.
  const CGFloat side = std::floor((4 * sheet->textView()->font().lineHeight() - 6) / 2);
  const CGFloat one = 400 - 15 - side, two = one - 6 - side;
  struct Case {
    std::size_t images;
    CGFloat textWidth;
    std::optional<std::string> more;
  };
  for (const auto direction :
       {UIUserInterfaceLayoutDirection::LeftToRight, UIUserInterfaceLayoutDirection::RightToLeft}) {
    headless::setLayoutDirection(direction);
    const bool leftToRight = direction == UIUserInterfaceLayoutDirection::LeftToRight;
    for (const Case& c : {Case{1, one, {}}, Case{2, one, {}}, Case{4, two, {}},
                          Case{9, two, "\u200E+6"}, Case{0, 400, {}}}) {
      SCOPED_TRACE(c.images);
      sheet->setThumbnails(std::vector(
          c.images, SLComposeThumbnail{SLComposeThumbnail::State::Ready, image, "Photo", "New"}));
      window->layoutIfNeeded();
      EXPECT_EQ(sheet->textView()->frame().size.width, c.textWidth);
      EXPECT_EQ(sheet->textView()->frame().minX(), leftToRight ? 0 : 400 - c.textWidth);
      const auto thumbnails = sheet->textView()->superview()->subviews()[2];
      EXPECT_LE(thumbnails->subviews().size(), 4u);
      EXPECT_LE(thumbnails->frame().maxY(), sheet->textView()->frame().maxY() - 12);
      if (c.images == 0) continue;
      const auto& first = thumbnails->subviews().front();
      EXPECT_TRUE(first->isAccessibilityElement());
      EXPECT_EQ(first->accessibilityTraits(), UIAccessibilityTraitImage);
      EXPECT_EQ(first->accessibilityLabel(), "Photo");
      EXPECT_EQ(first->accessibilityValue(), "New");
      const auto label = std::dynamic_pointer_cast<UILabel>(thumbnails->subviews().back());
      EXPECT_EQ(label ? label->text() : std::nullopt, c.more);
    }
  }
}

TEST_F(SLComposeServiceViewControllerTest, TheRequestEndsOnce) {
  show({400, 300});
  const auto post = bar->topItem()->rightBarButtonItem();
  sheet->textView()->userDidChangeText("invalid");
  EXPECT_FALSE(post->isEnabled());
  EXPECT_TRUE(sheet->performPrimaryAction())
      << "the key is the sheet's, whether it may post or not";
  EXPECT_THAT(sheet->ended, ElementsAre());
  sheet->textView()->userDidChangeText("valid");
  post->press();
  post->press();
  sheet->performPrimaryAction();
  sheet->cancel();
  sheet->accessibilityPerformEscape();
  EXPECT_THAT(sheet->ended, ElementsAre("post"));
  EXPECT_EQ(context->state(), NSExtensionContext::State::Completed);
}

TEST_F(SLComposeServiceViewControllerTest, APostWaitsForWhatLoadsUntilPressedAgain) {
  show({400, 300});
  const auto notice = findView<SLComposeNoticeView>(sheet->view());
  EXPECT_TRUE(notice->isHidden());
  sheet->isLoading = true;
  sheet->post();
  sheet->post();
  EXPECT_THAT(sheet->ended, ElementsAre()) << "a double click is one press";
  EXPECT_FALSE(notice->isHidden());
  sheet->pushConfigurationViewController(std::make_shared<UIViewController>());
  EXPECT_TRUE(notice->isHidden());
  sheet->loadIsDone();
  EXPECT_THAT(sheet->ended, ElementsAre()) << "who went on editing has not saved";

  sheet->isLoading = true;
  sheet->post();
  sheet->loadIsDone();
  EXPECT_THAT(sheet->ended, ElementsAre("post"));
}

TEST_F(SLComposeServiceViewControllerTest, APostThatFailsLeavesTheSheetOpen) {
  show({400, 300});
  sheet->fault = NSError{NSError::Kind::Io, "full"};
  sheet->onPost = [&] { sheet->post(); };  // while one is under way
  sheet->post();
  EXPECT_EQ(context->state(), NSExtensionContext::State::Running);
  EXPECT_EQ(sheet->postError()->description, "full");
  sheet->mayCancel = false;
  sheet->cancel();
  EXPECT_EQ(context->state(), NSExtensionContext::State::Running);
  sheet->fault.reset();
  sheet->post();
  EXPECT_THAT(sheet->ended, ElementsAre("post"));
  EXPECT_FALSE(sheet->postError());
}

TEST_F(SLComposeServiceViewControllerTest, WaitingForALockTheBarCanCancel) {
  show({400, 300});
  const auto live = [&] {
    Interruption::startNoting();
    sheet->fault = NSError{NSError::Kind::Interrupted, "ended"};
    bool textCouldBeEdited = true;
    sheet->onPost = [&] {
      sheet->lockIsAwaited();
      textCouldBeEdited = sheet->textView()->superview()->isUserInteractionEnabled();
      sheet->cancel();
    };
    sheet->post();
    const bool isRight = Interruption::happened() && !textCouldBeEdited && !sheet->postError() &&
                         context->state() == NSExtensionContext::State::Cancelled;
    std::_Exit(isRight ? 42 : 1);
  };
  EXPECT_EXIT(live(), testing::ExitedWithCode(42), "");
}

TEST_F(SLComposeServiceViewControllerTest, EscapeGoesBackThenCancels) {
  show({400, 300});
  const auto pushed = std::make_shared<UIViewController>();
  const CGFloat height = sheet->preferredContentSize().height;
  sheet->pushConfigurationViewController(pushed);
  EXPECT_GE(sheet->preferredContentSize().height, 400);
  EXPECT_TRUE(pushed->accessibilityPerformEscape());
  EXPECT_EQ(pushed->parentViewController(), nullptr);
  EXPECT_EQ(sheet->preferredContentSize().height, height);
  EXPECT_TRUE(sheet->accessibilityPerformEscape());
  EXPECT_THAT(sheet->ended, ElementsAre("cancel"));
  EXPECT_EQ(context->state(), NSExtensionContext::State::Cancelled);
}

TEST_F(SLComposeServiceViewControllerTest, AClosedSheetIsFreed) {
  show({400, 300});
  const std::weak_ptr<Sheet> weak = sheet;
  sheet->pushConfigurationViewController(std::make_shared<UIViewController>());
  window->close();
  window.reset();
  rows.reset();
  bar.reset();
  sheet.reset();
  EXPECT_TRUE(weak.expired());
}

TEST_F(SLComposeServiceViewControllerTest, AnExtensionRunsUntilItsRequestEnds) {
  const auto former = NSBundle::mainBundle();
  const ScratchFolder scratch;
  const auto& folder = scratch.path();
  const auto run = [&](const std::string& className, const std::function<void()>& onLoad) {
    sheet = std::make_shared<Sheet>();
    sheet->onLoad = onLoad;
    std::ofstream file(folder / "Info.plist");
    file << "<plist version=\"1.0\"><dict><key>NSExtension</key><dict>"
            "<key>NSExtensionPrincipalClass</key><string>"
         << className << "</string></dict></dict></plist>";
    file.close();
    NSBundle::setMainBundle(std::make_shared<NSBundle>(folder.string()));
    return NSExtensionMain(
        std::make_shared<NSExtensionContext>(std::vector<std::shared_ptr<NSExtensionItem>>{}));
  };
  registerClass("ComposeTestSheet", [&] { return sheet; });
  const auto later = [](const std::function<void()>& what) {
    return [what] { NSOperationQueue::mainQueue().addOperationWithBlock(what); };
  };
  EXPECT_EQ(run("ComposeTestSheet", later([&] {
                  EXPECT_EQ(sheet->view()->window()->frame().size.width, 400);
                  EXPECT_EQ(sheet->view()->window()->title(), "Quick");
                  sheet->post();
                })),
            0);
  EXPECT_EQ(run("ComposeTestSheet", later([&] { sheet->view()->window()->closeHandler()(); })), 1);
  EXPECT_THAT(sheet->ended, ElementsAre("cancel"));
  EXPECT_EQ(run("NoSuchClass", {}), 70);
  NSBundle::setMainBundle(former);
}

}  // namespace
}  // namespace tasklane
