#include "uikit/navigation/UISearchController.h"

#include <gmock/gmock.h>

#include "uikit/headless/Headless.h"
#include "uikit/navigation/UINavigationController.h"
#include "uikit/tables/UITableViewController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A list with a search bar in its header, which records what the search tells it.
class SearchableList : public UITableViewController,
                       public UISearchControllerDelegate,
                       public UISearchResultsUpdating {
 public:
  SearchableList() : UITableViewController(UITableViewStyle::Plain) {}
  void viewDidLoad() override {
    UITableViewController::viewDidLoad();
    search = UISearchController::make(nullptr);
    search->setDelegate(sharedFrom(this));
    search->setSearchResultsUpdater(sharedFrom(this));
    search->searchBar()->sizeToFit();
    tableView()->registerClassForCellReuseIdentifier<UITableViewCell>("row");
    tableView()->setTableHeaderView(search->searchBar());
    setDefinesPresentationContext(true);
  }
  std::size_t numberOfRowsInSection(UITableView&, std::size_t) override { return 100; }
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(UITableView& table,
                                                         NSIndexPath path) override {
    return table.dequeueReusableCellWithIdentifier("row", path);
  }
  void updateSearchResultsForSearchController(UISearchController& controller) override {
    calls.push_back("update '" + controller.searchBar()->text() + "'");
  }
  void willPresentSearchController(UISearchController&) override { calls.push_back("will"); }
  void didPresentSearchController(UISearchController&) override {
    calls.push_back(presentedViewController() == search ? "did" : "did, not presented");
  }
  void willDismissSearchController(UISearchController&) override { calls.push_back("willEnd"); }
  void didDismissSearchController(UISearchController&) override { calls.push_back("didEnd"); }
  std::vector<std::string> taken() { return std::exchange(calls, {}); }

  std::shared_ptr<UISearchController> search;
  std::vector<std::string> calls;
};

class UISearchControllerTest : public testing::Test {
 protected:
  UISearchControllerTest() {
    headless::reset();
    window->setRootViewController(stack);
    window->makeKeyAndVisible();
    stack->pushViewController(list, false);
    window->layoutIfNeeded();
    bar = list->search->searchBar();
    list->tableView()->setContentOffset({0, 56});
    list->taken();
  }
  ~UISearchControllerTest() override { headless::reset(); }

  std::shared_ptr<UIViewController> root = std::make_shared<UIViewController>();
  std::shared_ptr<UINavigationController> stack = UINavigationController::make(root);
  std::shared_ptr<SearchableList> list = std::make_shared<SearchableList>();
  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRect{0, 0, 320, 480});
  std::shared_ptr<UISearchBar> bar;
};

TEST_F(UISearchControllerTest, EveryWayToBeginTellsTheDelegateThenTheUpdaterOnce) {
  struct Case {
    const char* what;
    std::function<void()> begin;
    std::string text;
  };
  for (const Case& c : {Case{"focus", [&] { bar->becomeFirstResponder(); }, ""},
                        Case{"setActive", [&] { list->search->setActive(true); }, ""},
                        Case{"text from elsewhere", [&] { bar->userDidChangeText("w"); }, "w"}}) {
    SCOPED_TRACE(c.what);
    c.begin();
    EXPECT_TRUE(list->search->isActive());
    EXPECT_EQ(list->presentedViewController(), list->search);
    EXPECT_THAT(list->taken(), ElementsAre("will", "did", "update '" + c.text + "'"));
    bar->userDidChangeText("wo");
    EXPECT_THAT(list->taken(), ElementsAre("update 'wo'"));
    list->search->setActive(true);
    EXPECT_THAT(list->taken(), IsEmpty());
    list->search->setActive(false);
    EXPECT_THAT(list->taken(), ElementsAre("willEnd", "update ''", "didEnd"));
    EXPECT_EQ(bar->text(), "");
    EXPECT_EQ(list->presentedViewController(), nullptr);
    list->search->setActive(false);
    EXPECT_THAT(list->taken(), IsEmpty()) << "an idle search has nothing to end";
  }
}

TEST_F(UISearchControllerTest, EscapeEndsTheSearchBeforeTheScreen) {
  const auto table = list->tableView();
  ASSERT_TRUE(table->becomeFirstResponder());
  ASSERT_TRUE(bar->becomeFirstResponder());
  bar->userDidChangeText("w");
  EXPECT_TRUE(bar->isFirstResponder());
  EXPECT_EQ(table->contentOffset().y, 0) << "the bar is in sight";
  EXPECT_THAT(list->taken(), ElementsAre("will", "did", "update ''", "update 'w'"));
  ASSERT_TRUE(table->focusFirstRow());
  EXPECT_TRUE(list->search->isActive()) << "moving into the results does not end the search";
  EXPECT_TRUE(list->accessibilityPerformEscape());
  EXPECT_THAT(list->taken(), ElementsAre("willEnd", "update ''", "didEnd"));
  EXPECT_EQ(table->contentOffset().y, 56);
  EXPECT_TRUE(table->isFirstResponder());
  bar->becomeFirstResponder();
  bar->userDidCancel();
  EXPECT_TRUE(table->isFirstResponder()) << "the focus does not get lost";
  EXPECT_EQ(stack->topViewController(), list);
  EXPECT_TRUE(list->accessibilityPerformEscape());
  EXPECT_EQ(stack->topViewController(), root);
}

TEST_F(UISearchControllerTest, ASearchLeftActiveBeginsAgainWhenItsScreenIsBackAndItsTextIsEdited) {
  const std::function<void()> edits[] = {[&] { bar->becomeFirstResponder(); },
                                         [&] { bar->userDidChangeText(""); }};
  for (const auto& edit : edits) {
    bar->userDidChangeText("w");
    stack->popViewControllerAnimated(false);
    ASSERT_TRUE(list->search->isActive());
    stack->pushViewController(list, false);
    list->taken();
    edit();
    EXPECT_THAT(list->taken(), ElementsAre("will", "did", "update '" + bar->text() + "'"));
    bar->userDidChangeText("wo");
    EXPECT_THAT(list->taken(), ElementsAre("update 'wo'"));
    list->search->setActive(false);
  }
}

TEST_F(UISearchControllerTest, DismissingWhatTheListPresentsEndsTheSearch) {
  list->search->setActive(true);
  bar->userDidChangeText("x");
  list->taken();
  list->dismissViewControllerAnimated(true);
  EXPECT_FALSE(list->search->isActive());
  EXPECT_THAT(list->taken(), ElementsAre("willEnd", "update ''", "didEnd"));
}

}  // namespace
}  // namespace tasklane
