#include "appearance/TasklaneAppearanceClient.h"

#include <gtest/gtest.h>

#include "appearance/TestApplication.h"
#include "appearance/UIViewController+TasklaneAppearanceClient.h"
#include "uikit/controls/UITextView.h"
#include "uikit/controls/UIWebView.h"

namespace tasklane {
namespace {

using Style = UIScrollViewIndicatorStyle;

class Propagation : public ::testing::Test {
 protected:
  Propagation() { TasklaneAppearance::setCurrentPalette(1); }
  ~Propagation() override { TasklaneAppearance::setCurrentPalette(0); }
  const TestApplication application_;
};

/// Notes its name when it is told.
template <class Base>
class Noting : public Base, public TasklaneAppearanceClient {
 public:
  Noting(std::string name, std::vector<std::string>& heard)
      : name_(std::move(name)), heard_(heard) {}
  void tasklaneAppearanceDidChange(const std::shared_ptr<TasklaneAppearance>& appearance) override {
    heard_.push_back(name_);
    TasklaneAppearanceClient::tasklaneAppearanceDidChange(appearance);
  }

 private:
  std::string name_;
  std::vector<std::string>& heard_;
};
using NotingView = Noting<UIView>;
using NotingController = Noting<UIViewController>;

class VendingController : public UIViewController, public TasklaneCustomAppearanceVendor {
 public:
  std::shared_ptr<TasklaneAppearance> customTasklaneAppearance() override { return vended; }
  std::shared_ptr<TasklaneAppearance> vended;
};

template <class View>
std::shared_ptr<View> subviewOf(UIView& view) {
  const auto subview = std::make_shared<View>();
  view.addSubview(subview);
  return subview;
}

TEST_F(Propagation, WalksParentsFirstAndSiblingsFromTheLast) {
  std::vector<std::string> heard;
  const auto view = [&](const char* name) { return std::make_shared<NotingView>(name, heard); };
  const auto root = view("root"), a = view("a"), b = view("b"), c = view("c");
  const auto plain = std::make_shared<UIView>();
  root->addSubview(a);
  root->addSubview(b);
  a->addSubview(plain);
  plain->addSubview(c);
  tasklaneAppearanceDidChangeWithNotification(
      root, {KAAppearanceValuesDidChangeNotification, TasklaneDarkAppearance::appearance()});
  EXPECT_EQ(heard, (std::vector<std::string>{"root", "b", "a", "c"}));
}

TEST_F(Propagation, ReachesChildControllersAndWhatTheControllerItselfPresents) {
  std::vector<std::string> heard;
  const auto controller = [&](const char* name) {
    return std::make_shared<NotingController>(name, heard);
  };
  const auto root = controller("root"), child = controller("child"), shown = controller("shown");
  root->addChildViewController(child);
  child->view()->addSubview(std::make_shared<NotingView>("view", heard));
  child->presentViewController(shown, false);
  using Clients = TasklaneAppearanceClient::Clients;
  EXPECT_EQ(tasklaneAppearanceChildClients(*root), Clients{child});
  EXPECT_EQ(tasklaneAppearanceChildClients(*child), Clients{shown});
  notifyChildrenThatAppearanceDidChange(root, TasklaneAppearance::appearance());
  EXPECT_EQ(heard, (std::vector<std::string>{"root", "child", "shown"}));
}

TEST_F(Propagation, GivesScrollViewsOfTheControllersOwnPartTheIndicatorStyle) {
  const auto controller = std::make_shared<UIViewController>();
  const auto child = std::make_shared<UIViewController>();
  controller->addChildViewController(child);
  auto& view = *controller->view();
  view.addSubview(child->view());
  const auto own = subviewOf<UIScrollView>(*subviewOf<UIView>(view));
  const auto text = subviewOf<UITextView>(*own);
  const auto inWebView = subviewOf<UIScrollView>(*subviewOf<UIWebView>(view));
  const auto inNewWebView = subviewOf<UIScrollView>(*subviewOf<WKWebView>(view));
  const auto inChild = subviewOf<UIScrollView>(*child->view());
  controller->viewWillAppear(false);
  EXPECT_EQ(own->indicatorStyle(), Style::White);
  EXPECT_EQ(text->indicatorStyle(), Style::White);
  EXPECT_EQ(inWebView->indicatorStyle(), Style::Default);
  EXPECT_EQ(inNewWebView->indicatorStyle(), Style::Default);
  EXPECT_EQ(inChild->indicatorStyle(), Style::Default);
  child->viewWillAppear(false);
  EXPECT_EQ(inChild->indicatorStyle(), Style::White);
  // A change of the appearance does the same as appearing.
  TasklaneAppearance::setCurrentPalette(0);
  tasklaneAppearanceDidChange(*controller, TasklaneAppearance::appearance());
  EXPECT_EQ(own->indicatorStyle(), Style::Black);
  EXPECT_EQ(inChild->indicatorStyle(), Style::White);
}

TEST_F(Propagation, LeavesIndicatorsInsideACustomAppearanceAlone) {
  const auto vendor = std::make_shared<VendingController>();
  const auto controller = std::make_shared<UIViewController>();
  vendor->addChildViewController(controller);
  controller->viewWillAppear(false);  // not loaded: nothing to do, and it stays so
  EXPECT_FALSE(controller->isViewLoaded());
  const auto scrollView = subviewOf<UIScrollView>(*controller->view());
  vendor->vended = TasklaneDefaultAppearance::appearance();
  controller->viewWillAppear(false);
  EXPECT_EQ(scrollView->indicatorStyle(), Style::Default);
  vendor->vended = nullptr;  // a vendor that answers none is like any controller
  controller->viewWillAppear(false);
  EXPECT_EQ(scrollView->indicatorStyle(), Style::White);
}

TEST_F(Propagation, StylesTheNavigationBarByWhatItVendsElseByThePalette) {
  class Vendor : public UINavigationController, public TasklaneCustomAppearanceVendor {
   public:
    std::shared_ptr<TasklaneAppearance> customTasklaneAppearance() override { return vended; }
    std::shared_ptr<TasklaneAppearance> vended;
  };
  const auto light = TasklaneDefaultAppearance::appearance();
  const auto navigation = std::make_shared<Vendor>();
  const auto told = [&](const std::shared_ptr<TasklaneAppearance>& appearance) {
    notifyChildrenThatAppearanceDidChange(navigation, appearance);
    return navigation->navigationBar()->barStyle();
  };
  EXPECT_EQ(told(light), UIBarStyle::BlackTranslucent) << "dark is current, whatever it is told";
  navigation->vended = light;
  EXPECT_EQ(told(TasklaneAppearance::appearance()), UIBarStyle::Black);
  TasklaneAppearance::setCurrentPalette(9);
  EXPECT_EQ(told(nullptr), UIBarStyle::Black);
  navigation->vended = nullptr;
  EXPECT_EQ(told(nullptr), UIBarStyle::Default) << "nothing is known of an unknown palette";
}

TEST_F(Propagation, AClientThatIsNotThereIsNotTold) {
  class Parent : public NSObject, public TasklaneAppearanceClient {
   public:
    Clients tasklaneAppearanceChildClients() override { return {nullptr, child, nullptr}; }
    std::shared_ptr<NSObject> child;
  };
  std::vector<std::string> heard;
  const auto parent = std::make_shared<Parent>();
  parent->child = std::make_shared<NotingView>("child", heard);
  const NSNotification change{KAAppearanceValuesDidChangeNotification, nullptr};
  tasklaneAppearanceDidChangeWithNotification(nullptr, change);
  tasklaneAppearanceDidChangeWithNotification(parent, change);
  EXPECT_EQ(heard, std::vector<std::string>{"child"});
}

TEST_F(Propagation, GivesPopoversTheirBackgroundUnlessThePaletteIsTheDefault) {
  const auto light = TasklaneDefaultAppearance::appearance();
  const auto dark = TasklaneDarkAppearance::appearance();
  const struct {
    std::shared_ptr<TasklaneAppearance> vended, applied;
    std::optional<UIColor> background;
  } cases[] = {{nullptr, light, std::nullopt},
               {nullptr, dark, dark->PopoverBackgroundColor()},
               {light, dark, std::nullopt},
               {dark, light, dark->PopoverBackgroundColor()},
               {nullptr, nullptr, std::nullopt}};
  for (const auto& [vended, applied, background] : cases) {
    const auto presented = std::make_shared<VendingController>();
    presented->vended = vended;
    const auto popover = std::make_shared<UIPopoverPresentationController>(
        presented, std::make_shared<UIViewController>());
    popover->setBackgroundColor(UIColor::greenColor());
    notifyChildrenThatAppearanceDidChange(popover, applied);
    EXPECT_EQ(popover->backgroundColor(), background);
  }
}

}  // namespace
}  // namespace tasklane
