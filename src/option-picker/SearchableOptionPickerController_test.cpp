#include "option-picker/SearchableOptionPickerController.h"

#include <gtest/gtest.h>

#include <random>

#include "option-picker/OptionPickerTesting.h"
#include "uikit/headless/Headless.h"

namespace tasklane {
namespace {

std::vector<std::string> titlesOf(const OptionPickerItemList& items) {
  std::vector<std::string> titles;
  for (std::size_t i = 0; items && i < items->size(); ++i) {
    titles.push_back(items->at(i)->title().value_or("(none)"));
  }
  return titles;
}

struct Searching : OnScreen<SearchableOptionPickerController> {
  void begin(const OptionPickerItemList& items) {
    picker->setItems(items);
    show();
    picker->searchController()->setActive(true);
  }
  void type(const std::string& text) {
    picker->searchController()->searchBar()->userDidChangeText(text);
  }
};

TEST(SearchableOptionPickerController, MatchesAnywhereWithoutCaseAndAccents) {
  Searching search;
  search.begin(itemsTitled({"Home", "Work", "Homework", "Café"}));
  EXPECT_EQ(search.picker->searchBarVisibility(), 0);
  struct Case {
    std::string text;
    std::vector<std::string> shown;
  };
  const Case cases[] = {{"work", {"Work", "Homework"}},
                        {"hOmE", {"Home", "Homework"}},
                        {"wörk", {"Work", "Homework"}},
                        {"FE", {"Café"}},
                        {"zzz", {}},
                        {"h", {"Home", "Homework"}}};
  for (const auto& c : cases) {
    search.type(c.text);
    EXPECT_EQ(titlesOf(search.picker->items()), c.shown) << c.text;
  }
  search.type("");
  EXPECT_EQ(search.picker->items()->size(), 4u);
}

/// A picker told by its search controller's words in any order.
class SearchModel {
 public:
  explicit SearchModel(unsigned seed) : random_(seed) {
    for (const char* title : {"Home", "Work", "Homework", "Shore", "", "Rework"}) {
      auto item = std::make_shared<OptionPickerItem>(*title ? std::optional<std::string>(title)
                                                            : std::nullopt);
      if (items_.size() != 3) item->setRepresentedObject(std::make_shared<NSObject>());
      items_.push_back(item);
    }
    picker_->view();
  }

  void step() {
    const auto& search = picker_->searchController();
    switch (below(6)) {
      case 0:
        picker_->willPresentSearchController(*search);
        if (!saved_) saved_ = shown_;
        break;
      case 1: {
        const auto rows = shown_ ? shown_->size() : 0;
        choice_ = rows == 0 || below(4) == 0 ? NSNotFound : static_cast<long>(below(rows));
        picker_->setSelectedItemIndex(choice_);
        break;
      }
      case 2: {
        const bool reader = below(2) == 0;
        headless::setAssistiveProgramConnected(reader);
        picker_->setSearchBarVisibility(1, false);
        picker_->resetSearchControllerState();
        EXPECT_EQ(picker_->searchBarIsVisible(), reader);
        saved_.reset();
        hidden_ = nullptr;
        break;
      }
      case 3: {
        Rows rows;
        for (std::size_t i = 0; i < items_.size(); ++i)
          if (below(4) > 0) rows.push_back(i);
        picker_->setItems(listOf(rows));
        show(rows);
        break;
      }
      default: {
        static const char* texts[] = {"", "work", "HO", "h", "zz", ""};
        const std::string text = texts[below(std::size(texts))];
        search->searchBar()->setText(text);
        picker_->updateSearchResultsForSearchController(*search);
        update(text);
      }
    }
    ASSERT_EQ(picker_->items() != nullptr, shown_.has_value());
    if (shown_) {
      EXPECT_EQ(*picker_->items(), *listOf(*shown_));
    }
    EXPECT_EQ(picker_->unfilteredItems() != nullptr, saved_.has_value());
    EXPECT_EQ(picker_->selectedItemIndex(), choice_);
    EXPECT_EQ(picker_->tableView()->numberOfRowsInSection(0), shown_ ? shown_->size() : 0);
  }

 private:
  using Rows = std::vector<std::size_t>;

  std::size_t below(std::size_t limit) { return random_() % limit; }
  OptionPickerItemList listOf(const Rows& rows) const {
    std::vector<std::shared_ptr<OptionPickerItem>> items;
    for (const auto row : rows) items.push_back(items_[row]);
    return std::make_shared<OptionPickerItemList::element_type>(items);
  }
  std::shared_ptr<NSObject> objectOfChoice() const {
    return choice_ == NSNotFound
               ? nullptr
               : items_[(*shown_)[static_cast<std::size_t>(choice_)]]->representedObject();
  }
  std::int64_t indexOf(const std::shared_ptr<NSObject>& object) const {
    for (std::size_t i = 0; object && shown_ && i < shown_->size(); ++i)
      if (items_[(*shown_)[i]]->representedObject() == object) return static_cast<long>(i);
    return NSNotFound;
  }
  void show(const std::optional<Rows>& rows) {
    const auto chosen = objectOfChoice();
    shown_ = rows;
    choice_ = indexOf(chosen);
  }
  void update(const std::string& text) {
    if (!text.empty() && (!saved_ || saved_->empty())) return;
    std::optional<Rows> rows = saved_;
    if (!text.empty())
      std::erase_if(*rows, [&](std::size_t row) {
        const auto& title = items_[row]->title();
        return !title || stringByFolding(*title).find(stringByFolding(text)) == std::string::npos;
      });
    if (choice_ != NSNotFound) hidden_ = objectOfChoice();
    show(rows);
    if (choice_ == NSNotFound) choice_ = indexOf(hidden_);
    if (choice_ != NSNotFound) hidden_ = nullptr;
  }

  std::mt19937 random_;
  std::shared_ptr<SearchableOptionPickerController> picker_ =
      std::make_shared<SearchableOptionPickerController>();
  std::vector<std::shared_ptr<OptionPickerItem>> items_;
  std::optional<Rows> shown_, saved_;
  std::int64_t choice_ = NSNotFound;
  std::shared_ptr<NSObject> hidden_;
};

TEST(SearchableOptionPickerController, DoesAsItsModelUnderRandomUse) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SearchModel model(seed);
    for (int step = 0; step < 200 && !::testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(std::to_string(seed) + ", step " + std::to_string(step));
      model.step();
    }
  }
  headless::setAssistiveProgramConnected(false);
}

TEST(SearchableOptionPickerController, HasNoSearchToEndWithoutASearchController) {
  const auto picker = std::make_shared<SearchableOptionPickerController>();
  picker->resetSearchControllerState();  // its view has not been asked for
  picker->setSearchController(nullptr);
  picker->resetSearchControllerState();
  EXPECT_FALSE(picker->searchBarIsVisible());
}

TEST(SearchableOptionPickerController, EndsItsSearchOnLeavingExceptUnderAScreenReader) {
  for (const bool reader : {false, true}) {
    headless::setAssistiveProgramConnected(reader);
    Searching search;
    search.begin(itemsTitled({"Home", "Work"}));
    search.type("wo");
    EXPECT_TRUE(search.picker->unfilteredItems());
    search.picker->viewWillDisappear(false);
    EXPECT_EQ(search.picker->searchController()->isActive(), reader);
    EXPECT_EQ(search.picker->unfilteredItems(), nullptr);
    EXPECT_EQ(search.picker->items()->size(), reader ? 1u : 2u);
  }
  headless::setAssistiveProgramConnected(false);
}

TEST(SearchableOptionPickerController, HidesAndShowsItsFieldByScrolling) {
  Searching search;
  search.picker->setItems(itemsTitled({"Home", "Work"}));
  search.show();
  const CGFloat field = search.picker->tableView()->tableHeaderView()->bounds().size.height;
  EXPECT_EQ(search.picker->tableView()->contentOffset().y, field);
  search.picker->setSearchBarVisibility(1, false);
  EXPECT_TRUE(search.picker->searchBarIsVisible());
  EXPECT_EQ(search.picker->tableView()->contentOffset().y, 0);
}

TEST(SearchableOptionPickerController, RowsAreClearOnlyOverAClearTable) {
  Searching search;
  search.picker->setItems(itemsTitled({"Home"}));
  search.show();
  const auto own = search.cell(0)->backgroundColor();
  EXPECT_NE(own, UIColor::clearColor());
  search.picker->tableView()->setBackgroundColor(UIColor::clearColor());
  search.picker->tableView()->reloadData();
  EXPECT_EQ(search.cell(0)->backgroundColor(), UIColor::clearColor());
}

TEST(SearchableOptionPickerController, IsFreedWithItsWindow) {
  std::weak_ptr<NSObject> picker;
  {
    Searching search;
    search.begin(itemsTitled({"Home"}));
    search.type("h");
    picker = search.picker;
    search.window->close();
    search.window->setRootViewController(nullptr);
  }
  EXPECT_TRUE(picker.expired());
}

}  // namespace
}  // namespace tasklane
