#include "uikit/views/UIWindow.h"

#include <gmock/gmock.h>

#include "uikit/controls/UIButton.h"
#include "uikit/headless/Headless.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {
namespace {

using testing::ElementsAre;
using Log = std::vector<std::string>;

class Screen : public UIViewController {
 public:
  Screen(std::string name, Log& log) : name_(std::move(name)), log_(log) {}
  void viewDidLoad() override { view()->addSubview(button); }
  void viewWillAppear(bool animated) override {
    UIViewController::viewWillAppear(animated);
    note("will appear");
  }
  void viewDidAppear(bool) override { note("did appear"); }
  void viewWillDisappear(bool) override { note("will disappear"); }
  void viewDidDisappear(bool) override { note("did disappear"); }
  void viewWillLayoutSubviews() override { note("will lay out"); }
  void viewDidLayoutSubviews() override { note("did lay out"); }
  std::shared_ptr<UIView> preferredFocusView() override { return button; }

  const std::shared_ptr<UIButton> button = std::make_shared<UIButton>();

 private:
  void note(const char* what) { log_.push_back(name_ + " " + what); }
  std::string name_;
  Log& log_;
};

class UIWindowTest : public testing::Test {
 protected:
  UIWindowTest() { headless::reset(); }
  ~UIWindowTest() override { headless::reset(); }

  Log log;
  const std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRect{10, 10, 400, 300});
  const std::shared_ptr<Screen> screen = std::make_shared<Screen>("a", log);
};

TEST_F(UIWindowTest, RootAppearsIsLaidOutAndFillsTheWindow) {
  window->setRootViewController(screen);
  EXPECT_FALSE(screen->isViewLoaded()) << "nothing is loaded before it is shown";
  window->makeKeyAndVisible();
  EXPECT_THAT(log, ElementsAre("a will appear", "a will lay out", "a did lay out", "a did appear"));
  EXPECT_EQ(screen->view()->frame(), (CGRect{0, 0, 400, 300}));
  EXPECT_EQ(screen->view()->nextResponder(), screen);
  window->setFrame({0, 0, 500, 200});
  EXPECT_EQ(screen->view()->frame(), (CGRect{0, 0, 500, 200}));

  log.clear();
  window->close();
  EXPECT_THAT(log, ElementsAre("a will disappear", "a did disappear"));
  window->close();
  window->makeKeyAndVisible();
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(window->subviews().size(), 1u);
}

TEST_F(UIWindowTest, FocusGoesWhereTheScreenPrefersUnlessItIsTaken) {
  window->setRootViewController(screen);
  window->makeKeyAndVisible();
  EXPECT_EQ(window->firstResponder(), screen->button);
  window->close();
  EXPECT_EQ(window->firstResponder(), nullptr);

  const auto other = std::make_shared<UIButton>();
  screen->view()->addSubview(other);
  other->becomeFirstResponder();
  window->makeKeyAndVisible();
  EXPECT_EQ(window->firstResponder(), other);
}

TEST_F(UIWindowTest, AnotherRootReplacesTheOneOnScreen) {
  const auto next = std::make_shared<Screen>("b", log);
  window->setRootViewController(screen);
  window->makeKeyAndVisible();
  log.clear();
  window->setRootViewController(next);
  EXPECT_THAT(log,
              ElementsAre("a will disappear", "a did disappear", "b will appear", "b did appear"));
  EXPECT_THAT(window->subviews(), ElementsAre(next->view()));
  EXPECT_EQ(screen->view()->window(), nullptr);
}

TEST_F(UIWindowTest, GoesWithEverythingInIt) {
  headless::setRecordsPeers(true);
  std::weak_ptr<UIWindow> gone;
  std::weak_ptr<Screen> goneScreen;
  {
    const auto shown = std::make_shared<UIWindow>();
    const auto root = std::make_shared<Screen>("c", log);
    shown->setRootViewController(root);
    shown->makeKeyAndVisible();
    gone = shown;
    goneScreen = root;
  }
  EXPECT_TRUE(gone.expired());
  EXPECT_TRUE(goneScreen.expired());
  EXPECT_EQ(headless::peerCount(), 0u);
}

}  // namespace
}  // namespace tasklane
